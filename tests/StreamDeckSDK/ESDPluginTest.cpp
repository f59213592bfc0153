#include "StreamDeckSDK/ESDPlugin.h"

#include <gmock/gmock.h>

#include <climits>

#include "StreamDeckSDK/ESDAction.h"
#include "tests/support/HostFixture.h"
#include "tests/support/SystemLog.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Writes down each call.
class RecordingAction : public ESDAction {
 public:
  RecordingAction(ESDConnectionManager* manager, const std::string& action,
                  const std::string& context, Lines& log)
      : ESDAction(manager, action, context), calls(log) {}

  void DidReceiveSettings(const json& settings) override { note("DidReceiveSettings", settings); }
  void KeyDown(const json& settings) override { note("KeyDown", settings); }
  void KeyUp(const json& settings) override { note("KeyUp", settings); }
  void DialUp(const json& settings) override { note("DialUp", settings); }
  void DialDown(const json& settings) override { note("DialDown", settings); }
  void SendToPlugin(const json& payload) override { note("SendToPlugin", payload); }
  void WillAppear(const json& settings) override { note("WillAppear", settings); }
  void RotateClockwise(const json& settings, unsigned int ticks, bool pressed) override {
    note("RotateClockwise", {settings, ticks, pressed});
  }
  void RotateCounterClockwise(const json& settings, unsigned int ticks, bool pressed) override {
    note("RotateCounterClockwise", {settings, ticks, pressed});
  }

 private:
  void note(const std::string& operation, const json& given) {
    calls.add(operation + " " + given.dump());
  }

  Lines& calls;
};

// Has an action for every context but "unknown".
class RoutedPlugin : public ESDPlugin {
 public:
  std::shared_ptr<ESDAction> GetOrCreateAction(const std::string& action,
                                               const std::string& context) override {
    calls.add("for " + action + " " + context);
    if (context == "unknown") return nullptr;
    return std::make_shared<RecordingAction>(mConnectionManager, action, context, calls);
  }

  Lines calls;
};

class ESDPluginTest : public HostFixture {
 protected:
  using Route = void (ESDPlugin::*)(const std::string&, const std::string&, const json&,
                                    const std::string&);

  // The call on the action that an event's payload leads to, if any.
  std::vector<std::string> routed(Route route, const std::string& payload) {
    try {
      (plugin.*route)("A", "C", json::parse(payload), "D");
    } catch (const json::exception&) {
      plugin.calls.add("raised");
    }
    EXPECT_EQ(plugin.calls.next(), "for A C");
    return plugin.calls.rest();
  }

  RoutedPlugin plugin;
};

constexpr auto kRotate = &ESDPlugin::DialRotateForAction;
constexpr auto kPress = &ESDPlugin::DialPressForAction;

TEST_F(ESDPluginTest, EventsReachTheActionOfTheirContextAndABadPayloadNone) {
  const std::string good = R"({"n":1,"settings":{"KeyName":"Gear"}})";
  const std::string settings = R"({"KeyName":"Gear"})";
  const auto turned = [](int ticks) {
    return json{{"ticks", ticks}, {"pressed", true}, {"settings", json::object()}}.dump();
  };
  struct Row {
    Route route;
    std::string payload, call;
  };
  for (const Row& row :
       std::vector<Row>{{&ESDPlugin::KeyDownForAction, good, "KeyDown " + settings},
                        {&ESDPlugin::KeyUpForAction, good, "KeyUp " + settings},
                        {&ESDPlugin::WillAppearForAction, good, "WillAppear " + settings},
                        {&ESDPlugin::DidReceiveSettings, good, "DidReceiveSettings " + settings},
                        {&ESDPlugin::SendToPlugin, good, "SendToPlugin " + good},
                        {kPress, R"({"pressed":true,"settings":{"a":1}})", R"(DialDown {"a":1})"},
                        {kPress, R"({"pressed":false,"settings":{"a":1}})", R"(DialUp {"a":1})"},
                        {kRotate, turned(1), "RotateClockwise [{},1,true]"},
                        {kRotate, turned(0), "RotateClockwise [{},0,true]"},
                        {kRotate, turned(-3), "RotateCounterClockwise [{},3,true]"},
                        {kRotate, turned(INT_MIN), "RotateCounterClockwise [{},2147483648,true]"},
                        {&ESDPlugin::KeyDownForAction, "{}", "raised"},
                        {&ESDPlugin::KeyUpForAction, "{}", "raised"},
                        {&ESDPlugin::WillAppearForAction, "{}", "raised"},
                        {&ESDPlugin::DidReceiveSettings, "{}", "raised"},
                        {kRotate, R"({"ticks":"1","pressed":true,"settings":{}})", "raised"}}) {
    EXPECT_THAT(routed(row.route, row.payload), ElementsAre(row.call)) << row.payload;
  }
  for (const char* payload :
       {"null", R"({"settings":{}})", R"({"pressed":true})", R"({"pressed":0,"settings":{}})"}) {
    for (const Route route : {kPress, kRotate}) {
      EXPECT_THAT(routed(route, payload), ElementsAre("raised")) << payload;
    }
  }
  plugin.TouchTabForAction("A", "C", json::parse(good), "D");
  plugin.WillDisappearForAction("A", "C", json::parse(good), "D");
  EXPECT_THAT(plugin.calls.rest(), IsEmpty());
}

TEST_F(ESDPluginTest, AnEventWithoutAnActionEndsInTheLog) {
  ESDLogger::SetConnectionManager(&connect(&plugin));
  const SystemLog quiet;
  const std::pair<Route, const char*> rows[] = {
      {&ESDPlugin::KeyDownForAction, "No action for keydown - A{} unknown"},
      {&ESDPlugin::KeyUpForAction, "No action for keyup - A{} unknown"},
      {kPress, "No action for dialPress - A{} unknown"},
      {kRotate, "No action for dialRotate - A{} unknown"},
      {&ESDPlugin::WillAppearForAction, "No action for WillAppear - A{} unknown"},
      {&ESDPlugin::SendToPlugin, "Received plugin request for unknown action A{} unknown"},
      {&ESDPlugin::DidReceiveSettings, "No action for DidReceiveSettings: A{} unknown"}};
  for (const auto& [route, message] : rows) {
    (plugin.*route)("A{}", "unknown", json(), "D");
    EXPECT_EQ(host.frames.next(), logFrame(std::string("ESDPlugin.cpp: ") + message));
    EXPECT_EQ(plugin.calls.next(), "for A{} unknown");
  }
  EXPECT_THAT(plugin.calls.rest(), IsEmpty());
}

TEST_F(ESDPluginTest, AnActionSendsForItsOwnContext) {
  ESDConnectionManager& manager = connect(&plugin);
  ESDAction action(&manager, "A", "C");
  action.SetState(-1);
  action.SetTitle("T", 1, 2);
  action.SetImage("", 1, 2);
  action.SetSettings({{"a", 1}});
  action.SendToPropertyInspector({{"c", 3}});
  for (const std::string& frame :
       linesOf(R"({"context":"C","event":"setState","payload":{"state":-1}}
{"context":"C","event":"setTitle","payload":{"state":2,"target":1,"title":"T"}}
{"context":"C","event":"setImage","payload":{"image":"","state":2,"target":1}}
{"context":"C","event":"setSettings","payload":{"a":1}}
{"action":"A","context":"C","event":"sendToPropertyInspector","payload":{"c":3}})")) {
    EXPECT_EQ(host.frames.next(), frame);
  }
}

}  // namespace
