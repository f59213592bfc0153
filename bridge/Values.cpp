#include "bridge/Values.h"

namespace bridge {

void Values::set(std::size_t place, const Value& value) {
  entries[place].state = State::Known;
  entries[place].value = value;
}

}  // namespace bridge
