#include "tools/cockpit/Faces.h"

#include <utility>
#include <websocketpp/base64/base64.hpp>

#include "tools/cockpit/FacePainter.h"

namespace {

// FNV-1a.
std::uint32_t hashOf(const std::string& text) {
  std::uint32_t hash = 2166136261U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  return hash;
}

}  // namespace

const Faces::Picture& Faces::picture(const Face& face) {
  const Picture*& known = painted[face];
  if (known == nullptr) known = &add(websocketpp::base64_encode(FacePainter::png(face)));
  return *known;
}

const Faces::Picture& Faces::add(std::string base64) {
  std::uint32_t id = hashOf(base64);
  while (pictures.count(id) != 0 && pictures[id].base64 != base64) ++id;
  return pictures[id] = {id, std::move(base64)};
}
