// A lenient Base64 decoder (standard alphabet of RFC 4648).
#pragma once

#include <string>

namespace macaron {

// Static only. Any thread may call.
class Base64 {
 public:
  // Decodes `input` into `output` and returns an error text, empty on success.
  //
  // Only the length is checked: if it isn't a multiple of 4 the error text comes back and `output`
  // is left as it was. A byte outside the alphabet counts as 64 and carries into its neighbour's
  // bits, and '=' counts as 0 anywhere; neither is an error. Zero bytes are kept.
  static std::string Decode(const std::string& input, std::string& output);
};

}  // namespace macaron
