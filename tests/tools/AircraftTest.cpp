#include "tools/cockpit/Aircraft.h"

#include <gtest/gtest.h>

#include <climits>
#include <utility>

namespace {

using std::chrono::hours;
using std::chrono::seconds;
using Bug = Aircraft::Bug;
using Gear = Aircraft::Gear;
using Radio = Aircraft::Radio;

struct AircraftTest : testing::Test {
  void fly(double time) { aircraft.advance(Aircraft::Duration(time)); }

  void flyTo(Bug which, int value) {
    aircraft.turnBug(which, -INT_MAX);
    while (aircraft.bug(which) < value) aircraft.turnBug(which, 1);
    if (!aircraft.hasAutopilot()) {
      ASSERT_TRUE(aircraft.toggleAutopilot());
    }
    fly(3600);
    ASSERT_EQ(aircraft.actual(which), value);
  }

  std::pair<int, int> tuned(Radio radio) {
    return {aircraft.tuning(radio).active, aircraft.tuning(radio).standby};
  }

  Aircraft aircraft{hours(23)};
};

TEST_F(AircraftTest, TheGearTakesItsTimeTurnsBackOnTheWayAndStaysDownOnTheGround) {
  ASSERT_TRUE(aircraft.moveGear());
  fly(1);
  EXPECT_EQ(aircraft.gear(), Gear::Transit);
  EXPECT_DOUBLE_EQ(aircraft.gearPosition(), 0.75);
  ASSERT_TRUE(aircraft.moveGear());
  fly(0.5);
  EXPECT_EQ(aircraft.gear(), Gear::Transit);
  fly(0.5);
  EXPECT_EQ(aircraft.gear(), Gear::Down);
  ASSERT_TRUE(aircraft.moveGear());
  fly(60);
  EXPECT_EQ(aircraft.gear(), Gear::Up);

  ASSERT_TRUE(aircraft.moveGear());
  flyTo(Bug::Altitude, 0);
  EXPECT_FALSE(aircraft.moveGear());
  EXPECT_EQ(aircraft.gear(), Gear::Down);
  aircraft.toggleAutopilot();
  EXPECT_FALSE(aircraft.toggleAutopilot()) << "nor does the autopilot come on there";
}

TEST_F(AircraftTest, FlapsGoByNotchesAsFastAsTheyStand) {
  EXPECT_FALSE(aircraft.retractFlaps());
  flyTo(Bug::Speed, 115);
  EXPECT_TRUE(aircraft.extendFlaps());
  EXPECT_TRUE(aircraft.extendFlaps());
  EXPECT_FALSE(aircraft.extendFlaps()) << "too fast for full flaps";
  EXPECT_EQ(aircraft.flapAngle(), 20);
  EXPECT_FALSE(aircraft.hasCaution());
  flyTo(Bug::Speed, 116);
  EXPECT_EQ(aircraft.cautionReason(), "FLAPS");
  flyTo(Bug::Speed, 100);
  EXPECT_TRUE(aircraft.extendFlaps());
  EXPECT_FALSE(aircraft.extendFlaps()) << "there is no notch behind the last";
  EXPECT_EQ(aircraft.flapAngle(), 30);
}

TEST_F(AircraftTest, EachNewReasonBringsTheCautionUpOnce) {
  aircraft.moveGear();
  fly(10);
  EXPECT_FALSE(aircraft.hasCaution());
  while (aircraft.extendFlaps()) {
  }
  fly(0);
  EXPECT_EQ(aircraft.cautionReason(), "GEAR");
  aircraft.resetCaution();
  fly(10);
  EXPECT_FALSE(aircraft.hasCaution()) << "it is known";

  aircraft.toggleAutopilot();
  aircraft.toggleElectrics();
  fly(0);
  EXPECT_TRUE(aircraft.hasCaution());
  EXPECT_EQ(aircraft.cautionReason(), "ELEC");
  EXPECT_FALSE(aircraft.hasAutopilot());
  EXPECT_FALSE(aircraft.toggleAutopilot());
  aircraft.toggleElectrics();
  fly(0);
  EXPECT_TRUE(aircraft.hasCaution()) << "a repair doesn't reset it";

  aircraft.resetCaution();
  aircraft.retractFlaps();
  fly(0);
  aircraft.extendFlaps();
  fly(0);
  EXPECT_EQ(aircraft.cautionReason(), "GEAR") << "the same reason, anew";
}

TEST_F(AircraftTest, RadiosStayInTheirBands) {
  ASSERT_EQ(tuned(Radio::Com1), std::make_pair(118250, 121750));
  aircraft.tune(Radio::Com1, 11);
  EXPECT_EQ(tuned(Radio::Com1).second, 121025) << "round within the MHz";
  aircraft.tune(Radio::Com1, -2);
  EXPECT_EQ(tuned(Radio::Com1).second, 121975);
  aircraft.tuneMegahertz(Radio::Com1, -4);
  EXPECT_EQ(tuned(Radio::Com1).second, 136975) << "round within the band";
  aircraft.swap(Radio::Com1);
  EXPECT_EQ(tuned(Radio::Com1), std::make_pair(136975, 118250));
  aircraft.presetStandby(Radio::Com1);
  EXPECT_EQ(tuned(Radio::Com1), std::make_pair(136975, 121500));
  for (const int steps : {INT_MIN, -1, 1, 7, INT_MAX}) {
    aircraft.tune(Radio::Nav1, steps);
    aircraft.tuneMegahertz(Radio::Nav1, steps);
    const int standby = tuned(Radio::Nav1).second;
    EXPECT_TRUE(standby >= 108000 && standby <= 117950 && standby % 50 == 0) << standby;
  }
}

TEST_F(AircraftTest, TheAutopilotGoesToTheBugsTheShorterWay) {
  aircraft.turnBugFar(Bug::Heading, 8);
  EXPECT_EQ(aircraft.bug(Bug::Heading), 350);
  flyTo(Bug::Heading, 350);
  aircraft.turnBug(Bug::Heading, 370);
  EXPECT_EQ(aircraft.bug(Bug::Heading), 0);
  aircraft.turnBug(Bug::Heading, 10);
  fly(2);
  EXPECT_EQ(aircraft.actual(Bug::Heading), 356);
  fly(2);
  EXPECT_EQ(aircraft.actual(Bug::Heading), 2) << "over north";
  fly(60);
  EXPECT_EQ(aircraft.actual(Bug::Heading), 10);

  aircraft.turnBug(Bug::Altitude, INT_MAX);
  EXPECT_EQ(aircraft.bug(Bug::Altitude), 12000);
  fly(2);
  EXPECT_EQ(aircraft.actual(Bug::Altitude), 2550);
  aircraft.syncBug(Bug::Altitude);
  EXPECT_EQ(aircraft.bug(Bug::Altitude), 2600) << "in steps of the bug";
  ASSERT_TRUE(aircraft.toggleAutopilot());
  fly(60);
  EXPECT_EQ(aircraft.actual(Bug::Altitude), 2550) << "off, it holds";
}

TEST_F(AircraftTest, TheClockGoesRoundAtMidnight) {
  fly(3599.5);
  EXPECT_EQ(aircraft.timeOfDay(), hours(24) - seconds(1));
  fly(0.5);
  EXPECT_EQ(aircraft.timeOfDay(), seconds(0));
}

}  // namespace
