#include "stress/soak/Soak.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "simulator/SimulatorLink.h"
#include "stress/soak/Growth.h"
#include "stress/soak/Host.h"
#include "stress/soak/Ledger.h"
#include "stress/soak/Messages.h"
#include "stress/soak/Vitals.h"
#include "tools/common/ChildProcess.h"
#include "tools/common/TemporaryPluginFolder.h"

namespace {

using nlohmann::json;
using velomar::SimulatorLink;
using Clock = std::chrono::steady_clock;
using Count = unsigned long long;  // as printf wants it
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kPatience{60};
constexpr milliseconds kPause{1};
constexpr Ledger::Number kMaxPresses = 3000;  // on their way: "ToXPlane" has room for 4096
constexpr Ledger::Number kMaxAnswers = 1000;
constexpr Ledger::Number kPressesPerVisit = 50;
constexpr double kWarmUpSeconds = 60;  // until memory should be flat
constexpr long kMaxGrowth = 1024;      // KiB

double secondsBetween(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

class Soak {
 public:
  explicit Soak(const SoakSettings& given) : settings(given) {}

  bool run() {
    try {
      start();
      begin = Clock::now();
      while (progress() < 1) {
        interrupt();
        pass();
      }
      settle();
      end();
    } catch (const std::exception& e) {
      expect(false, e.what());
    }
    report();
    if (faults > 0 && program) {
      for (const std::string& line : program->lines()) std::puts(line.c_str());
    }
    return faults == 0;
  }

 private:
  using Number = Ledger::Number;

  void start() {
    ChildProcess::Options options;
    options.folder = folder.path.string();
    options.withErrorOutput = true;
    program.emplace(std::vector<std::string>{std::filesystem::absolute(settings.program).string(),
                                             "-port", host.port(), "-pluginUUID", "soak",
                                             "-registerEvent", "registerPlugin", "-info", "{}"},
                    options);
    await("the registration", [this] { return isRegistered; });
    host.send(event("willAppear", kKey));
    // Late input is wanted here, because a press that has waited for the link has to arrive too.
    link.emplace(SimulatorLink::LateInput::Deliver);
    await("the link", [this] { return replays > 0; });
  }

  bool hasBegun() const { return begin != Clock::time_point(); }

  // The share of the run that is done.
  double progress() const {
    if (settings.events == 0) return secondsBetween(begin, Clock::now()) / settings.seconds;
    return static_cast<double>(std::min(presses.given(), answers.given())) / settings.events;
  }

  // Losses and restarts are spread over the run, each in the middle of its share.
  void interrupt() {
    if (isDue(losses, settings.losses)) loseLink();
    if (isDue(restarts, settings.restarts)) {
      ++restarts;
      link.reset();
      reopenLink();
    }
  }

  bool isDue(unsigned done, unsigned wanted) const {
    return done < wanted && progress() * wanted >= done + 0.5;
  }

  void loseLink() {
    const unsigned before = timeouts;
    const bool isClosed = ++losses % 2 == 0;
    if (isClosed) link.reset();
    isSilent = true;
    await("the time-out", [&] { return timeouts > before; });
    isSilent = false;
    reopenLink();
  }

  void reopenLink() {
    const unsigned before = replays;
    if (!link) link.emplace(SimulatorLink::LateInput::Deliver);
    await("the link", [&] { return replays > before; });
  }

  // Goes on with everything until something has come true.
  template <typename Condition>
  void await(const char* what, Condition isTrue) {
    for (const auto deadline = Clock::now() + kPatience; !isTrue();) {
      if (Clock::now() > deadline) throw std::runtime_error(std::string(what) + " never came");
      pass();
    }
  }

  // Looks once at both ends.
  void pass() {
    for (const std::string& frame : host.takeFrames()) takeFrame(json::parse(frame));
    if (link && !isSilent) {
      for (const std::string& message : link->poll()) takeMessage(json::parse(message));
    }
    while (mayGo(presses, kMaxPresses)) sendPress();
    while (link && link->isUp() && !isSilent && mayGo(answers, kMaxAnswers) && sendAnswer()) {
    }
    if (secondsBetween(sampled, Clock::now()) >= 1) sample();
    std::this_thread::sleep_for(kPause);
  }

  bool mayGo(const Ledger& ledger, Number atOnce) const {
    if (!hasBegun() || isEnding || ledger.onTheirWay() >= atOnce) return false;
    if (settings.events > 0) return ledger.given() < settings.events;
    return static_cast<double>(ledger.given()) <
           secondsBetween(begin, Clock::now()) * settings.rate;
  }

  void sendPress() {
    const Number number = presses.give(Clock::now());
    host.send(press(number));
    // A key that comes and goes.
    if (number % kPressesPerVisit == 0) host.send(event("willAppear", kVisitor));
    if (number % kPressesPerVisit == 1) host.send(event("willDisappear", kVisitor));
  }

  // False: the store is full. The number has to wait.
  bool sendAnswer() {
    if (!link->send(answer(answers.given() + 1))) return false;
    (void)answers.give(Clock::now());
    return true;
  }

  void takeMessage(const json& message) {
    if (const auto number = pressIn(message)) presses.take(*number);
    if (message["Message"] == "Group Message") ++replays;
  }

  void takeFrame(const json& frame) {
    const std::string name = frame.at("event");
    if (name == "registerPlugin") isRegistered = true;
    if (name == "logMessage") takeLogLine(frame.at("payload").at("message"));
    const auto shown = answerIn(frame);
    if (!shown) return;
    if (shown->number != 0) answers.take(shown->number);
    expect(shown->isWhole, "an image isn't whole");
  }

  void takeLogLine(const std::string& line) {
    expect(line.find("Got some error") == std::string::npos, line.c_str());
    if (line.find("No Heartbeat") == std::string::npos) return;
    ++timeouts;
    presses.allowDrop(Clock::now());
  }

  void sample() {
    sampled = Clock::now();
    if (program->waitForEnd(milliseconds(0))) throw std::runtime_error("the program has ended");
    if (!hasBegun()) return;
    const double elapsed = secondsBetween(begin, sampled);
    if (settings.events == 0 && elapsed < kWarmUpSeconds) return;
    growth.add(Vitals::of(program->pid()));
    if (elapsed >= 60 * printedMinutes) printProgress(elapsed);
  }

  void printProgress(double elapsed) {
    printedMinutes = static_cast<unsigned>(elapsed / 60) + 1;
    std::printf("%5.0f s: %llu presses, %llu answers, %ld KiB resident, %zu descriptors\n", elapsed,
                Count{presses.taken()}, Count{answers.taken()}, growth.last().resident,
                growth.last().descriptors);
    std::fflush(stdout);
  }

  // Sends one more press and answer and waits for them. Numbers that haven't arrived after that
  // count as lost.
  void settle() {
    isEnding = true;
    sendPress();
    if (!sendAnswer()) throw std::runtime_error("the store is full");
    await("the last press or answer",
          [this] { return presses.onTheirWay() == 0 && answers.onTheirWay() == 0; });
    sample();
  }

  void end() {
    host.close();
    const auto code = program->waitForEnd(kPatience);
    expect(code == 0, code ? "the program ended with an error" : "the program doesn't end");
    expect(std::filesystem::is_empty(folder.path / "images"), "images are left over");
  }

  void expect(bool holds, const char* fault) {
    if (holds) return;
    ++faults;
    std::printf("FAULT: %s\n", fault);
  }

  void report() {
    std::printf("%.0f s, %u losses of the link, %u restarts\n",
                hasBegun() ? secondsBetween(begin, sampled) : 0, timeouts, restarts);
    report("presses", presses);
    report("answers", answers);
    expect(timeouts == losses, "the link was lost without a silence");
    if (!growth.hasBegun()) return;
    growth.print();
    // A run with a number of events is exempt: it ends within the first minute, in which memory
    // still grows, and a sanitizer keeps memory of its own.
    expect(settings.events > 0 || growth.memory() < kMaxGrowth, "memory grows");
    expect(growth.descriptors() == 0, "descriptors grow");
  }

  void report(const char* what, const Ledger& ledger) {
    const auto missing = ledger.missing();
    std::printf("  %s: %llu sent, %llu arrived, %llu dropped by rule, %llu lost, %llu strange\n",
                what, Count{ledger.given()}, Count{ledger.taken()}, Count{missing.dropped},
                Count{missing.lost}, Count{ledger.strange()});
    expect(missing.lost == 0 && ledger.strange() == 0, "not everything is accounted for");
  }

  const SoakSettings settings;
  const TemporaryPluginFolder folder;
  Host host;
  std::optional<ChildProcess> program;
  std::optional<SimulatorLink> link;
  Ledger presses;  // from the host to the simulator
  Ledger answers;  // from the simulator to the host
  Clock::time_point begin;
  Clock::time_point sampled;
  Growth growth;
  unsigned printedMinutes = 1;
  unsigned losses = 0, restarts = 0, timeouts = 0, replays = 0, faults = 0;
  bool isRegistered = false;
  bool isSilent = false;
  bool isEnding = false;
};

}  // namespace

bool runSoak(const SoakSettings& settings) {
  return Soak(settings).run();
}
