// Where a simulator listens.
#pragma once

#include <string>

namespace bridge {

struct Endpoint {
  std::string host = "127.0.0.1";
  std::string port;  // empty: the simulator's usual one
};

}  // namespace bridge
