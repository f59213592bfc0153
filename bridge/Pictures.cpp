#include "bridge/Pictures.h"

#include <functional>
#include <utility>

#include "simulator/Base64.h"
#include "simulator/Deliveries.h"

namespace bridge {

namespace {

constexpr std::size_t kMost = 300;  // of some 6 KB each

constexpr std::uint32_t kNumbers = velomar::Deliveries::kFirstFrameId;

// FNV-1a.
std::uint32_t hashOf(const std::string& text) {
  std::uint32_t hash = 2166136261U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  return hash % kNumbers;
}

}  // namespace

const Pictures::Picture& Pictures::of(const Face& face) {
  const auto found = painted.find(face);
  if (found != painted.end()) {
    byAge.splice(byAge.end(), byAge, found->second.age);
    return found->second.picture;
  }
  std::string base64 = velomar::encodeBase64(painter.png(face));
  if (painted.size() >= kMost) {
    painted.erase(byAge.front());
    byAge.pop_front();
  }
  Entry& entry = painted[face];
  entry.age = byAge.insert(byAge.end(), face);
  entry.picture = {numberFor(base64), std::move(base64)};
  return entry.picture;
}

void Pictures::forget() {
  painted.clear();
  byAge.clear();
}

std::uint32_t Pictures::numberFor(const std::string& base64) {
  const std::size_t bytes = std::hash<std::string>{}(base64);
  std::uint32_t number = hashOf(base64);
  while (numbers.try_emplace(number, bytes).first->second != bytes)
    number = (number + 1) % kNumbers;
  return number;
}

}  // namespace bridge
