#include "tests/plugin/LinkHarness.h"

#include <syslog.h>

#include <iterator>
#include <thread>

std::string tenDigits(std::uint64_t number) {
  std::string digits = std::to_string(number);
  return std::string(10 - digits.size(), '0') + digits;
}

Texts operator+(Texts left, const Texts& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

std::int64_t SteppedClock::awaitPause() {
  std::unique_lock<std::mutex> lock(mutex);
  if (changed.wait_for(lock, kPatience, [this] { return length.has_value(); })) return *length;
  ADD_FAILURE() << "the link's thread doesn't come to rest";
  return -1;
}

void SteppedClock::endPause() {
  const std::lock_guard<std::mutex> lock(mutex);
  length.reset();
  ended = true;
  changed.notify_all();
}

void SteppedClock::setFree(bool on) {
  const std::lock_guard<std::mutex> lock(mutex);
  free = on;
  if (on) length.reset();
  changed.notify_all();
}

void SteppedClock::pauseFor(std::int64_t milliseconds) {
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

void Simulator::puts(const std::string& key, const std::string& value) {
  ASSERT_TRUE(fromXPlane.put(key, value)) << "the store is full";
}

Texts Simulator::heard() {
  Texts values;
  for (auto& [key, value] : takeAll()) {
    EXPECT_EQ(key, tenDigits(++lastHeard));
    values.push_back(std::move(value));
  }
  return values;
}

std::map<std::string, std::string> Simulator::takeAll() {
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

void LinkFixture::SetUp() {
  HostFixture::SetUp();
  logMask = setlogmask(LOG_UPTO(LOG_WARNING));  // the host gets every line all the same
  std::filesystem::current_path(folder.path);
  ESDLogger::SetConnectionManager(&connect(Velomar::getInstance()));
  settle();
}

void LinkFixture::TearDown() {
  endLink();
  HostFixture::TearDown();
  delete Velomar::pInstance;
  simulator.reset();
  std::filesystem::current_path(home);
  setlogmask(logMask);
}

void LinkFixture::startLink() {
  XPlaneManager::getInstance(clock);
  simulator.emplace();
  EXPECT_EQ(clock.awaitPause(), 5000);
}

void LinkFixture::bringUp(const Texts& events) {
  startLink();
  pass();
  welcome();
  EXPECT_TRUE(XPlaneManager::isConnected());
  for (const auto& text : events) happens(text);
  passUnseen();
}

void LinkFixture::endLink() {
  clock.setFree(true);
  delete XPlaneManager::pInstance;
}

std::int64_t LinkFixture::pass() {
  clock.endPause();
  return clock.awaitPause();
}

std::int64_t LinkFixture::passAfter(std::int64_t milliseconds) {
  clock.advance(milliseconds);
  return pass();
}

void LinkFixture::passUnseen() {
  pass();
  (void)heard();
  (void)shown();
}

void LinkFixture::welcome() {
  says("{Welcome}");
  pass();
}

void LinkFixture::happens(const std::string& eventText) {
  host.send(eventText);
  settle();
}

Texts LinkFixture::shown() {
  settle();
  return std::exchange(seen, {});
}

std::size_t LinkFixture::filesIn(const Path& path) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path), {}));
}

std::string LinkFixture::event(const std::string& name, const std::string& context,
                               const json& payload, const std::string& device) {
  json text = {{"event", name}, {"context", context}, {"device", device}, {"payload", payload}};
  text["action"] = "com.brackenmoor.velomar.launch";
  return text.dump();
}

json LinkFixture::visible(const std::string& keyName, const std::string& controller) {
  const json place = {{"column", 2}, {"row", 1}};
  const json settings = {{"KeyName", keyName}};
  return {{"coordinates", place}, {"controller", controller}, {"settings", settings}};
}

std::string LinkFixture::appear(const std::string& context, const std::string& device) {
  return event("willAppear", context, visible("AP"), device);
}

std::string LinkFixture::appearAsDial(const std::string& context) {
  return event("willAppear", context, visible("HDG", "Encoder"));
}

std::string LinkFixture::pressOf(const std::string& context) {
  return R"({"Context":")" + context + R"(","Message":"Key Down"})";
}

std::string LinkFixture::deviceOf(const std::string& device) {
  return R"({"Device ID":")" + device + R"(","Message":"Add Device"})";
}

std::string LinkFixture::addOf(const std::string& context, const std::string& device) {
  return R"({"Column":2,"Context":")" + context + R"(","Controller":"Keypad","Device ID":")" +
         device + R"(","KeyName":"AP","Message":"Add Context","Row":1})";
}

std::string LinkFixture::groupOf(const std::vector<std::pair<int, std::string>>& members) {
  std::string group;
  for (const auto& [number, text] : members) {
    group += (group.empty() ? "" : ",") + ('"' + std::to_string(number) + "\":" + text);
  }
  return R"({"Message":"Group Message","Messages":{)" + group + "}}";
}

json LinkFixture::titleFor(const std::string& context, const std::string& title) {
  return {{"Message", "Set Title"}, {"Context", context}, {"Title", title}};
}

std::string LinkFixture::frame(const std::string& name, const std::string& context,
                               const std::string& payload) {
  return R"({"context":")" + context + R"(","event":")" + name + R"(","payload":)" + payload + "}";
}

std::string LinkFixture::titleOn(const std::string& context, const std::string& title) {
  return frame("setTitle", context, R"({"target":0,"title":")" + title + "\"}");
}

std::string LinkFixture::imageOn(const std::string& context, const std::string& base64) {
  const std::string image = base64.empty() ? "" : "data:image/png;base64," + base64;
  return frame("setImage", context, R"({"image":")" + image + R"(","target":0})");
}

std::string LinkFixture::itemOn(const std::string& context, const std::string& item,
                                const std::string& text) {
  return frame("setFeedback", context, "{\"" + item + R"(":")" + text + "\"}");
}

std::string LinkFixture::layoutOn(const std::string& context, const std::string& file) {
  return frame("setFeedbackLayout", context, R"({"layout":")" + file + "\"}");
}

Texts LinkFixture::blankKey(const std::string& context) {
  return {imageOn(context, ""), titleOn(context, ""), layoutOn(context, "Velomar-Layout.json")};
}

Texts LinkFixture::blankDial(const std::string& context) {
  Texts frames{itemOn(context, "icon", "SDPlusIcon.png")};
  for (int i = 0; i < 10; ++i) frames.push_back(itemOn(context, "line" + std::to_string(i), ""));
  frames.push_back(layoutOn(context, "Velomar-Layout.json"));
  return frames;
}

std::string LinkFixture::linkLine(const std::string& text) {
  return logFrame("XPlaneManager.cpp: " + text);
}

std::string LinkFixture::panelLine(const std::string& text) {
  return logFrame("Velomar.cpp: " + text);
}

// The wake-up's log line comes after everything that was sent before, and the wake-up is dealt
// with after every event that came before.
void LinkFixture::settle() {
  static const std::string awake = panelLine("System woke up");
  host.send(R"({"event":"systemDidWakeUp"})");
  for (std::string text = host.frames.next(); text != awake; text = host.frames.next()) {
    ASSERT_NE(text, "(nothing)") << "the connection is dead";
    seen.push_back(std::move(text));
  }
}
