#include "tests/store/explore/Scenarios.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <sstream>

#include "store/KeyHash.h"
#include "store/PendingKeys.h"
#include "store/RegionLayout.h"
#include "store/simdb.h"
#include "tests/store/HeapRegion.h"
#include "tests/store/explore/FileSystem.h"
#include "tests/store/explore/LetterPeer.h"
#include "tests/store/explore/Memory.h"
#include "tests/store/explore/Schedule.h"

namespace explore {
namespace {

constexpr char kPath[] = "/var/tmp//simdb_x";

// Checks the region at rest: every block is free or in one chain, and every word is as its last
// writer left it.
class Rest {
 public:
  Rest(const Scenario& shape, bool mayLose, bool mayHavePins)
      : n(shape.n),
        b(shape.b),
        losses(mayLose),
        pins(mayHavePins),
        image(std::string(fileAt(kPath), store::regionSize(b, n)), n, b) {}

  std::string fault() const {
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
  std::string slotsFault(std::vector<int>& uses) const {
    for (u32 i = 0; i < n; ++i) {
      const u64 word = image.slot(i);
      const u64 slot = i % 2 == 0 ? word : word << 32U | word >> 32U;
      const u32 block = static_cast<u32>(slot);
      if (block >= 0xFFFFFFFE) continue;
      const std::string wrong = chainFault(block, static_cast<u32>(slot >> 32U), uses);
      if (!wrong.empty()) return "slot " + std::to_string(i) + ": " + wrong;
    }
    return "";
  }

  std::string chainFault(u32 block, u32 version, std::vector<int>& uses) const {
    if (block >= n) return "no such block";
    const u32 size = image.entry(block).len;
    if (size == 0) return "a chain without bytes";
    for (u32 k = 0; k <= (size - 1) / b; ++k) {
      if (block >= n) return "the chain is too short";
      ++uses[block];
      const Entry entry = image.entry(block);
      if (entry.version != version) return "a block of another version";
      if (entry.len != size) return "blocks of different lengths";
      if (!pins && entry.state != (k == 0 ? 1U : 0U)) return "a state that isn't at rest";
      block = entry.next;
    }
    return block == kEnd ? "" : "the chain is too long";
  }

  std::string listFault(std::vector<int>& uses) const {
    for (const u32 block : image.freeBlocks()) {
      ++uses[block];
      const Entry entry = image.entry(block);
      if (entry.version != 0) return "a free block has a version";
      if (!pins && entry.state >> 2U != 0) return "a free block has readers";
    }
    return "";
  }

  u32 n, b;
  bool losses, pins;
  RegionImage image;
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
    if (scenario.has(Scenario::kWraps)) {
      const u64 versions = 0xFFFFFFFF;
      std::memcpy(fileAt(kPath) + store::versionOffset(scenario.n), &versions, sizeof versions);
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
    if (scenario.has(Scenario::kKilled)) program.victim = 0;
    const std::size_t bytes = store::regionSize(scenario.b, scenario.n);
    if (scenario.has(Scenario::kWeak)) beginWeakMemory(fileAt(kPath), bytes, last());
    runOnce(program, preemptions);
    endWeakMemory();
  }

  void perform(const Action& action, std::size_t thread) {
    const std::size_t place = history.size();
    history.push_back({action, ++clock, ~u64{0}, false, "", {}});
    if (isTraced()) trace(text(history[place]) + " begins");
    Event event = history[place];
    event.result = act(event, *stores[thread]);
    event.end = ++clock;
    history[place] = event;
    if (isTraced()) trace(text(event));
  }

  // Returns the call's result.
  bool act(Event& event, simdb& store) {
    const auto& [kind, key, value] = event.action;
    LetterPeer peer(fileAt(kPath), scenario.b, scenario.n);
    switch (kind) {
      case Action::Put:
        return store.put(key, value);
      case Action::Get:
        return store.get(key, &event.value);
      case Action::GetByValue:
        event.value = store.get(key);
        return true;
      case Action::Del:
        return store.del(key.data(), size32(key));
      case Action::List:
        for (const auto& found : store.getKeyStrs()) event.found.push_back(found.str);
        return true;
      case Action::Take:
        return take(event, store);
      case Action::PeerPut:
        return peer.put(key, value);
      case Action::PeerDel:
        return peer.del(key);
      default:
        return lookUp(event);
    }
  }

  // Takes what is listed, a few times.
  bool take(Event& event, simdb& store) {
    if (!pending) pending = std::make_unique<PendingKeys>(store);
    for (int i = 0; i < 2; ++i) {
      pending->list();
      if (!pending->empty()) event.found.push_back(pending->take());
    }
    return false;
  }

  // The lookups that simdb doesn't offer.
  bool lookUp(Event& event) {
    const std::string& key = event.action.key;
    CncrStr values(fileAt(kPath) + store::versionOffset(scenario.n), scenario.b, scenario.n, false);
    const CncrHsh index(fileAt(kPath) + store::kIndexOffset, scenario.n, &values, false);
    u32 length = 0;
    if (event.action.kind == Action::Len) {
      // The values of a scenario differ in their lengths.
      if (index.len(key.data(), size32(key), &length, nullptr) == 0) return false;
      const auto isAsLong = [&](const std::string& value) { return value.size() == length; };
      event.value = valuePut(key, isAsLong, "of no value's length");
      return true;
    }
    std::string bytes(scenario.b * scenario.n, '#');
    if (!index.get(key.data(), size32(key), bytes.data(), size32(bytes), &length)) return false;
    bytes.resize(length);
    // A buffer that is longer than the value also gets the rest of the value's last block.
    const auto isBegin = [&](const std::string& value) {
      return key.size() + value.size() > scenario.b && bytes.compare(0, value.size(), value) == 0;
    };
    event.value = valuePut(key, isBegin, bytes);
    return true;
  }

  // The first value of that key that is as wanted.
  template <typename IsWanted>
  std::string valuePut(const std::string& key, IsWanted isWanted,
                       const std::string& otherwise) const {
    for (const Event& event : history) {
      if (event.action.key == key && isWanted(event.action.value)) return event.action.value;
    }
    return otherwise;
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
      if (!pending->empty()) perform({Action::Take, "", ""}, last());
    }
  }

  std::string verdict() {
    const bool mayLose = scenario.has(Scenario::kKilled) || anyoneOverslept();
    if (pending) return tookInOrder(history) ? "" : "not taken once and in order";
    if (!isSound()) return "no map gives these answers";
    if (!listsWhatWasThere(history)) return "a listing names what wasn't there";
    if (fileAt(kPath) == nullptr) return "the file has gone";
    const std::string atRest = Rest(scenario, mayLose, mayLose || hasPeer()).fault();
    return atRest.empty() ? listingFault() : atRest;
  }

  // Verdicts are kept by history, because most schedules give one of a few histories, and the
  // search for an order takes long.
  bool isSound() const {
    static std::set<std::string> sound;
    const bool mayRefuse = scenario.has(Scenario::kMayRefuse);
    std::string all = mayRefuse ? "may refuse" : "";
    for (const Event& event : history) {
      all += text(event) + std::to_string(event.begin) + "-" + std::to_string(event.end) + ";";
    }
    if (sound.count(all) != 0) return true;
    if (!isLinearizable(history, mayRefuse)) return false;
    sound.insert(all);
    return true;
  }

  bool hasPeer() const {
    return std::any_of(history.begin(), history.end(),
                       [](const Event& event) { return event.action.kind >= Action::PeerPut; });
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
      if (!event.action.key.empty() && !stores[last()]->get(event.action.key).empty()) {
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
  explicit DoorRun(const Scenario& what) : scenario(what) {}

  std::string check(int preemptions) {
    formatFiles();
    auto first = scenario.has(Scenario::kMeeting) ? nullptr : open();
    if (scenario.has(Scenario::kReplaced)) removeByHand(kPath);
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

  const Scenario& scenario;
};

// The nth key of one letter whose probe starts at that slot.
std::string keyAt(u32 slot, u32 n, u32 nth = 0) {
  for (char a = 'a';; ++a) {
    std::string key(1, a);
    if (store::hashOf(key.data(), 1) % n == slot % n && nth-- == 0) return key;
  }
}

std::string keyNamed(const std::string& word, u32 n) {
  if (word == "A") return keyAt(0, n, 1);
  const bool isSlot = word.size() == 1 && word[0] >= 'a';
  return isSlot ? keyAt(static_cast<u32>(word[0] - 'a'), n) : word;
}

std::vector<Action> actionsOf(const std::string& program, u32 n) {
  std::vector<Action> actions;
  std::istringstream all(program);
  for (std::string one; std::getline(all, one, ';');) {
    std::istringstream words(one);
    std::string kind, key, value;
    if (!(words >> kind)) continue;  // a program may begin with nothing
    words >> key >> value;
    actions.push_back({kindNamed(kind), keyNamed(key, n), value});
  }
  return actions;
}

unsigned traitNamed(const std::string& word) {
  static constexpr const char* kWords[] = {"deep",  "killed",  "weak",     "both",   "tight",
                                           "wraps", "leaving", "replaced", "meeting"};
  const auto* const found = std::find(std::begin(kWords), std::end(kWords), word);
  if (found == std::end(kWords)) std::abort();
  return 1U << static_cast<unsigned>(found - std::begin(kWords));
}

// In blocks of 8 bytes the values "two-blocks!" and "three-blocks,-yes" take, with a key of one
// letter, what they say. Two of the keys have one hash and one length: which of them a block holds,
// only its bytes tell. A block that was another chain's second refuses no pin, neither free nor
// taken again.
constexpr char kScenarios[] = R"(
put and get                    | 4 8 both | put a old; put b other | get a | put a new!
put and put                    | 4 8 both | put a old; put b other | put a one | put a two2
new key twice                  | 4 8 both | put a old; put b other | put c one | put c two2
put and del                    | 4 8 both | put a old; put b other | put a new! | del a
del and del                    | 4 8 both | put a old; put b other | del a | del a
get beside del and another put | 4 8 both | put a old; put b other | get a | del a; put c third
get by value beside two puts   | 4 8 both | put a old; put b other | get-value a | put a new!; put a newer
raw get beside del and put     | 4 8 both | put a old; put b other | get-raw a | del a; put a newer
len beside two puts            | 4 8 both | put a old; put b other | len a | put a new!; put c third
del beside del and put         | 4 8 both | put a old; put b other | del a | del a; put c third
put beside del and put         | 4 8 both | put a old; put b other | put a new! | del a; put c third
put and del beside two puts    | 4 8 both | put a old; put b other | put a one; del a | put a new!; put c third
list beside del and put        | 4 8 both | put a old; put b other | list | del a; put c third
two puts and a raw get         | 4 8 both | put a old; put b other | put a one; put c 2 | get-raw a

long value, get          | 8 8 | put a two-blocks! | get a | put a three-blocks,-yes
long value, raw get      | 8 8 | put a two-blocks! | len a | del a; put b three-blocks,-yes
long value, recycled     | 8 8 | put a two-blocks!; put b x | get a | del a; put b three-blocks,-yes
long values, both put    | 8 8 | put a two-blocks! | put a three-blocks,-yes | put b two-blocks!
long values, put and del | 8 8 | put a three-blocks,-yes | put a short | del a
long key                 | 8 8 | put a-key-of-blocks. v | get a-key-of-blocks. | del a-key-of-blocks.; put c two-blocks!
long key, listed         | 8 8 | put a-key-of-blocks. v | list | del a-key-of-blocks.; put c two-blocks!

equal hashes      | 4 16 deep | put 0000091387 1 | put 0000091387 2 | del 0000091387; put 0000097966 3
equal hashes, get | 4 16 deep | put 0000091387 1 | get 0000091387 | del 0000091387; put 0000097966 3
equal hashes, del | 4 16 deep | put 0000091387 1 | del 0000091387 | del 0000091387; put 0000097966 3

late pins                  | 3 8 deep tight | put a two-blocks! | get-raw a | del a; put b three-blocks,-yes
late pins, a shorter chain | 3 8 deep tight | put a x; put b y | get-raw a | del b; del a; put c two-blocks!
late pins, on a block that came second | 3 8 deep tight | put a x; put b y | get-raw a | del a; del b; put c two-blocks!; del c; put b two-blocks!

a full table             | 2 8 tight | put a 1 | put A 3 | del a; put b 2
versions come round      | 4 8 wraps | | put a 1; put a 2; get-raw a | put b 3; del b
three writers            | 4 8 | put a 1 | put a 2 | put a 3 | del a
a reader and two writers | 4 8 | put a 1 | get a | put a 2 | del a; put c 3
messages taken in order  | 8 8 | | take | put 1 1; put 2 2; put 3 3

put, get and del among 2 | 2 8 tight | put a 1 | get a; put b 2 | put a 3
put, get and del among 3 | 3 8 | put a 1 | get a; put b 2 | put a 3
put, get and del among 4 | 4 8 | put a 1 | get a; put b 2 | put a 3
put, get and del among 5 | 5 8 | put a 1 | get a; put b 2 | put a 3
put, get and del among 6 | 6 8 | put a 1 | get a; put b 2 | put a 3
put, get and del among 7 | 7 8 | put a 1 | get a; put b 2 | put a 3
put, get and del among 8 | 8 8 | put a 1 | get a; put b 2 | put a 3

a peer that wipes out a pin | 2 8 | put a x | get-raw a | peer-del a; peer-put b y
a peer's put                | 4 8 | put a old; put b other | get a; get b | peer-put a new!
a peer's del and put        | 4 8 | put a old; put b other | get-raw a | peer-del a; peer-put c 3
a listing beside a peer     | 4 8 | put a old; put b other | list | peer-del a; peer-put c 3

killed in a put               | 6 8 killed tight | put a two-blocks!; put b other | put a new | put a newer; get a
killed in a put of two blocks | 6 8 killed tight | put a two-blocks!; put b other | put c two-blocks! | del a; put c x
killed in a del               | 6 8 killed tight | put a two-blocks!; put b other | del a | put a newer; get b
killed in a get               | 6 8 killed tight | put a two-blocks!; put b other | get-raw a | del a; put c x

opening while the last one leaves | 2 8 leaving
leaving a file that was replaced  | 2 8 replaced
two open at once                  | 2 8 meeting
)";

}  // namespace

Scenario::Scenario(const std::string& row) {
  std::istringstream fields(row);
  std::string field;
  std::getline(fields, name, '|');
  name.erase(name.find_last_not_of(' ') + 1);
  std::getline(fields, field, '|');
  std::istringstream shape(field);
  shape >> n >> b;
  for (std::string word; shape >> word;) traits |= traitNamed(word);
  if (std::getline(fields, field, '|') && field != " ") setup = actionsOf(field, n);
  while (std::getline(fields, field, '|')) threads.push_back(actionsOf(field, n));
}

std::vector<Scenario> scenarios() {
  std::vector<Scenario> all;
  std::istringstream rows(kScenarios);
  for (std::string row; std::getline(rows, row);) {
    if (row.empty()) continue;
    all.emplace_back(row);
    if (!all.back().has(Scenario::kAlsoWeak)) continue;
    all.push_back(all.back());
    all.back().name += " (weak memory)";
    all.back().traits |= Scenario::kWeak;
  }
  return all;
}

// The keys start at different slots, so that none of them can get into two slots.
Scenario randomScenario(u32 seed) {
  std::mt19937 engine(seed);
  const auto dice = [&](u32 below) { return static_cast<u32>(engine() % below); };
  const auto action = [&]() -> std::string {
    static const char* const kKinds[] = {"put", "put", "del", "get", "get-value", "list"};
    static const char* const kValues[] = {"v", "value", "two-blocks!", "three-blocks,-yes"};
    std::string kind = kKinds[dice(6)];
    if (kind == "list") return kind;
    const std::string call = kind + ' ' + static_cast<char>('a' + dice(3));
    return kind != "put" ? call : call + ' ' + kValues[dice(4)] + std::to_string(dice(10));
  };
  std::string row = "random " + std::to_string(seed) + " | " + std::to_string(4 + dice(5)) +
                    (dice(4) == 0 ? " 8 tight weak |" : " 8 tight |");
  static const char* const kBefore[] = {" ", " put b 1", " put c 2; put b 1"};
  row += kBefore[dice(3)];
  for (u32 threads = 2 + dice(2); threads > 0; --threads) {
    row += " | " + action();
    for (u32 more = dice(3); more > 0; --more) row += "; " + action();
  }
  return Scenario(row);
}

std::string check(const Scenario& scenario, int preemptions, History& history) {
  history.clear();
  if (scenario.threads.empty()) return DoorRun(scenario).check(preemptions);
  return StoreRun(scenario, history).check(preemptions);
}

}  // namespace explore
