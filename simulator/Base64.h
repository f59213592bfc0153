// Base64 as the link's images and layouts take it (standard alphabet of RFC 4648, with padding).
#pragma once

#include <string>
#include <string_view>

namespace velomar {

// The text of any bytes: four characters for each three of them. Any thread may call.
std::string encodeBase64(std::string_view bytes);

}  // namespace velomar
