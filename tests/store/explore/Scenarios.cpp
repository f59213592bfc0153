#include "tests/store/explore/Scenarios.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <set>

#include "store/KeyHash.h"
#include "store/PendingKeys.h"
#include "store/RegionLayout.h"
#include "store/simdb.h"
#include "tests/store/explore/FileSystem.h"
#include "tests/store/explore/LetterPeer.h"
#include "tests/store/explore/Memory.h"
#include "tests/store/explore/Schedule.h"

namespace explore {
namespace {

using store::u32;
using store::u64;

constexpr char kPath[] = "/var/tmp//simdb_x";
constexpr u32 kEnd = CncrStr::LIST_END;

u32 size32(const std::string& text) {
  return static_cast<u32>(text.size());
}

// Checks the region at rest: every block is free or in one chain, and every word is as its last
// writer left it.
class Rest {
 public:
  Rest(const Scenario& shape, bool mayLose, bool mayHavePins)
      : n(shape.n), b(shape.b), losses(mayLose), pins(mayHavePins), region(fileAt(kPath)) {}

  std::string fault() {
    if (region == nullptr) return "the file has gone";
    std::vector<int> uses(n, 0);
    std::string wrong = slotsFault(uses);
    if (wrong.empty()) wrong = listFault(uses);
    for (u32 i = 0; i < n && wrong.empty(); ++i) {
      if (uses[i] > 1) wrong = "block " + std::to_string(i) + " is in two places";
      if (uses[i] == 0 && !losses) wrong = "block " + std::to_string(i) + " is lost";
    }
    return wrong;
  }

 private:
  template <typename Word>
  Word at(u64 offset) const {
    return *reinterpret_cast<const Word*>(region + offset);
  }
  u32 entry(u32 block, u32 word) const {
    return at<u32>(store::entriesOffset(n) + 24 * block + 4 * word);
  }

  std::string slotsFault(std::vector<int>& uses) const {
    for (u32 i = 0; i < n; ++i) {
      const u64 word = at<u64>(store::kSlotsOffset + 8 * i);
      const u64 slot = i % 2 == 0 ? word : word << 32U | word >> 32U;
      const u32 block = static_cast<u32>(slot);
      if (block >= 0xFFFFFFFE) continue;
      const std::string wrong = chainFault(block, static_cast<u32>(slot >> 32U), uses);
      if (!wrong.empty()) return "slot " + std::to_string(i) + ": " + wrong;
    }
    return "";
  }

  std::string chainFault(u32 block, u32 version, std::vector<int>& uses) const {
    const u32 size = entry(block, 3);
    const u32 blocks = size == 0 ? 0 : (size - 1) / b + 1;
    if (blocks == 0) return "a chain without bytes";
    for (u32 k = 0; k < blocks; ++k, block = entry(block, 1)) {
      if (block >= n) return "the chain is too short";
      ++uses[block];
      if (entry(block, 2) != version) return "a block of another version";
      if (entry(block, 3) != size) return "blocks of different lengths";
      if (!pins && entry(block, 0) != (k == 0 ? 1U : 0U)) return "a state that isn't at rest";
    }
    return block == kEnd ? "" : "the chain is too long";
  }

  std::string listFault(std::vector<int>& uses) const {
    u32 block = at<u32>(store::headOffset(n) + 4);
    for (u32 steps = 0; block < n; block = at<u32>(store::linksOffset(n) + 4 * block)) {
      if (++steps > n) return "the free list goes in a circle";
      ++uses[block];
      if (entry(block, 2) != 0) return "a free block has a version";
      if (!pins && (entry(block, 0) >> 2U) != 0) return "a free block has readers";
    }
    return "";
  }

  u32 n, b;
  bool losses, pins;
  const char* region;
};

// One run of a program of puts, gets and so on.
class StoreRun {
 public:
  StoreRun(const Scenario& what, History& events) : scenario(what), history(events) {}

  std::string check(int preemptions) {
    formatFiles();
    for (std::size_t i = 0; i <= scenario.threads.size(); ++i) {
      stores.push_back(std::make_unique<simdb>("x", scenario.b, scenario.n, false));
    }
    for (const Action& action : scenario.setup) perform(action, last());
    if (scenario.versions != 0) {
      std::memcpy(fileAt(kPath) + store::versionOffset(scenario.n), &scenario.versions, 8);
    }
    run(preemptions);
    if (!fault().empty()) return fault();
    finish();
    return verdict();
  }

 private:
  std::size_t last() const { return scenario.threads.size(); }

  void run(int preemptions) {
    Program program;
    for (std::size_t t = 0; t < scenario.threads.size(); ++t) {
      program.threads.push_back([this, t] {
        for (const Action& action : scenario.threads[t]) perform(action, t);
      });
    }
    if (scenario.isKilled) program.victim = 0;
    const std::size_t bytes = store::regionSize(scenario.b, scenario.n);
    if (scenario.isWeak) beginWeakMemory(fileAt(kPath), bytes, scenario.threads.size());
    runOnce(program, preemptions);
    endWeakMemory();
  }

  void perform(const Action& action, std::size_t thread) {
    const std::size_t place = history.size();
    history.push_back({action, ++clock, ~u64{0}, false, "", {}});
    if (isTraced()) trace(text(history[place]) + " begins");
    Event event = history[place];
    act(event, *stores[thread]);
    event.end = ++clock;
    history[place] = event;
    if (isTraced()) trace(text(event));
  }

  void act(Event& event, simdb& store) {
    const Action& action = event.action;
    const std::string& key = action.key;
    switch (action.kind) {
      case Action::Put:
        event.result = store.put(key, action.value);
        break;
      case Action::Get:
        event.result = store.get(key, &event.value);
        break;
      case Action::GetByValue:
        event.value = store.get(key);
        event.result = true;
        break;
      case Action::Del:
        event.result = store.del(key.data(), size32(key));
        break;
      case Action::List:
        for (const auto& found : store.getKeyStrs()) event.found.push_back(found.str);
        event.result = true;
        break;
      case Action::Drain:
        drain(event, store);
        break;
      default:
        actBelow(event);
    }
  }

  // Takes the listed keys, a few times.
  void drain(Event& event, simdb& store) {
    if (!pending) pending = std::make_unique<PendingKeys>(store);
    for (int i = 0; i < 2; ++i) {
      pending->list();
      if (!pending->empty()) event.found.push_back(pending->take());
    }
  }

  // Does the actions that simdb doesn't offer, on the layers below it.
  void actBelow(Event& event) {
    const std::string& key = event.action.key;
    CncrStr values(fileAt(kPath) + store::versionOffset(scenario.n), scenario.b, scenario.n, false);
    const CncrHsh index(fileAt(kPath) + store::kIndexOffset, scenario.n, &values, false);
    LetterPeer peer(fileAt(kPath), scenario.b, scenario.n);
    if (event.action.kind == Action::LetterPut) event.result = peer.put(key, event.action.value);
    if (event.action.kind == Action::LetterGet) event.result = peer.get(key, event.value);
    if (event.action.kind == Action::LetterDel) event.result = peer.del(key);
    if (event.action.kind == Action::GetRaw) {
      std::string bytes(scenario.b * scenario.n, '#');
      u32 length = 0;
      event.result = index.get(key.data(), size32(key), bytes.data(), size32(bytes), &length);
      event.value = event.result ? trimmed(key, bytes.substr(0, length)) : "";
    }
    if (event.action.kind == Action::Len) {
      // A length is taken for the value with that length: the values of a scenario differ in
      // length.
      u32 length = 0;
      event.result = index.len(key.data(), size32(key), &length, nullptr) != 0;
      if (event.result) event.value = valueOfLength(key, length);
    }
  }

  // A buffer that is longer than the value also gets the rest of the value's last block.
  std::string trimmed(const std::string& key, const std::string& bytes) const {
    for (const Event& event : history) {
      const std::string& value = event.action.value;
      if (event.action.key != key || key.size() + value.size() <= scenario.b) continue;
      if (bytes.compare(0, value.size(), value) == 0) return value;
    }
    return bytes;
  }

  std::string valueOfLength(const std::string& key, u32 length) const {
    for (const Event& event : history) {
      if (event.action.key == key && event.action.value.size() == length) return event.action.value;
    }
    return "of no value's length";
  }

  // Reads everything once more.
  void finish() {
    std::set<std::string> keys;
    for (const Event& event : history) {
      if (!event.action.key.empty()) keys.insert(event.action.key);
    }
    for (const auto& key : keys) perform({Action::Get, key, ""}, last());
    if (!pending) return;
    for (std::size_t i = 0; i < scenario.n; ++i) {
      pending->list();
      if (pending->empty()) continue;
      History taken = history;
      perform({Action::Drain, "", ""}, last());
    }
  }

  std::string verdict() {
    const bool isRough = scenario.isKilled || anyoneOverslept() || hasLetter();
    if (pending) return tookInOrder(history) ? "" : "not taken once and in order";
    if (!isSound()) return "no map gives these answers";
    if (!listsWhatWasThere(history)) return "a listing names what wasn't there";
    const std::string atRest =
        Rest(scenario, scenario.isKilled || anyoneOverslept(), isRough).fault();
    return atRest.empty() ? listingFault() : atRest;
  }

  // Verdicts are kept by history, because most schedules give one of a few histories, and the
  // search for an order takes long.
  bool isSound() const {
    static std::set<std::string> sound;
    std::string all = scenario.mayRefuse ? "may refuse" : "";
    for (const Event& event : history) {
      all += text(event) + std::to_string(event.begin) + "-" + std::to_string(event.end) + ";";
    }
    if (sound.count(all) != 0) return true;
    if (!isLinearizable(history, scenario.mayRefuse)) return false;
    sound.insert(all);
    return true;
  }

  bool hasLetter() const {
    return std::any_of(history.begin(), history.end(),
                       [](const Event& event) { return event.action.kind >= Action::LetterPut; });
  }

  // Checks that exactly the keys that can be read are listed.
  std::string listingFault() const {
    std::set<std::string> listed, readable;
    // Each step of the walk goes to the next used slot.
    for (u32 i = 0; i < scenario.n; ++i) {
      const std::string key = stores[last()]->nxtKey(nullptr).str;
      if (!key.empty()) listed.insert(key);
    }
    for (const Event& event : history) {
      if (!event.action.key.empty() && stores[last()]->get(event.action.key) != "") {
        readable.insert(event.action.key);
      }
    }
    return listed == readable ? "" : "what can be read isn't what is listed";
  }

  const Scenario& scenario;
  History& history;
  u64 clock = 0;
  std::vector<std::unique_ptr<simdb>> stores;
  std::unique_ptr<PendingKeys> pending;
};

// One run of processes that open and close a store. A process that opens later has to see the keys
// of each that has it open.
class DoorRun {
 public:
  explicit DoorRun(const Scenario& what) : kind(what.kind) {}

  std::string check(int preemptions) {
    formatFiles();
    auto first = kind == Scenario::Meet ? nullptr : open();
    if (kind == Scenario::Replace) removeByHand(kPath);
    std::unique_ptr<simdb> second, third;
    Program program;
    program.threads.push_back([&] { second = open(); });
    program.threads.push_back([&] {
      if (first) {
        first->close();
      } else {
        third = open();
      }
    });
    runOnce(program, preemptions);
    if (!fault().empty()) return fault();
    // A process that holds the lock for seconds keeps others out, and their open says so.
    if (anyoneOverslept() && second->openError() == SIMDB_LOCK_FAILED) return "";
    if (anyoneOverslept() && third && third->openError() == SIMDB_LOCK_FAILED) return "";
    return verdict(*second, third.get());
  }

 private:
  static std::unique_ptr<simdb> open() { return std::make_unique<simdb>("x", 8, 2, false); }

  static std::string verdict(simdb& second, simdb* third) {
    if (second.openError() != SIMDB_OK) return "couldn't open";
    if (third != nullptr && third->openError() != SIMDB_OK) return "couldn't open either";
    if (!second.put("a", "x")) return "couldn't write";
    const auto later = open();
    if (later->get("a") != "x") return "a later opener doesn't see its key";
    if (third != nullptr && third->get("a") != "x") return "don't see each other's keys";
    const u32 expected = third != nullptr ? 3 : 2;
    const auto count = *reinterpret_cast<const u32*>(fileAt(kPath) + store::kCountOffset);
    return count == expected ? "" : "the count is " + std::to_string(count);
  }

  Scenario::Kind kind;
};

// The nth key of one or two letters whose probe starts at that slot.
std::string keyAt(u32 slot, u32 n, u32 nth = 0) {
  for (char a = 'a';; ++a) {
    const std::string key(1, a);
    if (store::hashOf(key.data(), 1) % n == slot % n && nth-- == 0) return key;
  }
}

Action put(const std::string& key, const std::string& value) {
  return {Action::Put, key, value};
}
Action get(const std::string& key) {
  return {Action::Get, key, ""};
}
Action del(const std::string& key) {
  return {Action::Del, key, ""};
}
Action of(Action::Kind kind, const std::string& key = "", const std::string& value = "") {
  return {kind, key, value};
}

const std::string kTwo = "two-blocks!";          // of 8 bytes, with its key
const std::string kThree = "three blocks, yes";  // likewise

// Adds programs that are run as they are, and those of one block also under weak memory.
void addPairs(std::vector<Scenario>& all) {
  const std::string a = keyAt(0, 4), b = keyAt(1, 4), c = keyAt(2, 4);
  const std::vector<Action> begin{put(a, "old"), put(b, "other")};
  const auto add = [&](const char* name, std::vector<std::vector<Action>> threads) {
    Scenario scenario{name, 4, 8, begin, std::move(threads)};
    all.push_back(scenario);
    scenario.name += " (weak memory)";
    scenario.isWeak = true;
    all.push_back(scenario);
  };
  add("put and get", {{get(a)}, {put(a, "new!")}});
  add("put and put", {{put(a, "one")}, {put(a, "two2")}});
  add("new key twice", {{put(c, "one")}, {put(c, "two2")}});
  add("put and del", {{put(a, "new!")}, {del(a)}});
  add("del and del", {{del(a)}, {del(a)}});
  add("get beside del and another put", {{get(a)}, {del(a), put(c, "third")}});
  add("get by value beside two puts",
      {{of(Action::GetByValue, a)}, {put(a, "new!"), put(a, "newer")}});
  add("raw get beside del and put", {{of(Action::GetRaw, a)}, {del(a), put(a, "newer")}});
  add("len beside two puts", {{of(Action::Len, a)}, {put(a, "new!"), put(c, "third")}});
  add("del beside del and put", {{del(a)}, {del(a), put(c, "third")}});
  add("put beside del and put", {{put(a, "new!")}, {del(a), put(c, "third")}});
  add("put and del beside two puts", {{put(a, "one"), del(a)}, {put(a, "new!"), put(c, "third")}});
  add("list beside del and put", {{of(Action::List)}, {del(a), put(c, "third")}});
  add("two puts and a raw get", {{put(a, "one"), put(c, "2")}, {of(Action::GetRaw, a)}});
}

void addLong(std::vector<Scenario>& all) {
  const std::string a = keyAt(0, 8), b = keyAt(1, 8), c = keyAt(2, 8);
  const auto add = [&](const char* name, const std::vector<Action>& begin,
                       std::vector<std::vector<Action>> threads) {
    all.push_back({name, 8, 8, begin, std::move(threads)});
  };
  add("long value, get", {put(a, kTwo)}, {{get(a)}, {put(a, kThree)}});
  add("long value, raw get", {put(a, kTwo)}, {{of(Action::Len, a)}, {del(a), put(b, kThree)}});
  add("long value, recycled", {put(a, kTwo), put(b, "x")}, {{get(a)}, {del(a), put(b, kThree)}});
  add("long values, both put", {put(a, kTwo)}, {{put(a, kThree)}, {put(b, kTwo)}});
  add("long values, put and del", {put(a, kThree)}, {{put(a, "short")}, {del(a)}});
  const std::string longKey = "a key of blocks.";
  add("long key", {put(longKey, "v")}, {{get(longKey)}, {del(longKey), put(c, kTwo)}});
  add("long key, listed", {put(longKey, "v")}, {{of(Action::List)}, {del(longKey), put(c, kTwo)}});
}

void addHard(std::vector<Scenario>& all) {
  // Two keys of the same hash and length, which only their bytes tell apart.
  const std::string one = "0000091387", other = "0000097966";
  Scenario equal{
      "equal hashes", 4, 16, {put(one, "1")}, {{put(one, "2")}, {del(one), put(other, "3")}}};
  equal.isDeep = true;
  all.push_back(equal);
  equal.name = "equal hashes, get";
  equal.threads[0] = {get(one)};
  all.push_back(equal);
  equal.name = "equal hashes, del";
  equal.threads = {{del(one)}, {del(one), put(other, "3")}};
  all.push_back(equal);

  const std::string a = keyAt(0, 4), b = keyAt(1, 4), c = keyAt(2, 4);
  Scenario late{"late pins", 3, 8, {put(keyAt(0, 3), kTwo)}, {}};
  late.threads = {{of(Action::GetRaw, keyAt(0, 3))}, {del(keyAt(0, 3)), put(keyAt(1, 3), kThree)}};
  late.isDeep = late.mayRefuse = true;
  all.push_back(late);
  late.name = "late pins, a shorter chain";
  late.setup = {put(keyAt(0, 3), "x"), put(keyAt(1, 3), "y")};
  late.threads[1] = {del(keyAt(1, 3)), del(keyAt(0, 3)), put(keyAt(2, 3), kTwo)};
  all.push_back(late);
  // A block that was another chain's second block refuses no pin, neither when free nor when taken
  // again.
  late.name = "late pins, on a block that came second";
  late.threads[1] = {del(keyAt(0, 3)), del(keyAt(1, 3)), put(keyAt(2, 3), kTwo), del(keyAt(2, 3)),
                     put(keyAt(1, 3), kTwo)};
  all.push_back(late);

  const std::string first = keyAt(0, 2), second = keyAt(1, 2), third = keyAt(0, 2, 1);
  Scenario full{
      "a full table", 2, 8, {put(first, "1")}, {{put(third, "3")}, {del(first), put(second, "2")}}};
  full.mayRefuse = true;
  all.push_back(full);
  Scenario wrap{"versions come round",
                4,
                8,
                {},
                {{put(a, "1"), put(a, "2"), of(Action::GetRaw, a)}, {put(b, "3"), del(b)}}};
  wrap.versions = 0xFFFFFFFF;
  all.push_back(wrap);
  for (u32 n = 2; n <= 8; ++n) {
    Scenario any{"put, get and del among " + std::to_string(n), n, 8, {put(keyAt(0, n), "1")}, {}};
    any.threads = {{get(keyAt(0, n)), put(keyAt(1, n), "2")}, {put(keyAt(0, n), "3")}};
    any.mayRefuse = n == 2;
    all.push_back(any);
  }
  all.push_back({"three writers", 4, 8, {put(a, "1")}, {{put(a, "2")}, {put(a, "3")}, {del(a)}}});
  all.push_back({"a reader and two writers",
                 4,
                 8,
                 {put(a, "1")},
                 {{get(a)}, {put(a, "2")}, {del(a), put(c, "3")}}});
  all.push_back({"messages taken in order",
                 8,
                 8,
                 {},
                 {{of(Action::Drain)}, {put("1", "1"), put("2", "2"), put("3", "3")}}});

  const std::vector<Action> begin{put(a, "old"), put(b, "other")};
  all.push_back({"a peer's get", 4, 8, begin, {{put(a, "new!")}, {of(Action::LetterGet, a)}}});
  all.push_back({"a peer that wipes out a pin",
                 2,
                 8,
                 {put(keyAt(0, 2), "x")},
                 {{of(Action::GetRaw, keyAt(0, 2))},
                  {of(Action::LetterDel, keyAt(0, 2)), of(Action::LetterPut, keyAt(1, 2), "y")}}});
  all.push_back(
      {"a peer's put", 4, 8, begin, {{get(a), get(b)}, {of(Action::LetterPut, a, "new!")}}});
  all.push_back(
      {"a peer's del and put",
       4,
       8,
       begin,
       {{of(Action::GetRaw, a)}, {of(Action::LetterDel, a), of(Action::LetterPut, c, "3")}}});
  all.push_back({"a listing beside a peer",
                 4,
                 8,
                 begin,
                 {{of(Action::List)}, {of(Action::LetterDel, a), of(Action::LetterPut, c, "3")}}});
}

void addKilled(std::vector<Scenario>& all) {
  const std::string a = keyAt(0, 6), b = keyAt(1, 6), c = keyAt(2, 6);
  const auto add = [&](const char* name, std::vector<std::vector<Action>> threads) {
    Scenario scenario{name, 6, 8, {put(a, kTwo), put(b, "other")}, std::move(threads)};
    scenario.isKilled = scenario.mayRefuse = true;
    all.push_back(scenario);
  };
  add("killed in a put", {{put(a, "new")}, {put(a, "newer"), get(a)}});
  add("killed in a put of two blocks", {{put(c, kTwo)}, {del(a), put(c, "x")}});
  add("killed in a del", {{del(a)}, {put(a, "newer"), get(b)}});
  add("killed in a get", {{of(Action::GetRaw, a)}, {del(a), put(c, "x")}});
}

void addDoors(std::vector<Scenario>& all) {
  const auto add = [&](const char* name, Scenario::Kind kind) {
    Scenario scenario;
    scenario.name = name;
    scenario.kind = kind;
    all.push_back(scenario);
  };
  add("opening while the last one leaves", Scenario::Leave);
  add("leaving a file that was replaced", Scenario::Replace);
  add("two open at once", Scenario::Meet);
}

}  // namespace

std::vector<Scenario> scenarios() {
  std::vector<Scenario> all;
  addPairs(all);
  addLong(all);
  addHard(all);
  addKilled(all);
  addDoors(all);
  return all;
}

// The keys start at different slots, so that none of them can get into two slots.
Scenario randomScenario(u32 seed) {
  std::mt19937 engine(seed);
  const auto dice = [&](u32 below) { return static_cast<u32>(engine() % below); };
  const u32 n = 4 + dice(5);
  Scenario scenario{"random " + std::to_string(seed), n, 8, {}, {}};
  scenario.mayRefuse = true;
  scenario.isWeak = dice(4) == 0;
  const auto action = [&] {
    static constexpr Action::Kind kKinds[] = {Action::Put, Action::Put,        Action::Del,
                                              Action::Get, Action::GetByValue, Action::List};
    const auto kind = kKinds[dice(6)];
    static const std::string kValues[] = {"v", "value", kTwo, kThree};
    const std::string key = kind == Action::List ? "" : keyAt(dice(3), n);
    return of(kind, key, kind == Action::Put ? kValues[dice(4)] + std::to_string(dice(10)) : "");
  };
  for (u32 i = dice(3); i > 0; --i) scenario.setup.push_back(put(keyAt(i, n), std::to_string(i)));
  for (u32 threads = 2 + dice(2); threads > 0; --threads) {
    scenario.threads.emplace_back();
    for (u32 i = 1 + dice(3); i > 0; --i) scenario.threads.back().push_back(action());
  }
  return scenario;
}

std::string check(const Scenario& scenario, int preemptions, History& history) {
  history.clear();
  if (scenario.kind != Scenario::Threads) return DoorRun(scenario).check(preemptions);
  return StoreRun(scenario, history).check(preemptions);
}

}  // namespace explore
