// Base64 in the form of the link's images and layouts: the standard alphabet of RFC 4648, with
// padding.
#pragma once

#include <string>
#include <string_view>

namespace velomar {

// Returns the text of any bytes, four characters for each three of them. Any thread may call.
std::string encodeBase64(std::string_view bytes);

}  // namespace velomar
