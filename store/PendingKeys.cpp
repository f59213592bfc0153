#include "store/PendingKeys.h"

#include <utility>

namespace {

// Two rounds see every key that was there. The rest is for keys that arrive during these.
constexpr store::u64 kMaxRounds = 4;

}  // namespace

void PendingKeys::list() {
  const store::u64 limit = source.walked() + kMaxRounds * source.slots();
  const store::u64 byteLimit = source.copied() + (kMaxRounds + 1) * source.capacity();
  do {
    for (const simdb::VerStr& key : source.getKeyStrs()) add(key.str);
  } while (!pending.empty() && !smallestIsSafe() && source.walked() < limit &&
           source.copied() < byteLimit);
}

void PendingKeys::add(const std::string& key) {
  if (held + key.size() > source.capacity()) return;
  if (undeletable.count(key) == 0) {
    hold(key, std::nullopt);
    return;
  }
  std::string value = source.get(key);
  if (source.del(key.data(), static_cast<store::u32>(key.size()))) {
    hold(key, std::move(value));
  }
}

void PendingKeys::hold(const std::string& key, std::optional<std::string> value) {
  const bool isNew = pending.try_emplace(key, Entry{source.walked(), std::move(value)}).second;
  if (isNew) held += key.size();
}

bool PendingKeys::smallestIsSafe() const {
  return source.walked() - pending.begin()->second.seenAt >= source.slots();
}

std::string PendingKeys::take() {
  auto node = pending.extract(pending.begin());
  held -= node.key().size();
  if (node.mapped().value) return std::move(*node.mapped().value);
  const std::string& key = node.key();
  std::string value;
  const bool found = source.get(key, &value);
  const bool deleted = source.del(key.data(), static_cast<store::u32>(key.size()));
  if (found && !deleted && undeletable.insert(key).second) held += key.size();
  return value;
}
