// The bridge between the virtual deck and stand-ins for the simulators, over the real link: presses
// that arrive, faces that follow, and no face that outlives the simulator's connection.
#include <fstream>
#include <functional>

#include "tests/e2e/Stage.h"
#include "tools/standin/FlightGearStandIn.h"
#include "tools/standin/XPlaneStandIn.h"

namespace {

class SimulatorTest : public Stage {
 protected:
  // Words go as titles, which are plain to read in the deck's output.
  static constexpr char kPanel[] =
      "panel: T\n"
      "aircraft: [C172, c172p]\n"
      "titles: true\n"
      "values: {beacon: {xplane: sim/beacon, flightgear: /controls/lighting/beacon}}\n"
      "keys:\n"
      "  BEACON: {face: switch, on: beacon, press: {toggle: beacon}}\n"
      "  PRESSED: {face: switch, on: pressed}\n";

  void start(const std::string& simulator, int port) {
    const auto panel = home.path / "panel.yaml";
    std::ofstream(panel) << kPanel;
    startDeck();
    bridge =
        std::make_unique<ChildProcess>(Lines{VELOMAR_BRIDGE, "--simulator", simulator, "--port",
                                             std::to_string(port), "--panel", panel.string()},
                                       ChildProcess::Options{});
    tellDeck("plug D");
    tellDeck("appear K D 0 0 BEACON");
    tellDeck("appear P D 1 0 PRESSED");
  }

  static std::string titled(const std::string& context, const std::string& title) {
    return R"("context":")" + context + R"(","event":"setTitle","payload":{"target":0,"title":")" +
           title + "\"";
  }

  // Waits until each of the two keys has said this once more.
  void awaitFaces(const std::string& beacon, const std::string& pressed) {
    const std::size_t from = seen;
    for (const auto& text : {titled("K", beacon), titled("P", pressed)}) {
      seen = std::max(seen, awaitDeck(text, from));
    }
  }

  void awaitFace(const std::string& beacon) { seen = awaitDeck(titled("K", beacon), seen); }

  void press() {
    tellDeck("press K");
    tellDeck("release K");
  }

  // `set` changes the beacon from inside the simulator, `isOn` reads it there.
  template <typename StandIn>
  void fly(StandIn& simulator, const std::function<void(bool)>& set,
           const std::function<bool()>& isOn) {
    awaitFaces("OFF", "OFF");
    press();
    awaitFace("ON");
    EXPECT_TRUE(isOn());
    set(false);
    awaitFace("OFF");

    simulator.stop();
    awaitFaces("LOST", "LOST");
    press();  // is refused, and not done later
    seen = awaitDeck(R"("context":"K","event":"showAlert")", seen);
    simulator.start();
    awaitFaces("OFF", "OFF");
    press();
    awaitFace("ON");
    EXPECT_TRUE(isOn());

    bridge->signal(SIGTERM);
    EXPECT_EQ(bridge->waitForEnd(kPatience), 0);
    awaitFaces("", "");
    endDeck();
  }

  std::size_t seen = 0;  // lines of the deck
};

TEST_F(SimulatorTest, XPlanesFacesFollowItAndDontOutliveIt) {
  XPlaneStandIn xplane;
  xplane.define("sim/beacon", "int", 0);
  xplane.load("Aircraft/Cessna_172SP.acf", "C172", "Cessna Skyhawk");
  start("xplane", xplane.port());
  fly(
      xplane, [&](bool isOn) { xplane.set("sim/beacon", isOn ? 1 : 0); },
      [&] { return xplane.value("sim/beacon") == 1; });
}

TEST_F(SimulatorTest, FlightGearsFacesFollowItAndDontOutliveIt) {
  const std::string beacon = "/controls/lighting/beacon";
  FlightGearStandIn flightgear;
  flightgear.define("/sim/aircraft-id", "string", "c172p");
  flightgear.define(beacon, "bool", false);
  start("flightgear", flightgear.port());
  fly(
      flightgear, [&](bool isOn) { flightgear.define(beacon, "bool", isOn); },
      [&] { return flightgear.value(beacon) == true; });
}

}  // namespace
