#include "bridge/simulators/FlightGearSimulator.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <optional>

#include "tests/bridge/simulators/Recorder.h"
#include "tools/standin/FlightGearStandIn.h"

using bridge::Command;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const char* const kBeacon = "/controls/lighting/beacon";
const char* const kHeading = "/autopilot/settings/heading-bug-deg";

Command adjust(const std::string& path, double step) {
  return {"property-adjust", {{"property", path}, {"step", step}}};
}

class FlightGearSimulatorTest : public testing::Test {
 protected:
  void SetUp() override {
    flightgear.define(kBeacon, "bool", false);
    flightgear.define(kHeading, "-", nullptr);
    flightgear.define("/engines/engine/rpm", "double", 0.5);
    flightgear.define("/engines/engine[1]/rpm", "double", 1.5);
  }

  void connect() {
    client.emplace(bridge::makeFlightGear, flightgear.port());
    ASSERT_TRUE(client->untilConnected());
  }

  FlightGearStandIn flightgear;
  std::optional<Recorder> client;
};

TEST(PropertyPath, IsAsFlightGearReportsIt) {
  const std::pair<const char*, const char*> good[] = {
      {"/a/b", "/a/b"},         {"a/b", "/a/b"},      {"/a[0]/b[0]", "/a/b"}, {"//a///b/", "/a/b"},
      {"/a[12]/b", "/a[12]/b"}, {"/a[007]", "/a[7]"}, {"/_a-1.2", "/_a-1.2"},
  };
  for (const auto& [name, path] : good) EXPECT_EQ(bridge::propertyPath(name), path);
  for (const char* bad : {"", "/", "/1a", "/a b", "/a[x]", "/a[1", "/a]", "/a[]", "/a[-1]",
                          "/a[1]b", "/a[99999999]", "/ä", "/[1]"}) {
    EXPECT_EQ(bridge::propertyPath(bad), std::nullopt) << bad;
  }
}

TEST_F(FlightGearSimulatorTest, TellsValuesAndTheirChanges) {
  flightgear.define("/count", "unspecified", "42");
  flightgear.define("/nan", "double", std::nan(""));
  flightgear.define("/inf", "double", std::numeric_limits<double>::infinity());
  connect();
  EXPECT_THAT(client->aircraft, ElementsAre("c172p", "Cessna 172P"));
  ASSERT_TRUE(client->follow({kBeacon, "/engines/engine[0]/rpm", "/engines/engine[1]/rpm",
                              "/sim/description", "/count", kHeading, "/nan", "/inf", kBeacon}));
  const std::map<std::size_t, bridge::Value> expected = {
      {0, 0.0}, {1, 0.5}, {2, 1.5}, {3, "Cessna 172P"}, {4, 42.0}, {5, 0.0}, {8, 0.0}};
  for (const auto& [place, value] : expected) EXPECT_EQ(client->values[place], value) << place;
  for (const std::size_t place : {6U, 7U}) {
    EXPECT_TRUE(std::isnan(std::get<double>(client->values[place])));
  }
  const int told = client->told;
  flightgear.define(kBeacon, "bool", true);
  EXPECT_TRUE(client->untilValue(0, 1.0));
  EXPECT_TRUE(client->untilValue(8, 1.0));
  EXPECT_EQ(client->told, told + 2) << "only what differs is told";
}

TEST_F(FlightGearSimulatorTest, ChangesThatAreNotSentAreAskedFor) {
  connect();
  ASSERT_TRUE(client->follow({kBeacon, kHeading}));
  flightgear.loseChanges(true);
  flightgear.define(kBeacon, "bool", true);
  EXPECT_TRUE(client->untilValue(0, 1.0));
  flightgear.loseChanges(false);
  client->simulator->run({"pause", {}});
  client->simulator->run(adjust(kHeading, 10));
  EXPECT_TRUE(client->untilValue(1, 10.0));
  EXPECT_EQ(flightgear.value("/sim/freeze/clock"), true);
}

TEST_F(FlightGearSimulatorTest, AnotherConnectionsListenersHideNothing) {
  connect();
  ASSERT_TRUE(client->follow({kBeacon}));
  Recorder other(bridge::makeFlightGear, flightgear.port());
  ASSERT_TRUE(other.untilConnected());
  EXPECT_TRUE(other.follow({kBeacon}));
}

TEST_F(FlightGearSimulatorTest, WritesAndRunsCommandsInOrder) {
  connect();
  ASSERT_TRUE(client->follow({kBeacon, kHeading}));
  client->simulator->write(kBeacon, 1.0);
  client->simulator->write(kHeading, 350.0);
  client->simulator->run(adjust(kHeading, 1.5));
  client->simulator->hold(adjust("autopilot/settings[0]/heading-bug-deg[0]", 1.5));
  client->simulator->release(adjust(kHeading, 1.5));
  EXPECT_TRUE(client->untilValue(0, 1.0));
  EXPECT_TRUE(client->untilValue(1, 353.0));
  client->simulator->release({"none", {}, {adjust(kHeading, 2)}});
  EXPECT_TRUE(client->untilValue(1, 355.0)) << "what ends a command that can't be held";
  client->simulator->run({"property-toggle", {{"property", kBeacon}}});
  EXPECT_TRUE(client->untilValue(0, 0.0));
  EXPECT_THAT(client->refusals, IsEmpty());
}

TEST_F(FlightGearSimulatorTest, WhatIsNotThereIsNeitherMadeNorKnownUntilItIs) {
  connect();
  ASSERT_TRUE(client->follow({"/nothing", "/sim", kBeacon, "/a[x", "/sim/description"}));
  EXPECT_THAT(client->unknown, ElementsAre(0, 1, 3));
  EXPECT_FALSE(flightgear.has("/nothing"));
  flightgear.define("/nothing", "double", 3.0);
  EXPECT_TRUE(client->untilValue(0, 3.0));
  // A listener that came later would make it again.
  EXPECT_TRUE(client->until([&] { return flightgear.requests("addListener") == 2; }));
  flightgear.remove("/nothing");
  EXPECT_TRUE(client->until([&] { return client->unknown.count(0) > 0; }));
  EXPECT_EQ(client->values.count(4), 1U) << "it comes after the other in a list";
}

TEST_F(FlightGearSimulatorTest, NeverSendsANameThatWouldStopTheSimulator) {
  connect();
  ASSERT_TRUE(client->follow({"/a b", "/1", kBeacon}));
  client->simulator->write("/a[", 1.0);
  client->simulator->run(adjust("/a[", 1.0));
  client->simulator->run({"property-toggle", {{"1", 1.0}}});
  client->simulator->write(kBeacon, std::nan(""));
  EXPECT_TRUE(client->until([&] { return client->refusals.size() == 4; }));
  client->simulator->write(kBeacon, 1.0);
  EXPECT_TRUE(client->untilValue(2, 1.0));
  EXPECT_FALSE(flightgear.hasStopped());
}

TEST_F(FlightGearSimulatorTest, AnotherAircraftIsTold) {
  connect();
  flightgear.remove("/sim/aircraft-id");
  flightgear.define("/sim/aircraft", "string", "ufo");
  flightgear.define("/sim/description", "unspecified", "UFO");
  EXPECT_TRUE(client->until([&] { return client->aircraft.front() == "ufo"; }));
  EXPECT_THAT(client->aircraft, ElementsAre("ufo", "UFO"));
}

TEST_F(FlightGearSimulatorTest, ComesBackToARestartedSimulator) {
  connect();
  ASSERT_TRUE(client->follow({kBeacon, "/a[x"}));
  flightgear.stop();
  EXPECT_TRUE(client->until([&] { return !client->isConnected; }));
  client->simulator->write(kBeacon, 1.0);
  client->simulator->run({"property-toggle", {{"property", kBeacon}}});
  flightgear.start();
  ASSERT_TRUE(client->untilConnected());
  EXPECT_TRUE(client->untilValue(0, 0.0)) << "what came too late isn't written later";
  EXPECT_TRUE(client->until([&] { return client->unknown.count(1) > 0; }));
  flightgear.define(kBeacon, "bool", true);
  EXPECT_TRUE(client->untilValue(0, 1.0));
  EXPECT_EQ(client->lost.size(), 1U);
}

TEST_F(FlightGearSimulatorTest, SaysOnceWhyItIsNotReached) {
  Recorder other(bridge::makeFlightGear, 1);
  EXPECT_TRUE(other.until([&] { return !other.refusals.empty(); }));
  other.runFor(std::chrono::milliseconds(1500));  // the next attempt
  EXPECT_EQ(other.refusals.size(), 1U);
}

TEST_F(FlightGearSimulatorTest, FindsASimulatorThatHangs) {
  connect();
  ASSERT_TRUE(client->follow({kBeacon}));
  flightgear.hang();
  EXPECT_TRUE(client->until([&] { return !client->isConnected; }));
  EXPECT_THAT(client->lost, ElementsAre("FlightGear does not answer"));
  flightgear.stop();
  flightgear.start();
  EXPECT_TRUE(client->untilConnected());
}

TEST_F(FlightGearSimulatorTest, AsksOftenAfterAPressAndSeldomAtRest) {
  connect();
  ASSERT_TRUE(client->follow({kBeacon}));
  client->runFor(std::chrono::milliseconds(1500));
  const int before = flightgear.requests("get");
  for (int i = 0; i < 200; ++i) client->simulator->write(kBeacon, i * 1.0);
  EXPECT_TRUE(client->until([&] { return flightgear.requests("set") == 200; }));
  EXPECT_LE(flightgear.requests("get") - before, 20) << "a turn of many detents is one question";
}

TEST_F(FlightGearSimulatorTest, ListsWhatHasAValue) {
  flightgear.define("/inf-rpm", "double", std::numeric_limits<double>::infinity());
  connect();
  EXPECT_THAT(client->namesWith("rpm"),
              ElementsAre("/engines/engine/rpm", "/engines/engine[1]/rpm", "/inf-rpm"));
}

}  // namespace
