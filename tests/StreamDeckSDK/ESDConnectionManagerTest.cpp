#include "StreamDeckSDK/ESDConnectionManager.h"

#include <gmock/gmock.h>
#include <netinet/tcp.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/read_until.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <map>
#include <stdexcept>

#include "StreamDeckSDK/ESDBasePlugin.h"
#include "tests/support/HostFixture.h"
#include "tests/support/SystemLog.h"
#include "tests/support/Texts.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

#define RECORD(operation)                                                               \
  void operation(String action, String context, Json payload, String device) override { \
    note(#operation, action, context, payload, device);                                 \
  }

// Writes down each call, and raises where the context asks for it.
class RecordingPlugin : public ESDBasePlugin {
 public:
  using String = const std::string&;
  using Json = const json&;

  RECORD(DidReceiveSettings)
  RECORD(KeyDownForAction)
  RECORD(KeyUpForAction)
  RECORD(DialPressForAction)
  RECORD(DialRotateForAction)
  RECORD(TouchTabForAction)
  RECORD(WillAppearForAction)
  RECORD(WillDisappearForAction)
  RECORD(SendToPlugin)
  void DidReceiveGlobalSettings(Json payload) override {
    calls.add("DidReceiveGlobalSettings|" + payload.dump());
  }
  void DeviceDidConnect(String device, Json info) override {
    calls.add("DeviceDidConnect|" + device + "|" + info.dump());
  }
  void DeviceDidDisconnect(String device) override { calls.add("DeviceDidDisconnect|" + device); }
  void SystemDidWakeUp() override { calls.add("SystemDidWakeUp"); }

  Lines calls;

 private:
  void note(const char* operation, String action, String context, Json payload, String device) {
    calls.add(std::string(operation) + "|" + action + "|" + context + "|" + payload.dump() + "|" +
              device);
    if (context == "error") throw std::runtime_error("refused");
    if (context == "number") throw 42;
    if (context == "json") (void)payload.at("missing");
  }
};

void giveAllCommands(ESDConnectionManager& manager) {
  const json settings = {{"z", 1}, {"a", {{"KeyName", "caf\xc3\xa9 \"1\"\n"}}}};
  const std::string prefix = "data:image/png;base64,";
  manager.SetTitle("Flaps", "C", 0, -1);
  manager.SetTitle("", "C", 2, 0);
  manager.SetImage("iVBO", "C", 0, -1);
  manager.SetImage(prefix + "iVBO", "C", 1, 0);
  manager.SetImage(" " + prefix, "C", 0, 3);
  manager.SetImage("", "C", 0, -1);
  manager.SetImage("\"é", "\"image\":\"", 0, -1);
  manager.SetImage("iVBO", "\"image\":\"", 0, -1);
  manager.ShowAlertForContext("C");
  manager.ShowOKForContext("C");
  manager.SetSettings(settings, "C");
  manager.SetSettings(json(), "C");
  manager.SetState(-1, "C");
  manager.SetFeedback(settings, "C");
  manager.SetFeedbackLayout("layouts/a.json", "C");
  manager.SendToPropertyInspector("A", "C", settings);
  manager.SwitchToProfile("D", "Cruise");
  manager.SwitchToProfile("D", "");
  manager.SwitchToProfile("", "Cruise");
  manager.GetGlobalSettings();
  manager.SetGlobalSettings(settings);
  manager.LogMessage("{} \"x\"");
  manager.LogMessage("");
}

// Two of them send nothing.
constexpr char kAllFrames[] =
    R"({"context":"C","event":"setTitle","payload":{"target":0,"title":"Flaps"}}
{"context":"C","event":"setTitle","payload":{"state":0,"target":2,"title":""}}
{"context":"C","event":"setImage","payload":{"image":"data:image/png;base64,iVBO","target":0}}
{"context":"C","event":"setImage","payload":{"image":"data:image/png;base64,iVBO","state":0,"target":1}}
{"context":"C","event":"setImage","payload":{"image":"data:image/png;base64, data:image/png;base64,","state":3,"target":0}}
{"context":"C","event":"setImage","payload":{"image":"","target":0}}
{"context":"\"image\":\"","event":"setImage","payload":{"image":"data:image/png;base64,\"é","target":0}}
{"context":"\"image\":\"","event":"setImage","payload":{"image":"data:image/png;base64,iVBO","target":0}}
{"context":"C","event":"showAlert"}
{"context":"C","event":"showOk"}
{"context":"C","event":"setSettings","payload":{"a":{"KeyName":"café \"1\"\n"},"z":1}}
{"context":"C","event":"setSettings","payload":null}
{"context":"C","event":"setState","payload":{"state":-1}}
{"context":"C","event":"setFeedback","payload":{"a":{"KeyName":"café \"1\"\n"},"z":1}}
{"context":"C","event":"setFeedbackLayout","payload":{"layout":"layouts/a.json"}}
{"action":"A","context":"C","event":"sendToPropertyInspector","payload":{"a":{"KeyName":"café \"1\"\n"},"z":1}}
{"context":"plug-in 1","device":"D","event":"switchToProfile","payload":{"profile":"Cruise"}}
{"context":"plug-in 1","device":"D","event":"switchToProfile"}
{"context":"plug-in 1","event":"getGlobalSettings"}
{"context":"plug-in 1","event":"setGlobalSettings","payload":{"a":{"KeyName":"café \"1\"\n"},"z":1}}
{"event":"logMessage","payload":{"message":"{} \"x\""}})";

// A port of this machine for what a WebSocket server never does.
class LoopbackSocket {
 public:
  // Takes a free port. No socket listens on it, and none can.
  LoopbackSocket() : acceptor(context, asio::ip::tcp::v4()) {
    acceptor.bind({asio::ip::address_v4::loopback(), 0});
  }

  int port() const { return acceptor.local_endpoint().port(); }
  void listen() { acceptor.listen(); }

  // Reads the next caller's request, answers and hangs up.
  void answer(const std::string& text) {
    auto caller = acceptor.accept();
    std::string request;
    asio::read_until(caller, asio::dynamic_buffer(request), "\r\n\r\n");
    asio::write(caller, asio::buffer(text));
  }

 private:
  asio::io_context context;
  asio::ip::tcp::acceptor acceptor;
};

class ESDConnectionManagerTest : public HostFixture {
 protected:
  void expectNothingMore(ESDConnectionManager& manager) {
    manager.ShowOKForContext("end");
    EXPECT_EQ(host.frames.next(), R"({"context":"end","event":"showOk"})");
  }

  RecordingPlugin plugin;
};

TEST_F(ESDConnectionManagerTest, CommandsGoOutAsTheyAre) {
  ESDConnectionManager& manager = connect(&plugin);
  giveAllCommands(manager);
  for (const std::string& frame : linesOf(kAllFrames)) EXPECT_EQ(host.frames.next(), frame);
  EXPECT_THROW(manager.SetTitle("\xff", "C", 0, -1), json::exception);
  EXPECT_THROW(manager.SetImage("\xff", "C", 0, -1), json::exception);
  EXPECT_THROW(manager.LogMessage("\xc3("), json::exception);
  expectNothingMore(manager);
  const std::string image(3000000, 'A');
  manager.SetImage(image, "C", 0, -1);
  EXPECT_EQ(json::parse(host.frames.next())["payload"]["image"], "data:image/png;base64," + image);
}

TEST_F(ESDConnectionManagerTest, CommandsWithoutAConnectionAreLost) {
  ESDConnectionManager& manager = make(&plugin, host.port());
  EXPECT_EQ(manager.GetAsioContext(), nullptr);
  EXPECT_NO_THROW(giveAllCommands(manager));
  run(manager);
  EXPECT_EQ(host.frames.next(), kRegistration);
  expectNothingMore(manager);
  host.close("");
  ASSERT_TRUE(ended());
  EXPECT_NO_THROW(giveAllCommands(manager));
  EXPECT_THAT(host.frames.rest(), IsEmpty());
  EXPECT_TRUE(manager.GetAsioContext()->stopped());

  ESDConnectionManager& lonely = make(nullptr, LoopbackSocket().port());
  lonely.Run();
  EXPECT_TRUE(lonely.GetAsioContext()->stopped());
  EXPECT_NO_THROW(giveAllCommands(lonely));
}

// The descriptor of this process's socket that is connected to the port, or -1.
int socketConnectedTo(int port) {
  for (int fd = 0; fd < 1024; ++fd) {
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
        ntohs(peer.sin_port) == port) {
      return fd;
    }
  }
  return -1;
}

TEST_F(ESDConnectionManagerTest, NoCommandWaitsForTheHostToAcknowledgeAnEarlierOne) {
  connect(nullptr);
  int isSet = 0;
  socklen_t length = sizeof isSet;
  ASSERT_EQ(getsockopt(socketConnectedTo(host.port()), IPPROTO_TCP, TCP_NODELAY, &isSet, &length),
            0);
  EXPECT_NE(isSet, 0);
}

const std::string kGiven = R"(|A|C|{"settings":{"n":1}}|D)";
const std::pair<const char*, std::string> kEvents[] = {
    {"keyDown", "KeyDownForAction" + kGiven},
    {"keyUp", "KeyUpForAction" + kGiven},
    {"willAppear", "WillAppearForAction" + kGiven},
    {"willDisappear", "WillDisappearForAction" + kGiven},
    {"didReceiveSettings", "DidReceiveSettings" + kGiven},
    {"didReceiveGlobalSettings", R"(DidReceiveGlobalSettings|{"settings":{"n":1}})"},
    {"deviceDidConnect", R"(DeviceDidConnect|D|{"name":"deck"})"},
    {"deviceDidDisconnect", "DeviceDidDisconnect|D"},
    {"sendToPlugin", "SendToPlugin" + kGiven},
    {"systemDidWakeUp", "SystemDidWakeUp"},
    {"dialPress", "DialPressForAction" + kGiven},
    {"dialRotate", "DialRotateForAction" + kGiven},
    {"touchTap", "TouchTabForAction" + kGiven},
    {"dialDown", R"(DialPressForAction|A|C|{"pressed":true,"settings":{"n":1}}|D)"},
    {"dialUp", R"(DialPressForAction|A|C|{"pressed":false,"settings":{"n":1}}|D)"}};

TEST_F(ESDConnectionManagerTest, EveryEventReachesItsOperation) {
  connect(&plugin);
  json frame = json::parse(R"({"action":"A","context":"C","device":"D","other":"O",
      "payload":{"settings":{"n":1}},"deviceInfo":{"name":"deck"}})");
  for (const auto& [event, call] : kEvents) {
    frame["event"] = event;
    host.send(frame.dump());
    EXPECT_EQ(plugin.calls.next(), call);
  }
  host.close("");
  ASSERT_TRUE(ended());
  EXPECT_THAT(plugin.calls.rest(), IsEmpty());
  EXPECT_THAT(host.frames.rest(), IsEmpty());
}

TEST_F(ESDConnectionManagerTest, WhatAnEventLacksIsEmpty) {
  connect(&plugin);
  const std::string deepest = repeated("[", 510) + repeated("]", 510);
  const std::pair<std::string, std::string> rows[] = {
      {R"({"event":"keyDown"})", "KeyDownForAction|||null|"},
      {R"({"event":"keyUp","context":7,"action":null,"device":["D"],"payload":[1]})",
       "KeyUpForAction|||null|"},
      {R"({"event":"touchTap","payload":"{}","context":"C"})", "TouchTabForAction||C|null|"},
      {R"({"event":"dialDown","context":"C"})", R"(DialPressForAction||C|{"pressed":true}|)"},
      {R"({"event":"dialUp","payload":[true]})", R"(DialPressForAction|||{"pressed":false}|)"},
      {R"({"event":"dialUp","payload":{"pressed":1}})",
       R"(DialPressForAction|||{"pressed":false}|)"},
      {R"({"event":"didReceiveGlobalSettings","payload":7})", "DidReceiveGlobalSettings|null"},
      {R"({"event":"deviceDidConnect","deviceInfo":["D"],"payload":{"deviceInfo":{}}})",
       "DeviceDidConnect||null"},
      {" \n{\"event\" : \"key\\u0044own\",\"context\":\"\\u00e9\\ud83d\\udee9\"}\n",
       "KeyDownForAction||\xc3\xa9\xf0\x9f\x9b\xa9|null|"},
      {R"({"event":"keyDown","payload":{"a":)" + deepest + "}}",
       R"(KeyDownForAction|||{"a":)" + deepest + "}|"}};
  for (const auto& [frame, call] : rows) {
    host.send(frame);
    EXPECT_EQ(plugin.calls.next(), call);
  }
}

// The presses that come out of a dial's events. In a row, p and r are a press and a release as the
// pair of events, P and R as the single one, v is the context that disappears, and a digit is the
// context of all that follow.
TEST_F(ESDConnectionManagerTest, ADialsPressCountsOnceInWhicheverFormItComes) {
  connect(&plugin);
  const auto eventOf = [](char c) -> json {
    if (c == 'v') return {{"event", "willDisappear"}};
    if (c == 'p' || c == 'r') return {{"event", c == 'p' ? "dialDown" : "dialUp"}};
    return {{"event", "dialPress"}, {"payload", {{"pressed", c == 'P'}}}};
  };
  const std::pair<const char*, const char*> rows[] = {
      {"prpr", "prpr"},     {"PRPR", "prpr"},     {"ppprr", "ppprr"},       {"PPRRR", "pprrr"},
      {"pPrRpPrR", "prpr"}, {"PpRrPpRr", "prpr"}, {"pPRrPprR", "prpr"},     {"RrPp", "rp"},
      {"pPPppPrR", "pppr"}, {"pPvPrR", "ppr"},    {"1p2Pp1PRr2rR", "pprr"}, {"pPR", "pr"},
      {"pRpR", "prpr"},     {"vpPrRv", "pr"}};
  int number = 0;
  for (const auto& [events, presses] : rows) {
    char dial = '0';
    ++number;
    for (const char* c = events; *c != '\0'; ++c) {
      if (*c >= '0' && *c <= '9') dial = *c;
      json frame = eventOf(*c);
      frame["context"] = std::to_string(number) + dial;
      if (*c != dial) host.send(frame.dump());
    }
    host.send(R"({"event":"systemDidWakeUp"})");
    std::string told;
    for (std::string call = plugin.calls.next(); call != "SystemDidWakeUp";
         call = plugin.calls.next()) {
      ASSERT_NE(call, "(nothing)");
      if (call.find(R"("pressed":true)") != std::string::npos) told += 'p';
      if (call.find(R"("pressed":false)") != std::string::npos) told += 'r';
    }
    EXPECT_EQ(told, presses) << events;
  }
}

constexpr char kBadFrames[] = R"({
keyDown
42
null
{}
[{"event":"keyDown"}]
{"event":"keyDown"} x
{"event":"keyDown"
{"event":"keydown"}
{"event":"keyDown\u0000"}
{"event":["keyDown"]}
{"Event":"keyDown"}
{"event":"keyDown","context":"\ud800"})";

TEST_F(ESDConnectionManagerTest, ABadFrameIsDroppedAndTheNextCounts) {
  connect(&plugin);
  const std::string event = R"({"event":"keyDown"})";
  const std::string deep = repeated("[", 100000);
  const std::string close = repeated("]", 100000);
  const std::string payload = R"({"event":"keyDown","payload":)";
  std::vector<std::string> frames = linesOf(kBadFrames);
  for (const std::string& frame :
       {std::string(), "// \n" + event, deep + close, payload + R"({"a":)" + deep + close + "}}"}) {
    frames.push_back(frame);
  }
  const auto nextIsDelivered = [this] {
    host.send(R"({"event":"deviceDidDisconnect","device":"next"})");
    return plugin.calls.next() == "DeviceDidDisconnect|next";
  };
  for (const std::string& frame : frames) {
    host.send(frame);
    EXPECT_TRUE(nextIsDelivered()) << frame.substr(0, 100);
  }
  host.sendBinary(event);
  EXPECT_TRUE(nextIsDelivered());
  for (const char* raised : {"error", "number", "json"}) {
    host.send(json{{"event", "keyUp"}, {"context", raised}, {"payload", json::object()}}.dump());
    EXPECT_EQ(plugin.calls.next(), "KeyUpForAction||" + std::string(raised) + "|{}|");
    EXPECT_TRUE(nextIsDelivered()) << raised;
  }
}

TEST_F(ESDConnectionManagerTest, RunEndsHoweverTheConnectionDoes) {
  connect(nullptr);
  for (const auto& [event, call] : kEvents) host.send(json{{"event", event}}.dump());
  host.close("until tomorrow");  // comes after the events
  EXPECT_TRUE(ended());
  connect(&plugin).GetAsioContext()->stop();
  EXPECT_TRUE(ended());
  connect(&plugin);
  host.sendBinary(std::string(33000000, 'x'));  // more than this side takes, so this side closes
  EXPECT_TRUE(ended());
}

TEST_F(ESDConnectionManagerTest, AFrameMayBeLarge) {
  connect(&plugin);
  const std::string large = R"({"a":")" + std::string(10000000, 'x') + "\"}";
  host.send(R"({"event":"keyUp","payload":)" + large + "}");
  EXPECT_EQ(plugin.calls.next(), "KeyUpForAction|||" + large + "|");
}

// Frames that wait take the memory that they need, and give it back.
TEST_F(ESDConnectionManagerTest, AHostThatStopsReadingGetsEverythingLater) {
  const auto heap = [] {
#ifdef __GLIBC__
    return mallinfo2().uordblks + mallinfo2().hblkhd;
#else
    return std::size_t{0};
#endif
  };
  constexpr std::size_t kImage = 1000000, kImages = 40;
  ESDConnectionManager& manager = connect(&plugin);
  host.setReading(false);
  const std::size_t before = heap();
  for (std::size_t i = 0; i < kImages; ++i) manager.SetImage(std::string(kImage, 'A'), "C", 0, -1);
  EXPECT_LT(heap(), before + 2 * kImages * kImage);
  host.send(R"({"event":"systemDidWakeUp"})");
  EXPECT_EQ(plugin.calls.next(), "SystemDidWakeUp") << "events come in all the while";
  host.setReading(true);
  for (std::size_t i = 0; i < kImages; ++i) EXPECT_GT(host.frames.next().size(), kImage);
  expectNothingMore(manager);
  EXPECT_LT(heap(), before + 5 * kImage);
}

std::string line(const std::string& text) {
  return "ESDConnectionManager.cpp: " + text;
}

TEST_F(ESDConnectionManagerTest, DebugLinesTellTheStoryOfAConnectionAndItsEnd) {
  SKIP_WITHOUT_SYSTEM_LOG();
  ESDLogger::disableDebugLogging = false;
  const auto logOf = [this](
                         int port, const std::function<void()>& meanwhile = [] {}) {
    const SystemLog log;
    ESDConnectionManager& manager = make(&plugin, port);
    ESDLogger::SetConnectionManager(&manager);
    run(manager);
    meanwhile();
    EXPECT_TRUE(ended());
    return log.lines();
  };
  const auto failed =
      ElementsAre(MatchesRegex(line("Failed with reason: .+")), line("Stopping ASIO context"));
  LoopbackSocket socket;
  EXPECT_THAT(logOf(socket.port()), failed);
  socket.listen();
  for (const char* answer : {"no HTTP\r\n\r\n", "HTTP/1.1 404 Not Found\r\n\r\n",
                             "HTTP/1.1 101 Switching Protocols\r\n\r\n"}) {
    EXPECT_THAT(logOf(socket.port(), [&] { socket.answer(answer); }), failed) << answer;
  }
  for (int port : {-1, 65536, 0}) {
    EXPECT_THAT(logOf(port), ElementsAre(StartsWith(line("Connect initialization error: "))));
  }
  const auto story = [this] {
    EXPECT_EQ(host.frames.next(), logFrame(line("OnOpen")));
    EXPECT_EQ(host.frames.next(), kRegistration);
    host.sendBinary("unseen");
    host.send("{} {0}");
    EXPECT_EQ(host.frames.next(), logFrame(line("OnMessage: {} {0}")));
    host.close("until {tomorrow}");
  };
  EXPECT_THAT(logOf(host.port(), story), ElementsAre(line("OnOpen"), line("OnMessage: {} {0}"),
                                                     line("Close with reason: until {tomorrow}"),
                                                     line("Stopping ASIO context")));
}

// Two threads send from before the connection's begin until after its end. The host gets whole
// frames, and each sender's titles in order and without a gap. Some of them are long.
TEST_F(ESDConnectionManagerTest, SendersNeedNotKnowOfTheConnectionsLife) {
  const auto numbered = [](int number) {
    return std::to_string(number) + std::string(number % 50 == 0 ? 70000 : 5, '.');
  };
  std::map<std::string, int> nextOf;
  const auto check = [&](const std::string& text) {
    const json frame = json::parse(text);
    const std::string title = frame.at("payload").at("title");
    int& next = nextOf.try_emplace(frame.at("context"), std::stoi(title)).first->second;
    EXPECT_EQ(title, numbered(next++)) << text.substr(0, 100);
  };
  const std::function<void()> ends[] = {[this] { host.close("in flight"); },
                                        [this] { host.vanish(); }};
  for (const auto& end : ends) {
    ESDConnectionManager& manager = make(nullptr, host.port());
    std::atomic<bool> isOver{false};
    const auto sendAs = [&](const char* name) {
      return [&, name] {
        for (int i = 0; !isOver; ++i) manager.SetTitle(numbered(i), name, 0, -1);
      };
    };
    nextOf.clear();
    {
      const Runner one(sendAs("one")), two(sendAs("two"));
      run(manager);
      EXPECT_EQ(host.frames.next(), kRegistration);
      for (int i = 0; i < 100 || nextOf.size() < 2; ++i) check(host.frames.next());
      end();
      EXPECT_TRUE(ended());
      isOver = true;
    }
    for (const std::string& frame : host.frames.rest()) check(frame);
  }
}

}  // namespace
