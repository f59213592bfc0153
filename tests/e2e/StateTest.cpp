// The words of velomar-state about the real panel and about several kinds of simulator's side.
#include <atomic>
#include <nlohmann/json.hpp>
#include <thread>

#include "simulator/SimulatorLink.h"
#include "store/simdb.h"
#include "tests/e2e/Stage.h"
#include "tests/support/Texts.h"

using nlohmann::json;

namespace {

// The simulator's side, in this process.
class Simulator {
 public:
  enum class Does { Nothing, WritesOnly, Everything };

  Simulator() {
    thread = std::thread([this] { run(); });
  }
  ~Simulator() {
    isOver = true;
    thread.join();
  }

  std::atomic<Does> does{Does::Everything};
  std::atomic<bool> isUp{false};

 private:
  void run() {
    velomar::SimulatorLink link;
    for (int pass = 0; !isOver; ++pass) {
      if (does == Does::Everything) (void)link.poll();
      if (does == Does::WritesOnly && pass % 20 == 0) (void)link.send("{Heartbeat}");
      isUp = link.isUp();
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }

  std::atomic<bool> isOver{false};
  std::thread thread;
};

class StateTest : public Stage {
 protected:
  // The verdict, and the program's exit code.
  static std::pair<std::string, int> verdict() {
    const auto [text, code] = outputOf("'" VELOMAR_STATE "' --json");
    return {json::parse(text)["verdict"]["code"], code};
  }

  // A look may fall into a moment of change, such as the panel's first seconds.
  static void expectVerdict(const std::string& code) {
    const std::pair<std::string, int> wanted{code, code == "well" ? 0 : 1};
    auto found = verdict();
    for (int tries = 0; tries < 4 && found != wanted; ++tries) found = verdict();
    EXPECT_EQ(found, wanted);
  }
};

TEST_F(StateTest, EachTroubleOfTheLinkHasItsVerdict) {
  expectVerdict("no-panel");
  startDeck();
  expectVerdict("no-simulator");
  Simulator simulator;
  expectVerdict("well");
  EXPECT_TRUE(simulator.isUp);
  bridge = std::make_unique<ChildProcess>(Lines{VELOMAR_BRIDGE, "--simulator", "trainer"},
                                          ChildProcess::Options{});
  expectVerdict("two-simulators");
  bridge->signal(SIGKILL);
  EXPECT_TRUE(bridge->waitForEnd(kPatience));

  simulator.does = Simulator::Does::Nothing;
  tellDeck("plug D");
  expectVerdict("simulator-hangs");
  simulator.does = Simulator::Does::WritesOnly;
  expectVerdict("not-taken");
  simdb store("ToXPlane", 2048, 4096, false);
  for (int i = 0; store.put("filler " + std::to_string(i), std::string(2000, 'x')); ++i) continue;
  expectVerdict("full");
  for (const simdb::VerStr& key : store.getKeyStrs()) {
    (void)store.del(key.str.data(), static_cast<std::uint32_t>(key.str.size()));
  }
  simulator.does = Simulator::Does::Everything;
  expectVerdict("well");
  ASSERT_TRUE(std::filesystem::remove(home.region("FromXPlane")));
  expectVerdict("panel-without-store");
  endDeck();
}

TEST_F(StateTest, WhateverLiesInTheWayIsNamed) {
  const auto region = home.region("ToXPlane");
  std::filesystem::create_directory(region);
  expectVerdict("not-a-file");
  std::filesystem::remove(region);
  std::filesystem::create_symlink("/nowhere/at/all", region);
  expectVerdict("dangling-link");
  std::filesystem::remove(region);
  std::ofstream(region) << std::string(9000000, '\xA5');
  expectVerdict("damaged");
}

}  // namespace
