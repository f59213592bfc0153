// velomar-soak: the program between a host and a simulator that this process plays, for a long time
// or as fast as it goes. Everything that is sent carries a number and has to arrive at the other
// end, in order and once. What the program holds of the machine must not grow.
//
// A loss is a simulator that falls silent until the program gives the link up; every other one ends
// with its end of the stores closed and opened anew. What the user did just then is dropped by
// rule. A restart closes and opens without a silence, and nothing is dropped.
//
// Uses the program's own two stores: no simulator plug-in may run meanwhile. Ends with 0 if no
// fault was found, 1 if there was one, 2 if asked in the wrong way.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "simulator/SimulatorLink.h"
#include "tools/common/ChildProcess.h"
#include "tools/common/TemporaryPluginFolder.h"
#include "tools/deck/HostServer.h"
#include "tools/soak/Ledger.h"
#include "tools/soak/Vitals.h"

namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;
using Count = unsigned long long;  // as printf wants it
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kPatience{60};
constexpr milliseconds kPause{1};
constexpr Ledger::Number kMaxPresses = 3000;  // on their way: "ToXPlane" has room for 4096
constexpr Ledger::Number kMaxAnswers = 1000;
constexpr Ledger::Number kPressesPerVisit = 50;
constexpr std::size_t kImageBytes = 4000;
constexpr unsigned kImageIds = 64;
constexpr long kMaxGrowth = 1024;  // KiB

struct Settings {
  std::string program;
  unsigned seconds = 60;  // if there is no number of events
  unsigned events = 0;    // each way, as fast as they go
  unsigned rate = 200;    // a second each way
  unsigned losses = 0;
  unsigned restarts = 0;
};

double secondsBetween(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double>(to - from).count();
}

// The Stream Deck application's end. Frames wait until they are asked for.
class Host {
 public:
  Host()
      : server(HostServer::Handlers{
            {}, [this](const std::string& text) { add(text); }, {}, {}, {}, {}}) {}

  void send(const json& event) {
    if (!server.sendText(event.dump())) throw std::runtime_error("the program has gone");
  }

  std::vector<std::string> takeFrames() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(frames, {});
  }

  std::string port() const { return std::to_string(server.port()); }
  void close() { server.close(""); }

 private:
  void add(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex);
    frames.push_back(text);
  }

  std::mutex mutex;
  std::vector<std::string> frames;  // guarded by mutex
  HostServer server;                // its thread ends before what it calls goes
};

// An event under a context, with a payload that suits all kinds.
json event(const char* name, const std::string& context) {
  return {{"event", name},
          {"action", "com.brackenmoor.velomar.launch"},
          {"context", context},
          {"device", "D"},
          {"payload",
           {{"settings", {{"KeyName", "GEAR"}}},
            {"coordinates", {{"column", 0}, {"row", 0}}},
            {"controller", "Keypad"},
            {"ticks", 1},
            {"hold", false}}}};
}

// What a press is sent as, in turn. It is forwarded under its context, which need not be on show.
constexpr const char* kPresses[] = {"keyDown", "keyUp", "dialRotate", "dialDown", "touchTap"};
constexpr char kKey[] = "K";
constexpr char kVisitor[] = "V";

// An answer is a title or, every eighth time, an image; its number is what they start with.
std::string answer(Ledger::Number number) {
  const std::string text = std::to_string(number);
  if (number % 8 != 0) {
    return json{{"Message", "Set Title"}, {"Context", kKey}, {"Title", text}}.dump();
  }
  return json{{"Message", "Update Full Image ID"},
              {"Context", kKey},
              {"Image ID", number / 8 % kImageIds},
              {"Base64", text + std::string(kImageBytes - text.size(), 'A')}}
      .dump();
}

// The number that a text starts with, or 0: the blank state has none.
Ledger::Number numberIn(const std::string& text) {
  return std::strtoull(text.c_str(), nullptr, 10);
}

class Soak {
 public:
  explicit Soak(const Settings& given) : settings(given) {}

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
    link.emplace();
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
    if (!link) link.emplace();
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

  // A look at both ends.
  void pass() {
    for (const std::string& frame : host.takeFrames()) takeFrame(json::parse(frame));
    if (link && !isSilent) {
      for (const std::string& message : link->poll()) takeMessage(json::parse(message));
    }
    while (mayGo(presses, kMaxPresses)) press();
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

  void press() {
    const Number number = presses.give(Clock::now());
    host.send(event(kPresses[number % std::size(kPresses)], "P" + std::to_string(number)));
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
    const std::string context = message.value("Context", "");
    if (context.rfind('P', 0) == 0) presses.take(numberIn(context.substr(1)));
    if (message["Message"] == "Group Message") ++replays;
  }

  void takeFrame(const json& frame) {
    static const std::string kPrefix = "data:image/png;base64,";
    const std::string name = frame.at("event");
    const std::string context = frame.value("context", "");
    if (name == "registerPlugin") isRegistered = true;
    if (name == "logMessage") takeLogLine(frame.at("payload").at("message"));
    if (context != kKey || (name != "setTitle" && name != "setImage")) return;
    std::string text = frame.at("payload").at(name == "setTitle" ? "title" : "image");
    if (text.rfind(kPrefix, 0) == 0) text.erase(0, kPrefix.size());
    const Number number = numberIn(text);
    if (number != 0) answers.take(number);
    expect(number == 0 || text.size() < 20 || text.size() == kImageBytes, "an image isn't whole");
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
    now = Vitals::of(program->pid());
    const double elapsed = secondsBetween(begin, sampled);
    const bool isSettled = settings.events > 0 || elapsed >= 60;
    if (!isSettled) return;
    if (!first) first = most = now;
    most.resident = std::max(most.resident, now.resident);
    most.anonymous = std::max(most.anonymous, now.anonymous);
    most.descriptors = std::max(most.descriptors, now.descriptors);
    if (elapsed < 60 * printedMinutes) return;
    printedMinutes = static_cast<unsigned>(elapsed / 60) + 1;
    std::printf("%5.0f s: %llu presses, %llu answers, %ld KiB resident, %zu descriptors\n", elapsed,
                Count{presses.taken()}, Count{answers.taken()}, now.resident, now.descriptors);
    std::fflush(stdout);
  }

  // One more of each ends the run: behind it nothing is on its way. What still is counts as lost.
  void settle() {
    isEnding = true;
    press();
    if (!sendAnswer()) throw std::runtime_error("the store is full");
    await("the last press or answer",
          [this] { return presses.onTheirWay() == 0 && answers.onTheirWay() == 0; });
    sample();
  }

  void end() {
    host.close();
    const auto code = program->waitForEnd(kPatience);
    expect(code == 0, code ? "the program ended with an error" : "the program doesn't end");
    expect(std::filesystem::is_empty(folder.path / "images"), "images are left behind");
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
    if (!first) return;
    std::printf("  resident memory %ld KiB, grew by %ld (%ld of it anonymous)\n", first->resident,
                most.resident - first->resident, most.anonymous - first->anonymous);
    std::printf("  descriptors %zu, grew by %zu\n", first->descriptors,
                most.descriptors - first->descriptors);
    // As fast as they go, the first minute isn't over, and a sanitizer may keep what it likes.
    expect(settings.events > 0 || most.resident - first->resident < kMaxGrowth, "memory grows");
    expect(most.descriptors == first->descriptors, "descriptors grow");
  }

  void report(const char* what, const Ledger& ledger) {
    const auto missing = ledger.missing();
    std::printf("  %s: %llu sent, %llu arrived, %llu dropped by rule, %llu lost, %llu strange\n",
                what, Count{ledger.given()}, Count{ledger.taken()}, Count{missing.dropped},
                Count{missing.lost}, Count{ledger.strange()});
    expect(missing.lost == 0 && ledger.strange() == 0, "not everything is accounted for");
  }

  const Settings settings;
  const TemporaryPluginFolder folder;
  Host host;
  std::optional<ChildProcess> program;
  std::optional<SimulatorLink> link;
  Ledger presses;  // from the host to the simulator
  Ledger answers;  // from the simulator to the host
  Clock::time_point begin;
  Clock::time_point sampled;
  Vitals now, most;
  std::optional<Vitals> first;  // once memory should be flat
  unsigned printedMinutes = 1;
  unsigned losses = 0, restarts = 0, timeouts = 0, replays = 0, faults = 0;
  bool isRegistered = false;
  bool isSilent = false;
  bool isEnding = false;
};

struct Option {
  const char* name;
  unsigned Settings::*field;
};
constexpr Option kOptions[] = {{"--seconds", &Settings::seconds},
                               {"--events", &Settings::events},
                               {"--rate", &Settings::rate},
                               {"--losses", &Settings::losses},
                               {"--restarts", &Settings::restarts}};

bool take(Settings& settings, const char* name, const char* text) {
  char* end = nullptr;
  const unsigned long value = std::strtoul(text, &end, 10);
  if (*text == '\0' || *end != '\0' || value > 10000000) return false;
  for (const Option& option : kOptions) {
    if (std::strcmp(option.name, name) != 0) continue;
    settings.*option.field = static_cast<unsigned>(value);
    return true;
  }
  return false;
}

bool readArguments(Settings& settings, int argc, char** argv) {
  if (argc < 2 || argc % 2 != 0) return false;
  settings.program = argv[1];
  for (int i = 2; i < argc; i += 2) {
    if (!take(settings, argv[i], argv[i + 1])) return false;
  }
  return settings.seconds > 0 && settings.rate > 0;
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  if (!readArguments(settings, argc, argv)) {
    std::fprintf(
        stderr,
        "Usage: velomar-soak PROGRAM [--seconds N] [--rate N] [--losses N] [--restarts N]\n"
        "       velomar-soak PROGRAM --events N [--losses N] [--restarts N]\n");
    return 2;
  }
  try {
    return Soak(settings).run() ? 0 : 1;
  } catch (const std::exception& e) {
    std::printf("FAULT: %s\n", e.what());
    return 1;
  }
}
