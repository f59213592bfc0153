// The panel between its two neighbours: a host that a connection really talks to, and the
// simulator's end of the real stores.
//
// Only a test moves the link's clock, and the link's thread waits in each of its pauses until the
// test lets it go. So a test steps through the passes, and time is exact.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "plugin/LinkClock.h"
#include "plugin/Velomar.h"
#include "plugin/XPlaneManager.h"
#include "store/simdb.h"
#include "tests/support/HostFixture.h"
#include "tools/common/TemporaryPluginFolder.h"

using nlohmann::json;
using Texts = std::vector<std::string>;

inline std::string tenDigits(std::uint64_t number) {
  std::string digits = std::to_string(number);
  return std::string(10 - digits.size(), '0') + digits;
}

// A clock for the link that the test moves.
class SteppedClock : public LinkClock {
 public:
  void advance(std::int64_t milliseconds) { time += milliseconds; }

  // Waits until the link's thread pauses. Returns for how long it means to.
  std::int64_t awaitPause() {
    std::unique_lock<std::mutex> lock(mutex);
    if (changed.wait_for(lock, kPatience, [this] { return length.has_value(); })) return *length;
    ADD_FAILURE() << "the link's thread doesn't come to rest";
    return -1;
  }

  void endPause() {
    const std::lock_guard<std::mutex> lock(mutex);
    length.reset();
    ended = true;
    changed.notify_all();
  }

  // From now on pauses are as short as can be, or again as long as the test wants.
  void setFree(bool on) {
    const std::lock_guard<std::mutex> lock(mutex);
    free = on;
    if (on) length.reset();
    changed.notify_all();
  }

  std::int64_t now() override { return time; }

  void pauseFor(std::int64_t milliseconds) override {
    std::unique_lock<std::mutex> lock(mutex);
    if (!free) {
      length = milliseconds;
      changed.notify_all();
      changed.wait(lock, [this] { return ended || free; });
      ended = false;
      return;
    }
    lock.unlock();
    std::this_thread::sleep_for(std::chrono::microseconds(20));
  }

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
  void puts(const std::string& key, const std::string& value) {
    ASSERT_TRUE(fromXPlane.put(key, value)) << "the store is full";
  }

  // The values that the link has written since the last look. Their keys run on without a gap.
  Texts heard() {
    Texts values;
    for (auto& [key, value] : takeAll()) {
      EXPECT_EQ(key, tenDigits(++lastHeard));
      values.push_back(std::move(value));
    }
    return values;
  }

  // Takes everything that is in "ToXPlane".
  std::map<std::string, std::string> takeAll() {
    std::map<std::string, std::string> all;
    const std::uint64_t roundsEnd = toXPlane.walked() + toXPlane.slots();
    do {
      for (const auto& key : toXPlane.getKeyStrs()) all.emplace(key.str, toXPlane.get(key.str));
    } while (toXPlane.walked() < roundsEnd);
    for (const auto& entry : all) {
      (void)toXPlane.del(entry.first.data(), static_cast<std::uint32_t>(entry.first.size()));
    }
    return all;
  }

  simdb toXPlane{"ToXPlane", 2048, 4096, false};
  simdb fromXPlane{"FromXPlane", 2048, 4096, false};

 private:
  std::uint64_t lastSaid = 0;
  std::uint64_t lastHeard = 0;
};

inline Texts operator+(Texts left, const Texts& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// A panel that is connected to its host, in a folder of its own. The link isn't started yet.
class LinkFixture : public HostFixture {
 protected:
  using Path = std::filesystem::path;

  void SetUp() override {
    HostFixture::SetUp();
    logMask = setlogmask(LOG_UPTO(LOG_WARNING));  // the host gets every line all the same
    std::filesystem::current_path(folder.path);
    ESDLogger::SetConnectionManager(&connect(Velomar::getInstance()));
    settle();
  }

  void TearDown() override {
    endLink();
    HostFixture::TearDown();
    delete Velomar::pInstance;
    simulator.reset();
    std::filesystem::current_path(home);
    setlogmask(logMask);
  }

  // Starts the link, which then waits in its start pause.
  void startLink() {
    XPlaneManager::getInstance(clock);
    simulator.emplace();
    EXPECT_EQ(clock.awaitPause(), 5000);
  }

  // Starts the link, connects it and lets the events happen. Their messages and frames are taken
  // out, so that the next look begins with none.
  void bringUp(const Texts& events = {}) {
    startLink();
    pass();
    welcome();
    EXPECT_TRUE(XPlaneManager::isConnected());
    for (const auto& text : events) happens(text);
    passUnseen();
  }

  void endLink() {
    clock.setFree(true);
    delete XPlaneManager::pInstance;
  }

  // Lets the link's thread go on to its next pause. Returns the length of that.
  std::int64_t pass() {
    clock.endPause();
    return clock.awaitPause();
  }

  std::int64_t passAfter(std::int64_t milliseconds) {
    clock.advance(milliseconds);
    return pass();
  }
  void passUnseen() {
    pass();
    (void)heard();
    (void)shown();
  }
  void welcome() {
    says("{Welcome}");
    pass();
  }

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
  void happens(const std::string& eventText) {
    host.send(eventText);
    settle();
  }

  // The frames that the host has received since the last look.
  Texts shown() {
    settle();
    return std::exchange(seen, {});
  }

  static std::string read(const Path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  static std::size_t filesIn(const Path& path) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path), {}));
  }

  // Events of the host.
  static std::string event(const std::string& name, const std::string& context,
                           const json& payload = json::object(), const std::string& device = "D1") {
    json text = {{"event", name}, {"context", context}, {"device", device}, {"payload", payload}};
    text["action"] = "com.brackenmoor.velomar.launch";
    return text.dump();
  }
  static json visible(const std::string& keyName, const std::string& controller = "Keypad") {
    const json place = {{"column", 2}, {"row", 1}};
    const json settings = {{"KeyName", keyName}};
    return {{"coordinates", place}, {"controller", controller}, {"settings", settings}};
  }
  static std::string appear(const std::string& context, const std::string& device = "D1") {
    return event("willAppear", context, visible("AP"), device);
  }
  static std::string appearAsDial(const std::string& context) {
    return event("willAppear", context, visible("HDG", "Encoder"));
  }

  // Messages that the simulator hears.
  static std::string pressOf(const std::string& context) {
    return R"({"Context":")" + context + R"(","Message":"Key Down"})";
  }
  static std::string deviceOf(const std::string& device) {
    return R"({"Device ID":")" + device + R"(","Message":"Add Device"})";
  }
  static std::string addOf(const std::string& context, const std::string& device = "D1") {
    return R"({"Column":2,"Context":")" + context + R"(","Controller":"Keypad","Device ID":")" +
           device + R"(","KeyName":"AP","Message":"Add Context","Row":1})";
  }
  // The members are in the order of their numbers as texts.
  static std::string groupOf(const std::vector<std::pair<int, std::string>>& members) {
    std::string group;
    for (const auto& [number, text] : members) {
      group += (group.empty() ? "" : ",") + ('"' + std::to_string(number) + "\":" + text);
    }
    return R"({"Message":"Group Message","Messages":{)" + group + "}}";
  }
  static constexpr char kVersion[] = R"({"Message":"API Version","Version":1})";
  static constexpr char kRefresh[] = R"({"Message":"Force Refresh"})";

  // A message that the simulator sends.
  static json titleFor(const std::string& context, const std::string& title) {
    return {{"Message", "Set Title"}, {"Context", context}, {"Title", title}};
  }

  // Frames that the host receives.
  static std::string frame(const std::string& name, const std::string& context,
                           const std::string& payload) {
    return R"({"context":")" + context + R"(","event":")" + name + R"(","payload":)" + payload +
           "}";
  }
  static std::string titleOn(const std::string& context, const std::string& title) {
    return frame("setTitle", context, R"({"target":0,"title":")" + title + "\"}");
  }
  static std::string imageOn(const std::string& context, const std::string& base64) {
    const std::string image = base64.empty() ? "" : "data:image/png;base64," + base64;
    return frame("setImage", context, R"({"image":")" + image + R"(","target":0})");
  }
  static std::string itemOn(const std::string& context, const std::string& item,
                            const std::string& text) {
    return frame("setFeedback", context, "{\"" + item + R"(":")" + text + "\"}");
  }
  static std::string layoutOn(const std::string& context, const std::string& file) {
    return frame("setFeedbackLayout", context, R"({"layout":")" + file + "\"}");
  }
  static Texts blankKey(const std::string& context) {
    return {imageOn(context, ""), titleOn(context, ""), layoutOn(context, "Velomar-Layout.json")};
  }
  static Texts blankDial(const std::string& context) {
    Texts frames{itemOn(context, "icon", "SDPlusIcon.png")};
    for (int i = 0; i < 10; ++i) frames.push_back(itemOn(context, "line" + std::to_string(i), ""));
    frames.push_back(layoutOn(context, "Velomar-Layout.json"));
    return frames;
  }
  static std::string linkLine(const std::string& text) {
    return logFrame("XPlaneManager.cpp: " + text);
  }
  static std::string panelLine(const std::string& text) { return logFrame("Velomar.cpp: " + text); }

  SteppedClock clock;
  std::optional<Simulator> simulator;

 private:
  // The wake-up's log line comes after everything that was sent before, and the wake-up is dealt
  // with after every event that came before.
  void settle() {
    static const std::string awake = panelLine("System woke up");
    host.send(R"({"event":"systemDidWakeUp"})");
    for (std::string text = host.frames.next(); text != awake; text = host.frames.next()) {
      ASSERT_NE(text, "(nothing)") << "the connection is dead";
      seen.push_back(std::move(text));
    }
  }

  Texts seen;
  const Path home = std::filesystem::current_path();
  const TemporaryPluginFolder folder;
  int logMask = 0;
};
