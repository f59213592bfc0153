// Text made of values by expressions and a format.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "bridge/Expression.h"

namespace bridge {

struct Words {
  std::vector<Expression> show;
  std::string format = "{}";  // fmt's, with a field for each expression

  bool isEmpty() const { return show.empty(); }

  // Returns the text, cut to the length that can be shown. Empty: a value isn't known.
  std::string fill(const Values& values, bool isPressed) const;

  // Says in words why the format doesn't fit. Empty: it does.
  std::string problem() const;
};

}  // namespace bridge
