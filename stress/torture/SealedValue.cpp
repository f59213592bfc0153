#include "stress/torture/SealedValue.h"

#include <cstring>

#include "store/KeyHash.h"

namespace {

using store::u32;
using store::u64;

struct Seal {
  u64 generation;
  u64 length;
};

}  // namespace

std::string sealed(const std::string& key, u64 generation, u64 length) {
  const Seal seal{generation, length};
  std::string value = key;
  value.append(reinterpret_cast<const char*>(&seal), sizeof seal);
  u64 bits = generation ^ store::hashOf(key.data(), static_cast<u32>(key.size()));
  for (; length > 0; --length) {
    bits = bits * 6364136223846793005U + 1442695040888963407U;
    value.push_back(static_cast<char>(bits >> 56U));
  }
  return value;
}

std::optional<u64> generationOf(const std::string& key, const std::string& value) {
  Seal seal{};
  if (value.size() < key.size() + sizeof seal) return {};
  std::memcpy(&seal, &value[key.size()], sizeof seal);
  if (seal.length != value.size() - key.size() - sizeof seal) return {};
  if (sealed(key, seal.generation, seal.length) != value) return {};
  return seal.generation;
}
