// velomar-explore: runs the store's sources under every schedule of small programs.
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "tests/store/explore/FileSystem.h"
#include "tests/store/explore/Scenarios.h"
#include "tests/store/explore/Schedule.h"
#include "tools/common/CommandLine.h"

namespace {

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

explore::Choices decoded(const std::string& text) {
  explore::Choices choices;
  std::istringstream in(text);
  std::size_t at = 0;
  unsigned taken = 0;
  for (char mark = 0; in >> at >> mark >> taken && at < 100000; in >> mark) {
    choices.resize(std::max(choices.size(), at + 1));
    choices[at] = static_cast<unsigned char>(taken);
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
        const int extra =
            open[i].has(explore::Scenario::kDeep) && bound == options.preemptions ? 1 : 0;
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

  // Runs one schedule, which is given as SCENARIO/PREEMPTIONS:CHOICES, and shows it.
  int replay() {
    const auto bar = options.replay.rfind('/');
    const auto colon = options.replay.find(':', bar);
    if (bar == std::string::npos || colon == std::string::npos) return kWronglyAsked;
    const std::string name = options.replay.substr(0, bar);
    const int bound = std::atoi(options.replay.c_str() + bar + 1);
    const auto choices = decoded(options.replay.substr(colon + 1));
    if (name.rfind("random ", 0) == 0) {
      const auto seed = static_cast<unsigned>(std::strtoul(name.c_str() + 7, nullptr, 10));
      return show(explore::randomScenario(seed), bound, choices);
    }
    for (const auto& scenario : explore::scenarios()) {
      if (scenario.name == name) return show(scenario, bound, choices);
    }
    std::fprintf(stderr, "no scenario of that name\n");
    return kWronglyAsked;
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

void declareArguments(CLI::App& app, Options& options) {
  app.add_option("--preemptions", options.preemptions,
                 "at most, in a schedule; one more for the scenarios that are worth it [2]")
      ->check(CLI::Range(0, 9));
  app.add_option("--seconds", options.seconds,
                 "runs for so long, random programs at the end; otherwise each scenario once");
  app.add_option("--random", options.seed, "the first random program; those after it count up [1]");
  app.add_option("--only", options.only, "only the scenarios with this text in their names");
  app.add_option("--replay", options.replay,
                 "runs one schedule, as printed with a violation, and shows each step");
  app.add_flag("--first", options.endsEarly, "ends at the first violation");
  app.add_flag("--list", options.lists, "names the scenarios");
}

}  // namespace

int main(int argc, char** argv) {
  explore::describe = explore::placeInFile;
  Options options;
  CLI::App app("Runs the store under every schedule of small programs. 1: one went wrong.");
  declareArguments(app, options);
  readCommandLine(app, argc, argv);
  if (options.lists) {
    for (const auto& scenario : explore::scenarios()) std::printf("%s\n", scenario.name.c_str());
    return 0;
  }
  if (!options.replay.empty()) return Exploration(options).replay();
  return Exploration(options).all();
}
