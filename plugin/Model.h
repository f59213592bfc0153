// The records of the model: a device with the contexts that it shows. Plain values.
#pragma once

#include <cstdint>
#include <map>
#include <string>

// One visible key or dial.
struct SDContext {
  std::string context;     // its id, the same as its key in SDDevice::contexts
  std::string controller;  // as received; only "Encoder" has a meaning here
  std::string keyName;     // as the simulator's side knows it; empty until one is known
  std::int32_t column = 0;
  std::int32_t row = 0;
};

// One Stream Deck device.
struct SDDevice {
  std::string id;  // the same as its key in Velomar::devices
  std::map<std::string, SDContext> contexts;
};
