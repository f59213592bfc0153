// The panel between its two neighbours: a host that a connection really talks to, and the
// simulator's end of the real stores.
//
// Only a test moves the link's clock, and the link's thread waits in each of its pauses until the
// test lets it go. So a test steps through the passes, and time is exact.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "plugin/Velomar.h"
#include "plugin/XPlaneManager.h"
#include "store/simdb.h"
#include "tests/support/HostFixture.h"
#include "tests/support/Texts.h"
#include "tools/common/TemporaryPluginFolder.h"

using nlohmann::json;
using Texts = std::vector<std::string>;

std::string tenDigits(std::uint64_t number);
Texts operator+(Texts left, const Texts& right);

// A clock for the link that the test moves.
class SteppedClock : public LinkClock {
 public:
  void advance(std::int64_t milliseconds) { time += milliseconds; }

  // Waits until the link's thread pauses. Returns the length of that pause.
  std::int64_t awaitPause();
  void endPause();

  // From now on pauses are as short as can be, or again as long as the test wants.
  void setFree(bool on);

  std::int64_t now() override { return time; }
  void pauseFor(std::int64_t milliseconds) override;

 private:
  static constexpr std::chrono::seconds kPatience{100};

  std::atomic<std::int64_t> time{1000000};
  std::mutex mutex;
  std::condition_variable changed;
  std::optional<std::int64_t> length;  // of the pause that the thread is in
  bool ended = false;
  bool free = false;
};

// The simulator's end of both stores.
class Simulator {
 public:
  void says(const std::string& value) { puts(tenDigits(++lastSaid), value); }
  void puts(const std::string& key, const std::string& value);

  // The values that the link has written since the last look. Their keys run on without a gap.
  Texts heard();

  // Takes everything that is in "ToXPlane".
  std::map<std::string, std::string> takeAll();

  simdb toXPlane{"ToXPlane", 2048, 4096, false};
  simdb fromXPlane{"FromXPlane", 2048, 4096, false};

 private:
  std::uint64_t lastSaid = 0;
  std::uint64_t lastHeard = 0;
};

// A panel that is connected to its host, in a folder of its own. The link isn't started yet.
class LinkFixture : public HostFixture {
 protected:
  using Path = std::filesystem::path;

  void SetUp() override;
  void TearDown() override;

  // Starts the link, which then waits in its start pause.
  void startLink();

  // Starts the link, connects it and lets the events happen. Their messages and frames are taken
  // out, so that the next look begins with none.
  void bringUp(const Texts& events = {});

  void endLink();

  // Lets the link's thread go on to its next pause. Returns the length of that.
  std::int64_t pass();
  std::int64_t passAfter(std::int64_t milliseconds);
  void passUnseen();

  void welcome();
  void says(const std::string& message) { simulator->says(message); }
  void says(const char* message) { simulator->says(message); }
  void says(const json& message) { simulator->says(message.dump()); }

  // The frames that a message makes the host see. The pause of 5000 tells of one that fails.
  template <typename Message>
  Texts after(const Message& message, std::int64_t pause = 10) {
    says(message);
    EXPECT_EQ(pass(), pause);
    return shown();
  }

  Texts heard() { return simulator->heard(); }

  // An event of the host. It has been dealt with when this returns.
  void happens(const std::string& eventText);

  // The frames that the host has received since the last look.
  Texts shown();

  static std::size_t filesIn(const Path& path);

  // Events of the host.
  static std::string event(const std::string& name, const std::string& context,
                           const json& payload = json::object(), const std::string& device = "D1");
  static json visible(const std::string& keyName, const std::string& controller = "Keypad");
  static std::string appear(const std::string& context, const std::string& device = "D1");
  static std::string appearAsDial(const std::string& context);

  // Messages that the simulator hears.
  static std::string pressOf(const std::string& context);
  static std::string deviceOf(const std::string& device);
  static std::string addOf(const std::string& context, const std::string& device = "D1");
  // The members are in the order of their numbers as texts.
  static std::string groupOf(const std::vector<std::pair<int, std::string>>& members);
  static constexpr char kVersion[] = R"({"Message":"API Version","Version":1})";
  static constexpr char kRefresh[] = R"({"Message":"Force Refresh"})";

  // A message that the simulator sends.
  static json titleFor(const std::string& context, const std::string& title);

  // Frames that the host receives.
  static std::string frame(const std::string& name, const std::string& context,
                           const std::string& payload);
  static std::string titleOn(const std::string& context, const std::string& title);
  static std::string imageOn(const std::string& context, const std::string& base64);
  static std::string itemOn(const std::string& context, const std::string& item,
                            const std::string& text);
  static std::string layoutOn(const std::string& context, const std::string& file);
  static Texts blankKey(const std::string& context);
  static Texts blankDial(const std::string& context);
  static std::string linkLine(const std::string& text);
  static std::string panelLine(const std::string& text);

  SteppedClock clock;
  std::optional<Simulator> simulator;

 private:
  void settle();

  Texts seen;
  const Path home = std::filesystem::current_path();
  const TemporaryPluginFolder folder;
  int logMask = 0;
};
