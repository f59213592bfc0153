// Text made of values: expressions, and the format that they are put into.
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

  // The text, or as much of it as can be shown. Empty: a value isn't known.
  std::string fill(const Values& values, bool isPressed) const;

  // Why the format doesn't fit, in words; empty if it does.
  std::string problem() const;
};

}  // namespace bridge
