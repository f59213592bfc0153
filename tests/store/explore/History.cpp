#include "tests/store/explore/History.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <map>
#include <set>
#include <utility>

namespace explore {
namespace {

using Map = std::map<std::string, std::string>;

// In the order of Action::Kind.
constexpr const char* kNames[] = {"put", "get",  "get-value", "get-raw",  "del",
                                  "len", "list", "take",      "peer-put", "peer-del"};

bool isPut(const Event& event) {
  return event.action.kind == Action::Put || event.action.kind == Action::PeerPut;
}

bool isDel(const Event& event) {
  return event.action.kind == Action::Del || event.action.kind == Action::PeerDel;
}

// Returns whether the map gives this answer; if so, applies the call's effect to the map.
bool answers(Map& map, const Event& event, bool mayRefuse) {
  const auto at = map.find(event.action.key);
  const bool isThere = at != map.end();
  if (isPut(event)) {
    if (event.isOver() && !event.result) return mayRefuse;
    map[event.action.key] = event.action.value;
    return true;
  }
  if (isDel(event)) {
    if (event.isOver() && event.result != isThere) return false;
    map.erase(event.action.key);
    return true;
  }
  if (!event.isOver()) return true;
  if (event.action.kind == Action::GetByValue) return event.value == (isThere ? at->second : "");
  return event.result == isThere && event.value == (isThere ? at->second : "");
}

class Search {
 public:
  Search(const History& history, bool refusals) : events(history), mayRefuse(refusals) {}

  bool from(std::uint64_t done, const Map& map) {
    if (isComplete(done)) return true;
    if (!seen.emplace(done, map).second) return false;
    for (std::size_t i = 0; i < events.size(); ++i) {
      if (!mayBeNext(done, i)) continue;
      Map after = map;
      if (!answers(after, events[i], mayRefuse)) continue;
      if (from(done | std::uint64_t{1} << i, after)) return true;
    }
    return false;
  }

 private:
  bool isComplete(std::uint64_t done) const {
    for (std::size_t i = 0; i < events.size(); ++i) {
      if ((done >> i & 1U) == 0 && events[i].isOver()) return false;
    }
    return true;
  }

  bool mayBeNext(std::uint64_t done, std::size_t next) const {
    if ((done >> next & 1U) != 0) return false;
    for (std::size_t i = 0; i < events.size(); ++i) {
      if ((done >> i & 1U) == 0 && events[i].end < events[next].begin) return false;
    }
    return true;
  }

  const History& events;
  bool mayRefuse;
  std::set<std::pair<std::uint64_t, Map>> seen;
};

}  // namespace

Action::Kind kindNamed(const std::string& word) {
  const auto* const found = std::find(std::begin(kNames), std::end(kNames), word);
  if (found == std::end(kNames)) std::abort();
  return static_cast<Action::Kind>(found - std::begin(kNames));
}

std::string text(const Event& event) {
  std::string line = std::string(kNames[event.action.kind]) + " " + event.action.key;
  if (isPut(event)) line += "=" + event.action.value;
  if (!event.isOver()) return line + ": killed";
  line += event.result ? ": true" : ": false";
  if (!event.value.empty()) line += " " + event.value;
  for (const auto& key : event.found) line += " " + key;
  return line;
}

bool isLinearizable(const History& history, bool mayRefuse) {
  History events;
  for (const Event& event : history) {
    const auto kind = event.action.kind;
    if (kind != Action::List && kind != Action::Take) events.push_back(event);
  }
  return Search(events, mayRefuse).from(0, {});
}

bool listsWhatWasThere(const History& history) {
  const auto wasThere = [&](const std::string& key, const Event& list) {
    const auto goneBefore = [&](const Event& put) {
      return std::any_of(history.begin(), history.end(), [&](const Event& del) {
        return isDel(del) && del.action.key == key && del.result && put.end < del.begin &&
               del.end < list.begin;
      });
    };
    return std::any_of(history.begin(), history.end(), [&](const Event& put) {
      return isPut(put) && put.action.key == key && put.begin < list.end && !goneBefore(put);
    });
  };
  return std::all_of(history.begin(), history.end(), [&](const Event& list) {
    return list.action.kind != Action::List ||
           std::all_of(list.found.begin(), list.found.end(),
                       [&](const std::string& key) { return wasThere(key, list); });
  });
}

bool tookInOrder(const History& history) {
  std::vector<std::string> put, taken;
  bool drains = false;
  for (const Event& event : history) {
    if (isPut(event) && event.result) put.push_back(event.action.value);
    if (event.action.kind != Action::Take) continue;
    drains = true;
    taken.insert(taken.end(), event.found.begin(), event.found.end());
  }
  std::sort(put.begin(), put.end());
  return !drains || taken == put;
}

}  // namespace explore
