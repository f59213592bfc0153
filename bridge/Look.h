// Derives what a key or dial shows from the present values. Pure functions; any thread that owns
// the panel may call.
#pragma once

#include <string>

#include "bridge/Face.h"
#include "bridge/Panel.h"
#include "bridge/Values.h"

namespace bridge {

struct Look {
  Face face;
  std::string title;  // lines, on a dial
  bool isAlarm = false;
  bool hasBar = false;    // a dial's
  bool isMoving = false;  // it has more pictures than are worth keeping

  struct Place {
    bool isDial = false;
    bool isPressed = false;
    bool hasTitles = false;  // a key's words are its title
  };

  // `absence` says in one word why no value can be shown at all; empty: values can be shown.
  static Look of(const Panel::Display& display, const Values& values, Place place,
                 const std::string& absence);
};

}  // namespace bridge
