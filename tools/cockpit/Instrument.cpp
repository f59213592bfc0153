#include "tools/cockpit/Instrument.h"

#include <cmath>
#include <cstdio>
#include <map>

namespace {

using Shape = Face::Shape;
using Symbol = Face::Symbol;
using Tone = Face::Tone;

constexpr int kTickCount = 36;

template <typename... Numbers>
std::string format(const char* pattern, Numbers... numbers) {
  char text[32];
  std::snprintf(text, sizeof text, pattern, numbers...);
  return text;
}

Face key(Symbol symbol, Tone tone, const char* label, const std::string& legend, int value = 0,
         int mark = 0) {
  return {Shape::Key, symbol, tone, label, legend, value, mark};
}

Instrument::Answer doneIf(bool isDone) {
  return isDone ? Instrument::Answer::Done : Instrument::Answer::Refused;
}

class GearLever : public Instrument {
 public:
  Look onKey(const Aircraft& aircraft, bool /*isHeld*/) const override {
    const int quarters = static_cast<int>(aircraft.gearPosition() * 4);
    switch (aircraft.gear()) {
      case Aircraft::Gear::Up:
        return {key(Symbol::Gear, Tone::Off, "GEAR", "UP", quarters), ""};
      case Aircraft::Gear::Down:
        return {key(Symbol::Gear, Tone::On, "GEAR", "DOWN", quarters), ""};
      case Aircraft::Gear::Transit:
        break;
    }
    return {key(Symbol::Gear, Tone::Moving, "GEAR", "TRANSIT", quarters), ""};
  }

  Answer press(Aircraft& aircraft) const override { return doneIf(aircraft.moveGear()); }
};

class FlapLever : public Instrument {
 public:
  explicit FlapLever(int pressDirection) : direction(pressDirection) {}

  Look onKey(const Aircraft& aircraft, bool /*isHeld*/) const override {
    const int angle = aircraft.flapAngle();
    const Tone tone = angle == 0 ? Tone::Off : Tone::On;
    return {key(Symbol::Flaps, tone, "FLAPS", format("%d°", angle), angle, direction), ""};
  }

  Answer press(Aircraft& aircraft) const override { return doneIf(move(aircraft, direction)); }

  void turn(Aircraft& aircraft, int ticks, bool /*isFar*/) const override {
    if (ticks != 0) (void)move(aircraft, ticks);
  }

 private:
  static bool move(Aircraft& aircraft, int way) {
    return way > 0 ? aircraft.extendFlaps() : aircraft.retractFlaps();
  }

  int direction;
};

class LightSwitch : public Instrument {
 public:
  LightSwitch(Aircraft::Light which, Symbol lamp, const char* name)
      : light(which), symbol(lamp), label(name) {}

  Look onKey(const Aircraft& aircraft, bool /*isHeld*/) const override {
    const bool isOn = aircraft.isOn(light);
    return {key(symbol, isOn ? Tone::On : Tone::Off, label, isOn ? "ON" : "OFF"), ""};
  }

  Answer press(Aircraft& aircraft) const override {
    aircraft.toggle(light);
    return Answer::Done;
  }

 private:
  Aircraft::Light light;
  Symbol symbol;
  const char* label;
};

// A press resets the light; with nothing to reset it tests the lamp.
class CautionLight : public Instrument {
 public:
  Look onKey(const Aircraft& aircraft, bool isHeld) const override {
    if (aircraft.hasCaution()) {
      return {key(Symbol::Caution, Tone::Moving, "CAUTION", aircraft.cautionReason()), "", true};
    }
    if (isHeld) return {key(Symbol::Caution, Tone::Moving, "CAUTION", "TEST"), ""};
    return {key(Symbol::Caution, Tone::Off, "CAUTION", "OFF"), ""};
  }

  Answer press(Aircraft& aircraft) const override {
    if (!aircraft.hasCaution()) return Answer::Held;
    aircraft.resetCaution();
    return Answer::Confirmed;
  }
};

class FailureSwitch : public Instrument {
 public:
  Look onKey(const Aircraft& aircraft, bool /*isHeld*/) const override {
    if (aircraft.hasElectrics()) return {key(Symbol::Bolt, Tone::Off, "ELEC", "NORMAL"), ""};
    return {key(Symbol::Bolt, Tone::Warning, "ELEC", "FAILED"), ""};
  }

  Answer press(Aircraft& aircraft) const override {
    aircraft.toggleElectrics();
    return Answer::Done;
  }
};

class AutopilotSwitch : public Instrument {
 public:
  Look onKey(const Aircraft& aircraft, bool /*isHeld*/) const override {
    const bool isOn = aircraft.hasAutopilot();
    return {key(Symbol::Horizon, isOn ? Tone::On : Tone::Off, "AP", isOn ? "ON" : "OFF"), ""};
  }

  Answer press(Aircraft& aircraft) const override { return doneIf(aircraft.toggleAutopilot()); }
};

class UtcClock : public Instrument {
 public:
  Look onKey(const Aircraft& aircraft, bool /*isHeld*/) const override {
    const int seconds = static_cast<int>(aircraft.timeOfDay().count());
    const int minutes = seconds / 60;
    return {key(Symbol::Clock, Tone::Info, "UTC", "", minutes % (12 * 60)),
            format("%02d:%02d:%02d", minutes / 60, minutes % 60, seconds % 60)};
  }

  Answer press(Aircraft&) const override { return Answer::Done; }
};

class RadioHead : public Instrument {
 public:
  RadioHead(Aircraft::Radio which, const char* name, int places)
      : radio(which), label(name), decimals(places) {}

  Look onKey(const Aircraft& aircraft, bool /*isHeld*/) const override {
    const auto& tuning = aircraft.tuning(radio);
    return {key(Symbol::Radio, Tone::On, label, megahertz(tuning.active)),
            megahertz(tuning.standby)};
  }

  Answer press(Aircraft& aircraft) const override {
    aircraft.swap(radio);
    return Answer::Confirmed;
  }

  void turn(Aircraft& aircraft, int ticks, bool isFar) const override {
    isFar ? aircraft.tuneMegahertz(radio, ticks) : aircraft.tune(radio, ticks);
  }

  Answer hold(Aircraft& aircraft) const override {
    aircraft.presetStandby(radio);
    return Answer::Confirmed;
  }

 private:
  std::string megahertz(int kilohertz) const {
    return format("%.*f", decimals, kilohertz / 1000.0);
  }

  Aircraft::Radio radio;
  const char* label;
  int decimals;
};

// A press takes over the actual value, a long tap is the autopilot's switch.
class BugKnob : public Instrument {
 public:
  BugKnob(Aircraft::Bug which, Symbol scale, const char* name, const char* valuePattern)
      : bug(which), symbol(scale), label(name), pattern(valuePattern) {}

  Look onKey(const Aircraft& aircraft, bool /*isHeld*/) const override {
    return {face(aircraft, Shape::Key), format(pattern, aircraft.bug(bug))};
  }

  Look onDial(const Aircraft& aircraft) const override {
    // The fourth line is for the bar alone.
    return {face(aircraft, Shape::Gauge), label + ("\n" + format(pattern, aircraft.bug(bug))) +
                                              "\nnow " + format(pattern, aircraft.actual(bug)) +
                                              "\n" +
                                              std::to_string(stepsOf(100, aircraft.actual(bug)))};
  }

  Answer press(Aircraft& aircraft) const override {
    aircraft.syncBug(bug);
    return Answer::Confirmed;
  }

  void turn(Aircraft& aircraft, int ticks, bool isFar) const override {
    isFar ? aircraft.turnBugFar(bug, ticks) : aircraft.turnBug(bug, ticks);
  }

  Answer hold(Aircraft& aircraft) const override { return doneIf(aircraft.toggleAutopilot()); }

 private:
  Face face(const Aircraft& aircraft, Shape shape) const {
    const Tone tone = aircraft.hasAutopilot() ? Tone::On : Tone::Info;
    const char* words = shape == Shape::Key ? label : "";
    const int needle = stepsOf(kTickCount, aircraft.actual(bug));
    return {shape, symbol, tone, words, "", needle, stepsOf(kTickCount, aircraft.bug(bug))};
  }

  // Where a value lies when its range has so many steps.
  int stepsOf(int count, int value) const {
    return static_cast<int>(std::lround(Aircraft::partOfRange(bug, value) * count));
  }

  Aircraft::Bug bug;
  Symbol symbol;
  const char* label;
  const char* pattern;
};

}  // namespace

Instrument::Look Instrument::onDial(const Aircraft& aircraft) const {
  Look look = onKey(aircraft, false);
  std::string lines;
  for (const std::string& line : {look.face.label, look.face.legend, look.title}) {
    if (!line.empty()) lines += (lines.empty() ? "" : "\n") + line;
  }
  look.title = lines;
  look.face.shape = Shape::Icon;
  look.face.label.clear();
  look.face.legend.clear();
  return look;
}

const Instrument* Instrument::find(const std::string& keyName) {
  using Light = Aircraft::Light;
  using Bug = Aircraft::Bug;
  static const GearLever gear;
  static const FlapLever flapsUp(-1);
  static const FlapLever flapsDown(1);
  static const LightSwitch nav(Light::Nav, Symbol::NavLight, "NAV LT");
  static const LightSwitch beacon(Light::Beacon, Symbol::Beacon, "BEACON");
  static const LightSwitch strobe(Light::Strobe, Symbol::Strobe, "STROBE");
  static const LightSwitch landing(Light::Landing, Symbol::LandingLight, "LANDING");
  static const LightSwitch taxi(Light::Taxi, Symbol::TaxiLight, "TAXI");
  static const CautionLight caution;
  static const FailureSwitch failure;
  static const AutopilotSwitch autopilot;
  static const UtcClock clock;
  static const RadioHead com1(Aircraft::Radio::Com1, "COM1", 3);
  static const RadioHead nav1(Aircraft::Radio::Nav1, "NAV1", 2);
  static const BugKnob heading(Bug::Heading, Symbol::Compass, "HDG", "%03d°");
  static const BugKnob altitude(Bug::Altitude, Symbol::Scale, "ALT", "%d ft");
  static const BugKnob speed(Bug::Speed, Symbol::Scale, "SPD", "%d kt");
  static const std::map<std::string, const Instrument*> kByName{{"GEAR", &gear},
                                                                {"FLAPS_UP", &flapsUp},
                                                                {"FLAPS_DOWN", &flapsDown},
                                                                {"LIGHT_NAV", &nav},
                                                                {"LIGHT_BEACON", &beacon},
                                                                {"LIGHT_STROBE", &strobe},
                                                                {"LIGHT_LANDING", &landing},
                                                                {"LIGHT_TAXI", &taxi},
                                                                {"CAUTION", &caution},
                                                                {"FAIL", &failure},
                                                                {"AP", &autopilot},
                                                                {"CLOCK", &clock},
                                                                {"COM1", &com1},
                                                                {"NAV1", &nav1},
                                                                {"HEADING", &heading},
                                                                {"ALTITUDE", &altitude},
                                                                {"SPEED", &speed}};
  const auto found = kByName.find(keyName);
  return found == kByName.end() ? nullptr : found->second;
}
