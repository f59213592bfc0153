#include "bridge/Panel.h"

namespace bridge {

const Panel::Control* Panel::find(const std::string& keyName, bool isDial) const {
  for (const auto* controls : {isDial ? &dials : &keys, isDial ? &keys : &dials}) {
    const auto found = controls->find(keyName);
    if (found != controls->end()) return &found->second;
  }
  return nullptr;
}

}  // namespace bridge
