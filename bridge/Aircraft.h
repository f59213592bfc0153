// A small aircraft, as far as a panel can tell: its switches, and the state that follows from them.
//
// It flies by its autopilot only: while that is on, heading, altitude and speed go to where their
// bugs are. Radios, flaps and autopilot hang on the electrics, and refuse while these have failed.
// It knows no time of its own and nothing of faces or messages. One thread.
//
//   Aircraft aircraft(std::chrono::hours(9));
//   if (!aircraft.moveGear()) complain();
//   aircraft.advance(std::chrono::seconds(4));  // the gear has moved
#pragma once

#include <array>
#include <chrono>
#include <string>

namespace bridge {

class Aircraft {
 public:
  using Duration = std::chrono::duration<double>;

  enum class Gear { Up, Transit, Down };
  enum class Light { Nav, Beacon, Strobe, Landing, Taxi };
  enum class Radio { Com1, Nav1 };
  enum class Bug { Heading, Altitude, Speed };

  struct Tuning {
    int active;  // kHz
    int standby;
  };

  static constexpr Duration kGearTime{4};
  static constexpr std::array<int, 4> kFlapAngles{0, 10, 20, 30};

  // In level flight with the gear down and everything else off.
  explicit Aircraft(std::chrono::seconds timeOfDay);

  // Lets time pass, and turns the caution light on if there is a new reason to warn.
  void advance(Duration time);

  // The operations that return a bool may be refused. False: refused, and nothing has changed.

  Gear gear() const;
  double gearPosition() const { return gearAt; }  // 0 up to 1 down
  bool moveGear();                                // the other way; never up on the ground

  int flapAngle() const { return kFlapAngles[flapNotch]; }
  bool extendFlaps();  // a notch, unless the aircraft is too fast for it
  bool retractFlaps();

  bool isOn(Light light) const { return lights[index(light)]; }
  void set(Light light, bool isOn) { lights[index(light)] = isOn; }

  const Tuning& tuning(Radio radio) const { return radios[index(radio)]; }
  bool tune(Radio radio, int steps);           // the standby, round and round within its MHz
  bool tuneMegahertz(Radio radio, int steps);  // the standby, round and round within the band
  bool swap(Radio radio);
  bool presetStandby(Radio radio);  // the distress frequency, or the home beacon's

  bool hasAutopilot() const { return autopilot; }
  bool toggleAutopilot();  // doesn't come on on the ground or without electrics

  int bug(Bug which) const { return bugs[index(which)]; }
  int actual(Bug which) const;
  void setBug(Bug which, double value);  // to the nearest that the bug can show
  void syncBug(Bug which);               // to the actual value

  bool hasElectrics() const { return electrics; }
  void toggleElectrics();  // a failure, or its repair

  // The light comes on with each new reason to warn and stays on until it is reset.
  bool hasCaution() const { return caution; }
  const std::string& cautionReason() const { return reason; }
  void resetCaution() { caution = false; }

  std::chrono::seconds timeOfDay() const;

  // Returns whether anything but the clock moves.
  bool isMoving() const;

 private:
  template <typename Enum>
  static constexpr std::size_t index(Enum value) {
    return static_cast<std::size_t>(value);
  }

  bool isOnGround() const { return actual(Bug::Altitude) == 0; }
  bool isTooFastFor(std::size_t notch) const;
  void moveTowardsBugs(Duration time);
  void lookForReasons();

  double gearAt = 1;
  bool gearGoesDown = true;
  std::size_t flapNotch = 0;
  std::array<bool, 5> lights{};
  std::array<Tuning, 2> radios{{{118250, 121750}, {110500, 113900}}};
  bool autopilot = false;
  std::array<int, 3> bugs{270, 2500, 100};
  std::array<double, 3> actuals{270, 2500, 100};
  bool electrics = true;
  bool caution = false;
  std::string reason;
  std::array<bool, 3> reasons{};
  Duration clock;
};

}  // namespace bridge
