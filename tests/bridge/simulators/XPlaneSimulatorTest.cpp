#include "bridge/simulators/XPlaneSimulator.h"

#include <gmock/gmock.h>

#include <optional>

#include "tests/bridge/simulators/Recorder.h"
#include "tools/standin/XPlaneStandIn.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

const char* const kPath = "Aircraft/Cessna 172 SP/Cessna_172SP.acf";

class XPlaneSimulatorTest : public testing::Test {
 protected:
  void SetUp() override {
    xplane.define("sim/beacon", "int", 0);
    xplane.define("sim/heading", "float", 12.5);
    xplane.define("sim/deploy", "float_array", {0.0, 0.25, 0.5});
    xplane.define("sim/text", "data", "one");
    xplane.define("sim/speed", "double", 90.0, false);
    xplane.defineCommand("sim/toggle");
    xplane.load(kPath, "C172", "Cessna Skyhawk");
  }

  void connect() {
    client.emplace(bridge::makeXPlane, xplane.port());
    ASSERT_TRUE(client->untilConnected());
  }

  bool isRefused(const std::string& what) {
    return client->until([&] {
      for (const auto& refusal : client->refusals) {
        if (refusal.find(what) != std::string::npos) return true;
      }
      return false;
    });
  }

  XPlaneStandIn xplane;
  std::optional<Recorder> client;
};

TEST_F(XPlaneSimulatorTest, TellsValuesOfEachTypeAndTheirChanges) {
  connect();
  EXPECT_THAT(client->aircraft, ElementsAre(kPath, "C172", "Cessna Skyhawk"));
  ASSERT_TRUE(client->follow({"sim/beacon", "sim/heading", "sim/deploy[2]", "sim/deploy[0]",
                              "sim/deploy", "sim/text", "sim/speed"}));
  const std::map<std::size_t, bridge::Value> expected = {{0, 0.0}, {1, 12.5},  {2, 0.5}, {3, 0.0},
                                                         {4, 0.0}, {5, "one"}, {6, 90.0}};
  EXPECT_EQ(client->values, expected);

  xplane.set("sim/text", "another");
  xplane.set("sim/deploy", {0.0, 0.25, 1.0});
  EXPECT_TRUE(client->untilValue(5, "another"));
  EXPECT_TRUE(client->untilValue(2, 1.0));
  EXPECT_EQ(client->told, 9) << "only what differs is told";
  EXPECT_THAT(client->refusals, IsEmpty());
}

TEST_F(XPlaneSimulatorTest, ASingleElementMayComeWithoutAList) {
  xplane.setWays({true, true, false, false});
  connect();
  ASSERT_TRUE(client->follow({"sim/deploy[1]"}));
  EXPECT_EQ(client->values[0], bridge::Value(0.25));
  // The elements that were followed before don't get mixed in.
  ASSERT_TRUE(client->follow({"sim/deploy[2]", "sim/deploy[1]"}));
  EXPECT_EQ(client->values[0], bridge::Value(0.5));
  EXPECT_EQ(client->values[1], bridge::Value(0.25));
}

TEST_F(XPlaneSimulatorTest, OneUnknownNameFailsNoOther) {
  std::vector<std::string> names = {"sim/nothing", "sim/beacon[1]", "sim/deploy[3]", "sim/a&b=c %"};
  for (int i = 0; i < 100; ++i) {
    xplane.define("sim/many/" + std::to_string(i), "int", i);
    names.push_back("sim/many/" + std::to_string(i));
  }
  names.insert(names.end(), {"sim/deploy[2]", "sim/nothing/else"});
  for (const XPlaneStandIn::Ways& ways :
       {XPlaneStandIn::Ways{true}, XPlaneStandIn::Ways{false},
        XPlaneStandIn::Ways{false, true, false, true, false, true}}) {
    xplane.setWays(ways);
    connect();
    ASSERT_TRUE(client->follow(names, {{"sim/toggle", {}}, {"sim/nothing", {}}}));
    EXPECT_THAT(client->unknown, ElementsAre(0, 1, 2, 3, 105));
    EXPECT_EQ(client->values[103], bridge::Value(99.0));
    EXPECT_EQ(client->values[104], bridge::Value(0.5));
    EXPECT_THAT(client->unknownCommands, ElementsAre(1));
    EXPECT_THAT(client->knownCommands, ElementsAre(0));
  }
}

TEST_F(XPlaneSimulatorTest, NamesThatAppearLateAreFound) {
  xplane.defineCommand("sim/other");
  connect();
  ASSERT_TRUE(client->follow({"plugin/late", "sim/beacon"}, {{"plugin/press", {}}}));
  EXPECT_THAT(client->unknown, ElementsAre(0));
  xplane.define("plugin/late", "int", 7);
  xplane.defineCommand("plugin/press");
  EXPECT_TRUE(client->untilValue(0, 7.0));
  EXPECT_TRUE(client->until([&] { return client->knownCommands.count(0) > 0; }));
}

TEST_F(XPlaneSimulatorTest, AnotherAircraftHasOtherNames) {
  connect();
  ASSERT_TRUE(client->follow({"sim/beacon", "b738/gear"}));
  xplane.remove("sim/beacon");
  xplane.load("Aircraft/b738.acf", "B738", "");
  EXPECT_TRUE(client->until([&] { return client->aircraft.size() == 2; }));
  EXPECT_THAT(client->aircraft, ElementsAre("Aircraft/b738.acf", "B738"));
  EXPECT_TRUE(client->until([&] { return client->unknown.count(0) > 0; }));
  xplane.define("b738/gear", "float_array", {1.0});
  EXPECT_TRUE(client->untilValue(1, 1.0));
  EXPECT_THAT(client->lost, IsEmpty());
}

TEST_F(XPlaneSimulatorTest, WritesAsTheTypeWants) {
  connect();
  ASSERT_TRUE(client->follow({"sim/beacon", "sim/heading", "sim/deploy[1]", "sim/text"}));
  client->simulator->write("sim/beacon", 1.0);
  client->simulator->write("sim/heading", 270.25);
  client->simulator->write("sim/deploy[1]", 0.75);
  client->simulator->write("sim/text", "two");
  EXPECT_TRUE(client->untilValue(0, 1.0));
  EXPECT_TRUE(client->untilValue(1, 270.25));
  EXPECT_TRUE(client->untilValue(2, 0.75));
  EXPECT_TRUE(client->untilValue(3, "two"));
  EXPECT_THAT(xplane.value("sim/deploy"), ElementsAre(0.0, 0.75, 0.5));
  EXPECT_THAT(client->refusals, IsEmpty());
}

TEST_F(XPlaneSimulatorTest, SaysOnceWhyAWriteWasRefused) {
  xplane.setWays({true, true, false, true, true});
  connect();
  ASSERT_TRUE(client->follow({"sim/speed", "sim/text", "sim/beacon"}));
  client->simulator->write("sim/speed", 1.0);
  EXPECT_TRUE(isRefused("sim/speed: It is dataref_is_readonly (dataref_is_readonly)"));
  client->simulator->write("sim/text", 1.0);
  EXPECT_TRUE(isRefused("sim/text"));
  client->simulator->write("sim/beacon", "on");
  EXPECT_TRUE(isRefused("sim/beacon"));
  client->simulator->write("sim/nothing", 1.0);
  EXPECT_TRUE(isRefused("sim/nothing"));
  client->simulator->run({"sim/nothing", {}});
  EXPECT_TRUE(isRefused("no command sim/nothing"));
  EXPECT_EQ(client->refusals.size(), 5U);
}

TEST_F(XPlaneSimulatorTest, CommandsAreRunOnceOrHeld) {
  connect();
  ASSERT_TRUE(client->follow({}, {{"sim/toggle", {}}}));
  const auto isHeld = [&](bool isWanted) {
    return client->until([&] { return xplane.isActive("sim/toggle") == isWanted; });
  };
  client->simulator->run({"sim/toggle", {}});
  EXPECT_TRUE(client->until([&] { return xplane.timesRun("sim/toggle") == 1; }));
  EXPECT_FALSE(xplane.isActive("sim/toggle"));
  client->simulator->hold({"sim/toggle", {}});
  EXPECT_TRUE(isHeld(true));
  // The panel may be another by now.
  ASSERT_TRUE(client->follow({"sim/beacon"}));
  client->simulator->release({"sim/toggle", {}});
  EXPECT_TRUE(isHeld(false));

  ASSERT_TRUE(client->follow({}, {{"sim/toggle", {}}}));
  client->simulator->hold({"sim/toggle", {}});
  EXPECT_TRUE(isHeld(true));
  connect();  // with another client, which ends this one's connection
  EXPECT_TRUE(isHeld(false));
}

TEST_F(XPlaneSimulatorTest, ComesBackToARestartedSimulatorWithOtherIds) {
  connect();
  ASSERT_TRUE(client->follow({"sim/beacon"}, {{"sim/toggle", {}}}));
  client->simulator->hold({"sim/toggle", {}});
  xplane.stop();
  EXPECT_TRUE(client->until([&] { return !client->isConnected; }));
  client->simulator->write("sim/beacon", 1.0);
  client->simulator->run({"sim/toggle", {}});
  client->simulator->release({"sim/toggle", {}});
  xplane.start();
  ASSERT_TRUE(client->untilConnected());
  EXPECT_TRUE(client->until([&] { return client->values.size() == 1; }));
  EXPECT_EQ(client->values[0], bridge::Value(0.0)) << "what came too late isn't written later";
  EXPECT_EQ(xplane.timesRun("sim/toggle"), 0);
  client->simulator->write("sim/beacon", 1.0);
  EXPECT_TRUE(client->untilValue(0, 1.0));
  EXPECT_EQ(client->lost.size(), 1U);
}

TEST_F(XPlaneSimulatorTest, FindsASimulatorThatHangsAndBearsASilentOne) {
  connect();
  ASSERT_TRUE(client->follow({"sim/beacon"}));
  EXPECT_TRUE(client->until([&] { return xplane.requests("dataref_subscribe_values") >= 5; }));
  EXPECT_THAT(client->lost, IsEmpty());
  XPlaneStandIn::Ways ways;
  ways.isSocketDead = true;
  xplane.setWays(ways);
  EXPECT_TRUE(client->until([&] { return !client->isConnected; })) << "REST still answers";
  xplane.setWays({});
  EXPECT_TRUE(client->untilConnected());
  xplane.hang();
  EXPECT_TRUE(client->until([&] { return !client->isConnected; }));
  xplane.stop();
  xplane.start();
  EXPECT_TRUE(client->untilConnected());
}

TEST_F(XPlaneSimulatorTest, WaitsAtTheMainMenuForAnAircraft) {
  XPlaneStandIn empty;
  client.emplace(bridge::makeXPlane, empty.port());
  client->simulator->follow({"sim/beacon"}, {});
  EXPECT_TRUE(client->until([&] { return empty.requests("GET /datarefs") >= 7; }));
  EXPECT_FALSE(client->isConnected);
  EXPECT_THAT(client->unknown, IsEmpty());
  empty.define("sim/beacon", "int", 1);
  empty.load(kPath, "C172", "Cessna Skyhawk");
  EXPECT_TRUE(client->untilConnected());
  EXPECT_TRUE(client->untilValue(0, 1.0));
  EXPECT_THAT(client->refusals, IsEmpty());
}

TEST_F(XPlaneSimulatorTest, SaysOnceThatIncomingTrafficIsDisabled) {
  xplane.setWays({true, true, true});
  client.emplace(bridge::makeXPlane, xplane.port());
  EXPECT_TRUE(isRefused("\"Disable Incoming Traffic\""));
  client->runFor(1500ms);  // the next attempt
  EXPECT_EQ(client->refusals.size(), 1U);
  xplane.setWays({});
  EXPECT_TRUE(client->untilConnected());
}

TEST_F(XPlaneSimulatorTest, AnOlderSimulatorHasValuesOnly) {
  xplane.setWays({true, false});
  connect();
  ASSERT_TRUE(client->follow({"sim/beacon"}, {{"sim/toggle", {}}}));
  EXPECT_EQ(client->values[0], bridge::Value(0.0));
  EXPECT_THAT(client->unknownCommands, ElementsAre(0));
  client->simulator->run({"sim/toggle", {}});
  EXPECT_TRUE(isRefused("12.1.4"));
  EXPECT_THAT(client->namesWith("sim/t"), ElementsAre("sim/text"));
}

TEST_F(XPlaneSimulatorTest, ListsNamesOfBothKinds) {
  connect();
  EXPECT_THAT(client->namesWith("sim/t"), ElementsAre("sim/text", "sim/toggle"));
}

}  // namespace
