// velomar-state [NAME...]: shows the stores' content, their users, and why the panel is black.
//
// It only reads. Ends with 0 if all is well, 1 if something isn't, 2 if the arguments are wrong.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <thread>

#include "store/simdb.h"
#include "tools/common/CommandLine.h"
#include "tools/state/Report.h"
#include "tools/state/Watch.h"

namespace {

using Clock = Watch::Clock;
using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kBetweenGlances{100};
constexpr milliseconds kBetweenVerdicts{500};

// The most times that a store with lost blocks is audited. Blocks that an operation holds while the
// copy is made look lost too, but only blocks that are really lost stay so.
constexpr int kLooks = 5;
constexpr milliseconds kBetweenLooks{40};

std::optional<RegionAudit> lookAt(const std::string& name, std::string& problem) {
  try {
    auto audit = RegionAudit::of(name, problem);
    for (int looks = 1; audit && !audit->isSound() && looks < kLooks; ++looks) {
      std::this_thread::sleep_for(kBetweenLooks);
      auto again = RegionAudit::of(name, problem);
      if (!again || again->lost <= audit->lost) audit = std::move(again);
    }
    return audit;
  } catch (const std::exception& e) {
    problem = e.what();
    return {};
  }
}

StoreFacts factsOf(const std::string& name) {
  StoreFacts store;
  store.name = name;
  store.file = StoreFile::of(name);
  store.audit = lookAt(name, store.problem);
  return store;
}

// Looks again and again at the link between the panel and the simulator's side.
class Link {
 public:
  Facts look() {
    Facts facts;
    facts.toSimulator = watch(kToSimulator, toSimulator);
    facts.toPanel = watch(kToPanel, toPanel);
    facts.processes = findProcesses();
    facts.now = std::time(nullptr);
    return facts;
  }

  // Looks until all is well, or until it is certain that all isn't.
  Facts lookLong() {
    const auto end = Clock::now() + Watch::kSpan;
    for (;;) {
      Facts facts = look();
      const bool isClear = Clock::now() >= end || judge(facts).isWell();
      if (isClear && !isUnsure(facts)) return facts;
      std::this_thread::sleep_for(kBetweenGlances);
    }
  }

  // Returns whether a value waits that may be taken the next moment.
  static bool isUnsure(const Facts& facts) {
    const auto waits = std::max(facts.toSimulator.waits, facts.toPanel.waits);
    return waits > waits.zero() && waits < kPatience;
  }

 private:
  static StoreFacts watch(const char* name, Watch& watch) {
    StoreFacts store = factsOf(name);
    watch.see(store.audit, Clock::now());
    store.isWritten = watch.isWritten();
    store.isTaken = watch.isTaken();
    store.sinceWritten = watch.sinceWritten();
    store.waits = watch.waits();
    return store;
  }

  Watch toSimulator;
  Watch toPanel;
};

int showLink(bool asJson) {
  const Facts facts = Link().lookLong();
  const Verdict verdict = judge(facts);
  std::vector<StoreFacts> stores{facts.toSimulator, facts.toPanel};
  for (const std::string& name : simdb_listDBs(nullptr)) {
    if (name != kToSimulator && name != kToPanel) stores.push_back(factsOf(name));
  }
  json report = jsonOf(facts);
  report["verdict"] = jsonOf(verdict);
  for (const StoreFacts& store : stores) {
    report["stores"].push_back(jsonOf(store));
    if (!asJson) std::cout << textOf(store) << "\n";
  }
  if (asJson) {
    std::cout << report.dump(2) << "\n";
  } else {
    std::cout << textOf(facts) << "\n" << textOf(verdict);
  }
  return verdict.isWell() ? 0 : 1;
}

void tell(const Verdict& verdict, std::time_t time, bool asJson) {
  if (asJson) {
    json line = jsonOf(verdict);
    line["time"] = time;
    std::cout << line.dump() << std::endl;
    return;
  }
  char text[16] = {};
  std::tm parts{};
  (void)std::strftime(text, sizeof text, "%H:%M:%S", localtime_r(&time, &parts));
  std::cout << text << "\n" << textOf(verdict) << std::endl;
}

// Prints the verdict whenever it changes, until the user ends the program.
[[noreturn]] void follow(bool asJson) {
  Link link;
  std::string last;
  for (Facts facts = link.lookLong();; facts = link.look()) {
    const Verdict verdict = judge(facts);
    if (verdict.code != last && !Link::isUnsure(facts)) {
      last = verdict.code;
      tell(verdict, facts.now, asJson);
    }
    std::this_thread::sleep_for(kBetweenVerdicts);
  }
}

int showStores(const std::vector<std::string>& names, bool asJson) {
  bool isWell = true;
  json report = json::array();
  for (const std::string& name : names) {
    const StoreFacts store = factsOf(name);
    isWell = isWell && store.audit && store.audit->isSound();
    report.push_back(jsonOf(store));
    if (!asJson) std::cout << textOf(store);
  }
  if (asJson) std::cout << report.dump(2) << "\n";
  return isWell ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> names;
  bool asJson = false;
  bool isFollowing = false;
  CLI::App app("Says why a panel is black: who uses the two stores, what waits, what to do.");
  app.add_option("NAME", names, "stores to look into; without, all, and a verdict")->type_name("");
  app.add_flag("--json", asJson, "print JSON");
  app.add_flag("--watch", isFollowing, "say the verdict whenever it changes, until Ctrl-C");
  app.footer("Ends with 0 if all is well, with 1 if something isn't.");
  readCommandLine(app, argc, argv);
  try {
    if (!names.empty()) return showStores(names, asJson);
    if (isFollowing) follow(asJson);
    return showLink(asJson);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "velomar-state: %s\n", e.what());
    return 1;
  }
}
