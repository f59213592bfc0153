// velomar-explore: runs the store's sources under every schedule of small programs.
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/store/explore/FileSystem.h"
#include "tests/store/explore/Scenarios.h"
#include "tests/store/explore/Schedule.h"

namespace {

constexpr char kUsage[] =
    "usage: velomar-explore [--preemptions N] [--seconds N] [--only TEXT] [--random SEED]\n"
    "                       [--replay 'SCENARIO:CHOICES'] [--first] [--list]\n"
    "\n"
    "Runs each scenario under every schedule of at most N preemptions (2 if not given, and one "
    "more\n"
    "for the scenarios that are worth it), then, until the seconds are over, random programs.\n"
    "  --seconds N    ends after N seconds; without it the scenarios are run once\n"
    "  --first        ends at the first violation\n"
    "  --only TEXT    only the scenarios with TEXT in their names\n"
    "  --random SEED  the first random program; those after it count up\n"
    "  --replay S     runs one schedule, as printed with a violation, and shows each step\n"
    "Ends with 1 if a run went wrong.\n";

struct Options {
  int preemptions = 2;
  double seconds = 0;
  unsigned seed = 1;
  std::string only, replay;
  bool lists = false;
  bool endsEarly = false;
};

double clockSeconds() {
  timespec time{};
  (void)clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

std::string encoded(const explore::Choices& choices) {
  std::string text;
  for (std::size_t i = 0; i < choices.size(); ++i) {
    if (choices[i] != 0) text += std::to_string(i) + "=" + std::to_string(choices[i]) + ",";
  }
  return text;
}

explore::Choices decoded(const char* text) {
  explore::Choices choices;
  while (*text != '\0') {
    char* end = nullptr;
    const auto at = static_cast<std::size_t>(std::strtoul(text, &end, 10));
    if (*end != '=' || at > 100000) break;
    const auto taken = static_cast<unsigned char>(std::strtoul(end + 1, &end, 10));
    choices.resize(std::max(choices.size(), at + 1));
    choices[at] = taken;
    text = *end == ',' ? end + 1 : end;
  }
  return choices;
}

class Exploration {
 public:
  explicit Exploration(const Options& given)
      : options(given), end(given.seconds > 0 ? clockSeconds() + given.seconds : 0) {}

  // Runs all scenarios with no preemption, then all with one, and so on, so that every scenario has
  // been run when time runs out. A fifth of the time is for random programs.
  int all() {
    std::vector<explore::Scenario> open;
    for (const auto& scenario : explore::scenarios()) {
      if (scenario.name.find(options.only) != std::string::npos) open.push_back(scenario);
    }
    programs = open.size();
    for (int bound = 0; bound <= options.preemptions && !isOver(); ++bound) {
      std::vector<explore::Scenario> sound;
      for (std::size_t i = 0; i < open.size() && !isOver(); ++i) {
        const double now = clockSeconds();
        const double share = (end - 0.2 * options.seconds - now) / double(open.size() - i);
        const int extra = open[i].isDeep && bound == options.preemptions ? 1 : 0;
        if (explore(open[i], bound + extra, end > 0 ? now + share : 0)) sound.push_back(open[i]);
      }
      open = std::move(sound);
    }
    for (unsigned seed = options.seed; end > 0 && !isOver(); ++seed, ++programs) {
      (void)explore(explore::randomScenario(seed), std::min(options.preemptions, 2), end);
    }
    std::printf("%llu schedules of %zu programs, %u with a violation%s\n", schedules, programs,
                violations, isCut ? "; time ran out for some" : "");
    return violations == 0 ? 0 : 1;
  }

  // Runs one schedule of one scenario and shows it.
  int replay() {
    const auto colon = options.replay.rfind(':');
    if (colon == std::string::npos) return 2;
    const std::string name = options.replay.substr(0, colon);
    const auto bar = options.replay.rfind('/', colon);
    if (bar == std::string::npos) return 2;
    const int bound = std::atoi(options.replay.c_str() + bar + 1);
    const auto choices = decoded(options.replay.c_str() + colon + 1);
    const std::string wanted = name.substr(0, bar);
    if (wanted.rfind("random ", 0) == 0) {
      const auto seed = static_cast<unsigned>(std::strtoul(wanted.c_str() + 7, nullptr, 10));
      return show(explore::randomScenario(seed), bound, choices);
    }
    for (const auto& scenario : explore::scenarios()) {
      if (scenario.name == wanted) return show(scenario, bound, choices);
    }
    std::fprintf(stderr, "no scenario of that name\n");
    return 2;
  }

 private:
  bool isOver() const {
    return (end > 0 && clockSeconds() >= end) || (options.endsEarly && violations > 0);
  }

  // False: a run went wrong.
  bool explore(const explore::Scenario& scenario, int bound, double deadline) {
    explore::setChoices({});
    do {
      ++schedules;
      explore::History history;
      const std::string wrong = explore::check(scenario, bound, history);
      if (!wrong.empty()) {
        report(scenario, bound, wrong);
        return false;
      }
      if (schedules % 256 == 0 && deadline > 0 && clockSeconds() > deadline) {
        isCut = true;
        return true;
      }
    } while (explore::advance());
    return true;
  }

  void report(const explore::Scenario& scenario, int bound, const std::string& wrong) {
    ++violations;
    const auto choices = explore::choices();
    std::printf("VIOLATION in \"%s\": %s\n  --replay '%s/%d:%s'\n", scenario.name.c_str(),
                wrong.c_str(), scenario.name.c_str(), bound, encoded(choices).c_str());
    (void)std::fflush(stdout);
  }

  int show(const explore::Scenario& scenario, int bound, const explore::Choices& choices) {
    explore::setChoices(choices);
    explore::setTraced(true);
    explore::History history;
    const std::string wrong = explore::check(scenario, bound, history);
    for (const auto& event : history) std::printf("%s\n", explore::text(event).c_str());
    std::printf("%s\n", wrong.empty() ? "nothing wrong" : wrong.c_str());
    return wrong.empty() ? 0 : 1;
  }

  const Options& options;
  double end;
  unsigned long long schedules = 0;
  std::size_t programs = 0;
  bool isCut = false;
  unsigned violations = 0;
};

bool parse(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (name == "--first") {
      options.endsEarly = true;
      continue;
    }
    if (name == "--list") {
      options.lists = true;
      continue;
    }
    if (i + 1 == argc) return false;
    const char* value = argv[++i];
    if (name == "--preemptions") {
      options.preemptions = std::atoi(value);
    } else if (name == "--seconds") {
      options.seconds = std::atof(value);
    } else if (name == "--random") {
      options.seed = static_cast<unsigned>(std::atoi(value));
    } else if (name == "--only") {
      options.only = value;
    } else if (name == "--replay") {
      options.replay = value;
    } else {
      return false;
    }
  }
  return options.preemptions >= 0 && options.preemptions < 10;
}

}  // namespace

int main(int argc, char** argv) {
  explore::describe = explore::placeInFile;
  Options options;
  if (!parse(argc, argv, options)) {
    const bool asked = argc == 2 && std::strcmp(argv[1], "--help") == 0;
    (void)std::fputs(kUsage, asked ? stdout : stderr);
    return asked ? 0 : 2;
  }
  if (options.lists) {
    for (const auto& scenario : explore::scenarios()) std::printf("%s\n", scenario.name.c_str());
    return 0;
  }
  if (!options.replay.empty()) return Exploration(options).replay();
  return Exploration(options).all();
}
