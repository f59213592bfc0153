#include "store/PendingKeys.h"

#include <utility>

namespace {

// Two rounds see every key that was there. The rest is for keys that arrive meanwhile.
constexpr u64 kMaxRounds = 4;

}  // namespace

void PendingKeys::list() {
  const u64 limit = store.walked() + kMaxRounds * store.slots();
  const u64 byteLimit = store.copied() + (kMaxRounds + 1) * store.capacity();
  do {
    for (const simdb::VerStr& key : store.getKeyStrs()) add(key.str);
  } while (!pending.empty() && !smallestIsSafe() && store.walked() < limit &&
           store.copied() < byteLimit);
}

void PendingKeys::add(const std::string& key) {
  if (held + key.size() > store.capacity()) return;
  if (undeletable.count(key) == 0) {
    hold(key, std::nullopt);
    return;
  }
  std::string value = store.get(key);
  if (store.del(key.data(), static_cast<u32>(key.size()))) {
    hold(key, std::move(value));
  }
}

void PendingKeys::hold(const std::string& key, std::optional<std::string> value) {
  const bool isNew = pending.try_emplace(key, Entry{store.walked(), std::move(value)}).second;
  if (isNew) held += key.size();
}

bool PendingKeys::smallestIsSafe() const {
  return store.walked() - pending.begin()->second.seenAt >= store.slots();
}

std::string PendingKeys::take() {
  auto node = pending.extract(pending.begin());
  held -= node.key().size();
  if (node.mapped().value) return std::move(*node.mapped().value);
  const std::string& key = node.key();
  std::string value;
  const bool found = store.get(key, &value);
  const bool deleted = store.del(key.data(), static_cast<u32>(key.size()));
  if (found && !deleted && undeletable.insert(key).second) held += key.size();
  return value;
}
