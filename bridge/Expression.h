// A formula over the simulator's values, as a panel file has it: `flaps * 30`, `beacon > 0.5`.
//
// muParser computes it. Beside its operators and functions there are mod(a, b), floor, ceil, round,
// not(x) and `pressed`, which is 1 while the key or dial is down. One thread.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bridge/Values.h"

namespace bridge {

// Its text is written for the author of a panel file.
class ExpressionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Expression {
 public:
  // A value's place is its index in `names`. Throws ExpressionError.
  Expression(const std::string& text, const std::vector<std::string>& names);

  // nullopt: a value that it needs isn't known or is a text, or the result is no finite number. The
  // second form asks for the number of each place that it needs.
  using Numbers = std::function<std::optional<double>(std::size_t place)>;
  std::optional<double> evaluate(const Values& values, bool isPressed = false) const;
  std::optional<double> evaluate(const Numbers& numberOf, bool isPressed) const;

  // The places of the values that it needs.
  const std::vector<std::size_t>& needs() const { return places; }

  // Returns whether it is a value's name and nothing else. Only then may the value be a text.
  bool isName() const { return isPlain; }

  // Returns whether `name` may be a value's name.
  static bool isValidName(const std::string& name);

 private:
  struct Formula;

  std::shared_ptr<Formula> formula;
  std::vector<std::size_t> places;
  bool isPlain = false;
};

}  // namespace bridge
