#include "bridge/Expression.h"

#include <gtest/gtest.h>

namespace {

using bridge::Expression;
using bridge::ExpressionError;
using bridge::Values;

const std::vector<std::string> kNames{"flaps", "beacon", "title"};

std::string complaintOf(const std::string& text) {
  try {
    const Expression expression(text, kNames);
    return "";
  } catch (const ExpressionError& error) {
    return error.what();
  }
}

TEST(Expression, ComputesWithValuesAndItsOwnFunctions) {
  Values values;
  values.reset(kNames.size());
  values.set(0, 0.5);
  values.set(1, 1.0);
  struct Case {
    const char* text;
    double result;
  };
  for (const Case& each : {Case{"flaps * 30", 15},
                           {"beacon > 0.5 && flaps < 1", 1},
                           {"not(beacon)", 0},
                           {"mod(-10, 360)", 350},
                           {"floor(2.7) + ceil(2.1)", 5},
                           {"pressed", 1},
                           {"round(flaps)", 1},
                           {"flaps >= 0.5 ? 7 : 8", 7}}) {
    EXPECT_EQ(Expression(each.text, kNames).evaluate(values, true), each.result) << each.text;
  }
}

TEST(Expression, WithoutAnAnswerGivesNothing) {
  Values values;
  values.reset(kNames.size());
  EXPECT_EQ(Expression("flaps", kNames).evaluate(values), std::nullopt) << "not told yet";
  values.set(0, 0.0);
  values.set(2, std::string("a text"));
  EXPECT_EQ(Expression("1 / flaps", kNames).evaluate(values), std::nullopt);
  EXPECT_EQ(Expression("title + 1", kNames).evaluate(values), std::nullopt);
  EXPECT_EQ(Expression("flaps", kNames).evaluate(values), 0);
  values.setUnknown(0);
  EXPECT_EQ(Expression("flaps", kNames).evaluate(values), std::nullopt);
}

TEST(Expression, SaysWhatIsWrongWithIt) {
  EXPECT_EQ(complaintOf("flasp * 2"), "unknown value \"flasp\", did you mean \"flaps\"?");
  EXPECT_EQ(complaintOf("beacon = 1"), "\"=\" compares nothing, write \"==\"");
  EXPECT_EQ(complaintOf("beacon == 1 && flaps <= 1 && flaps != 2"), "");
  for (const std::string& text :
       {std::string(""), std::string("flaps *"), std::string("(flaps"), std::string(2000, '1'),
        std::string(100, '('), std::string("1 2")}) {
    EXPECT_NE(complaintOf(text), "") << text;
  }
  EXPECT_TRUE(Expression::isValidName("com1_standby"));
  for (const char* name : {"", "1st", "com 1", "min", "pressed", "a-b"}) {
    EXPECT_FALSE(Expression::isValidName(name)) << name;
  }
}

}  // namespace
