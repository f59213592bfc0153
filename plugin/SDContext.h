// One visible key or dial. A plain value.
#pragma once

#include <cstdint>
#include <string>

struct SDContext {
  std::string context;     // its id, the same as its key in SDDevice::contexts
  std::string controller;  // as received; only "Encoder" has a meaning here
  std::string keyName;     // on the simulator side; empty until one is known
  std::int32_t column = 0;
  std::int32_t row = 0;
};
