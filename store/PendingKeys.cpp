#include "store/PendingKeys.h"

#include <utility>

namespace {

// Two rounds see every key that was there. The rest is for keys that arrive meanwhile.
constexpr u64 kMaxRounds = 4;

}  // namespace

void PendingKeys::list() {
  const u64 limit = store.walked() + kMaxRounds * store.slots();
  do {
    for (const simdb::VerStr& key : store.getKeyStrs()) add(key.str);
  } while (!pending.empty() && !smallestIsSafe() && store.walked() < limit);
}

void PendingKeys::add(const std::string& key) {
  if (undeletable.count(key) == 0) {
    pending.try_emplace(key, Entry{store.walked(), std::nullopt});
    return;
  }
  std::string value = store.get(key);
  if (store.del(key.data(), static_cast<u32>(key.size()))) {
    pending.try_emplace(key, Entry{store.walked(), std::move(value)});
  }
}

bool PendingKeys::smallestIsSafe() const {
  return store.walked() - pending.begin()->second.seenAt >= store.slots();
}

std::string PendingKeys::take() {
  auto node = pending.extract(pending.begin());
  if (node.mapped().value) return std::move(*node.mapped().value);
  const std::string& key = node.key();
  std::string value;
  const bool found = store.get(key, &value);
  const bool deleted = store.del(key.data(), static_cast<u32>(key.size()));
  if (found && !deleted) undeletable.insert(key);
  return value;
}
