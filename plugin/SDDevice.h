// One Stream Deck device with the contexts that it shows. A plain value.
#pragma once

#include <map>
#include <string>

#include "plugin/SDContext.h"

struct SDDevice {
  std::string id;  // the same as its key in Velomar::devices
  std::map<std::string, SDContext> contexts;
};
