// Measures the program and the bridge between a host and a stand-in for X-Plane, both of which this
// process plays: the time from a value to its face and from a press to its request, and the
// bridge's share of the processor.
//
//   velomar-bench-bridge PROGRAM BRIDGE [--short]
//
// Prints a line of JSON for every figure. It uses the program's own two stores: no other bridge may
// run at the same time. `--short` makes it quick and its figures worthless.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "bench/Program.h"
#include "tools/standin/XPlaneStandIn.h"

namespace {

using namespace bench;
using std::chrono::milliseconds;

constexpr int kKeys = 32;
constexpr int kMovingKeys = 8;
constexpr milliseconds kUpdatePause{100};    // of X-Plane
constexpr std::chrono::seconds kToRest{11};  // the bridge polls less often after this time
constexpr std::chrono::seconds kPatience{30};

std::string number(int i) {
  return std::to_string(i);
}

// Key 0 is a switch, 1 a clock, and the others are gauges.
std::string panelText() {
  std::string values = "panel: Bench\naircraft: any\nvalues:\n";
  std::string keys = "keys:\n";
  for (int i = 0; i < kKeys; ++i) {
    values += "  v" + number(i) + ": {xplane: sim/v" + number(i) + "}\n";
    const std::string shown = ", show: v" + number(i);
    keys += "  K" + number(i) + ": {face: ";
    keys += i == 0   ? std::string("switch, on: v0, press: {toggle: v0}")
            : i == 1 ? "clock" + shown
                     : "gauge" + shown + ", range: [0, 100], title: {show: 1, text: gauge}";
    keys += "}\n";
  }
  return values + keys;
}

// A whole setup: the host and the program, X-Plane, and the bridge with every key on show.
class Flight {
 public:
  Flight(const std::string& program, const std::string& bridgeFile) : started(program) {
    for (int i = 0; i < kKeys; ++i) xplane.define("sim/v" + number(i), "float", 0);
    xplane.load("bench.acf", "BNCH", "Bench");
    const auto panel = started.folder.path / "panel.yaml";
    std::ofstream(panel) << panelText();
    ChildProcess::Options options;
    options.withErrorOutput = true;
    bridge = std::make_unique<ChildProcess>(
        std::vector<std::string>{bridgeFile, "--simulator", "xplane", "--port",
                                 number(xplane.port()), "--panel", panel.string()},
        options);
    for (int i = 0; i < kKeys; ++i) started.host.send(appear("C" + number(i), "K" + number(i)));
    if (!bridge->waitForLine(number(kKeys) + " contexts", kPatience)) fail("the bridge");
    std::this_thread::sleep_for(std::chrono::seconds(2));  // all faces are painted
  }

  Host& host() { return started.host; }
  void set(int key, double value) { xplane.set("sim/v" + number(key), value); }
  pid_t pid() const { return bridge->pid(); }

  // Seconds from a change of key 0's value to its face.
  double changeTime() {
    const std::uint64_t before = host().count();
    set(0, isOn = !isOn);
    host().awaitCount(before + 1);
    return secondsSince(xplane.lastUpdate());
  }

  // Seconds from a press of key 0 to its request. The key's face has followed when this returns.
  double pressTime() {
    const std::uint64_t frames = host().count();
    const int before = xplane.requests("dataref_set_values");
    const auto start = Clock::now();
    host().send(R"({"event":"keyDown","context":"C0","device":"D1","payload":{}})");
    while (xplane.requests("dataref_set_values") == before) {
      if (Clock::now() - start > kPatience) fail("the press");
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    const double took = std::chrono::duration<double>(xplane.lastRequest() - start).count();
    host().send(R"({"event":"keyUp","context":"C0","device":"D1","payload":{}})");
    host().awaitCount(frames + 1);
    isOn = !isOn;
    return took;
  }

  std::size_t files() const {
    std::size_t count = 0;
    for (const char* part : {"images", "layouts"}) {
      const fs::directory_iterator folder(started.folder.path / part);
      count += static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
    }
    return count;
  }

 private:
  Started started;
  XPlaneStandIn xplane;
  std::unique_ptr<ChildProcess> bridge;
  bool isOn = false;
};

// Pauses of random length, so that they end anywhere between two updates and two polls.
class Pauses {
 public:
  void next() {
    std::this_thread::sleep_for(
        std::chrono::microseconds(std::uniform_int_distribution<int>(150000, 260000)(random)));
  }

 private:
  std::mt19937 random{7};
};

void latencies(Flight& flight, int times, int rests) {
  Pauses pauses;
  std::vector<double> changes;
  std::vector<double> presses;
  std::vector<double> firsts;
  // All changes come before all presses: for a while after a press the bridge shows the value that
  // it has written.
  for (int i = 0; i < times; ++i) {
    pauses.next();
    changes.push_back(flight.changeTime());
  }
  (void)flight.pressTime();
  for (int i = 0; i < times; ++i) {
    pauses.next();
    presses.push_back(flight.pressTime());
  }
  for (int i = 0; i < rests; ++i) {
    std::this_thread::sleep_for(kToRest);
    pauses.next();
    firsts.push_back(flight.pressTime());
  }
  reportSpread("bridge change", std::move(changes));
  reportSpread("bridge press", std::move(presses));
  reportSpread("bridge first press", std::move(firsts));
}

// The bridge's share of a CPU while `step` is called in each of so many updates of X-Plane, and the
// frames that one update caused.
template <typename Step>
void load(Flight& flight, const std::string& work, int updates, Step step) {
  const std::uint64_t frames = flight.host().count();
  const double before = cpuTime(flight.pid());
  const auto start = Clock::now();
  for (int i = 1; i <= updates; ++i) {
    step(i);
    std::this_thread::sleep_until(start + i * kUpdatePause);
  }
  report(work + " cpu", "velomar", "share",
         (cpuTime(flight.pid()) - before) / 1e9 / secondsSince(start));
  report(work + " frames", "velomar", "1",
         static_cast<double>(flight.host().count() - frames) / updates);
}

void moveKeys(Flight& flight, int update) {
  for (int key = kKeys - kMovingKeys; key < kKeys; ++key) flight.set(key, (update * 3 + key) % 100);
}

// An hour of a clock and a gauge, ten seconds of it in each update.
void fastHour(Flight& flight, int updates) {
  const auto run = [&](int first, int count) {
    load(flight, "bridge hour", count, [&](int i) {
      flight.set(1, (first + i) * 10);
      flight.set(2, (first + i) % 100);
    });
  };
  run(0, updates / 10);
  const double bytes = residentBytes(flight.pid());
  const auto files = flight.files();
  run(updates / 10, updates - updates / 10);
  report("bridge hour growth", "velomar", "B", residentBytes(flight.pid()) - bytes);
  report("bridge hour files", "velomar", "1",
         static_cast<double>(flight.files()) - static_cast<double>(files));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) fail("the command line");
  const bool quick = argc > 3 && std::strcmp(argv[3], "--short") == 0;
  Flight flight(fs::absolute(argv[1]), fs::absolute(argv[2]));
  latencies(flight, quick ? 20 : 300, quick ? 1 : 20);
  std::this_thread::sleep_for(kToRest);
  load(flight, "bridge idle", quick ? 20 : 300, [](int) {});
  report("bridge idle memory", "velomar", "B", residentBytes(flight.pid()));
  load(flight, "bridge keys", quick ? 20 : 300, [&](int i) { moveKeys(flight, i); });
  fastHour(flight, quick ? 60 : 360);
}
