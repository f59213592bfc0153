#include "bridge/Aircraft.h"

#include <algorithm>
#include <cmath>

namespace bridge {

namespace {

constexpr int kFullCircle = 360;
constexpr int kMegahertz = 1000;
constexpr Aircraft::Duration kDay = std::chrono::hours(24);
constexpr int kLowAltitude = 500;

// The highest speed that each notch of the flaps withstands, in knots.
constexpr std::array<int, 4> kFlapSpeeds{999, 130, 115, 110};

struct Band {
  int lowest, megahertz, step, preset;
};
constexpr std::array<Band, 2> kBands{{{118000, 19, 25, 121500}, {108000, 10, 50, 116800}}};

struct BugRange {
  int lowest, highest, step;
  double rate;  // of the actual value, a second
};
constexpr std::array<BugRange, 3> kBugRanges{
    {{0, kFullCircle - 1, 1, 3}, {0, 12000, 100, 25}, {60, 160, 1, 2}}};

constexpr std::size_t kHeading = 0;

constexpr const char* kReasons[] = {"GEAR", "FLAPS", "ELEC"};

int wrapped(int value, int size) {
  return (value % size + size) % size;
}

double towards(double value, double target, double step) {
  return value + std::clamp(target - value, -step, step);
}

// The heading after one step towards the target, by the shorter way round.
double headingTowards(double value, double target, double step) {
  const double turn = std::remainder(target - value, kFullCircle);
  const double turned = value + std::clamp(turn, -step, step);
  return std::fmod(turned + kFullCircle, kFullCircle);
}

}  // namespace

Aircraft::Aircraft(std::chrono::seconds timeOfDay) : clock(timeOfDay) {}

void Aircraft::advance(Duration time) {
  const double swing = time / kGearTime;
  gearAt = towards(gearAt, gearGoesDown ? 1 : 0, swing);
  if (autopilot) moveTowardsBugs(time);
  clock = Duration(std::fmod((clock + time).count(), kDay.count()));
  lookForReasons();
}

Aircraft::Gear Aircraft::gear() const {
  if (gearAt <= 0) return Gear::Up;
  return gearAt >= 1 ? Gear::Down : Gear::Transit;
}

bool Aircraft::moveGear() {
  if (gearGoesDown && isOnGround()) return false;
  gearGoesDown = !gearGoesDown;
  return true;
}

bool Aircraft::extendFlaps() {
  if (!electrics || flapNotch + 1 == kFlapAngles.size()) return false;
  if (isTooFastFor(flapNotch + 1)) return false;
  ++flapNotch;
  return true;
}

bool Aircraft::retractFlaps() {
  if (!electrics || flapNotch == 0) return false;
  --flapNotch;
  return true;
}

bool Aircraft::isTooFastFor(std::size_t notch) const {
  return actual(Bug::Speed) > kFlapSpeeds[notch];
}

bool Aircraft::tune(Radio radio, int steps) {
  if (!electrics) return false;
  int& standby = radios[index(radio)].standby;
  const int fraction = standby % kMegahertz;
  const int step = kBands[index(radio)].step;
  const int perMegahertz = kMegahertz / step;
  standby += wrapped(fraction / step + steps % perMegahertz, perMegahertz) * step - fraction;
  return true;
}

bool Aircraft::tuneMegahertz(Radio radio, int steps) {
  if (!electrics) return false;
  int& standby = radios[index(radio)].standby;
  const Band& band = kBands[index(radio)];
  const int whole = (standby - band.lowest) / kMegahertz;
  standby += (wrapped(whole + steps % band.megahertz, band.megahertz) - whole) * kMegahertz;
  return true;
}

bool Aircraft::swap(Radio radio) {
  if (!electrics) return false;
  std::swap(radios[index(radio)].active, radios[index(radio)].standby);
  return true;
}

bool Aircraft::presetStandby(Radio radio) {
  if (!electrics) return false;
  radios[index(radio)].standby = kBands[index(radio)].preset;
  return true;
}

bool Aircraft::toggleAutopilot() {
  if (!autopilot && (!electrics || isOnGround())) return false;
  autopilot = !autopilot;
  return true;
}

int Aircraft::actual(Bug which) const {
  const int value = static_cast<int>(std::lround(actuals[index(which)]));
  return which == Bug::Heading ? value % kFullCircle : value;
}

void Aircraft::setBug(Bug which, double value) {
  const BugRange& range = kBugRanges[index(which)];
  const double inRange = std::clamp<double>(value, range.lowest, range.highest);
  bugs[index(which)] = static_cast<int>(std::lround(inRange / range.step)) * range.step;
}

void Aircraft::syncBug(Bug which) {
  const int step = kBugRanges[index(which)].step;
  bugs[index(which)] = (actual(which) + step / 2) / step * step;
}

void Aircraft::toggleElectrics() {
  electrics = !electrics;
  if (!electrics) autopilot = false;
}

std::chrono::seconds Aircraft::timeOfDay() const {
  return std::chrono::duration_cast<std::chrono::seconds>(clock);
}

bool Aircraft::isMoving() const {
  if (gear() == Gear::Transit || gearGoesDown != (gearAt >= 1)) return true;
  if (!autopilot) return false;
  for (std::size_t i = 0; i < actuals.size(); ++i) {
    if (std::abs(actuals[i] - bugs[i]) > 1e-6) return true;
  }
  return false;
}

void Aircraft::moveTowardsBugs(Duration time) {
  for (std::size_t i = 0; i < actuals.size(); ++i) {
    const double step = kBugRanges[i].rate * time.count();
    actuals[i] = i == kHeading ? headingTowards(actuals[i], bugs[i], step)
                               : towards(actuals[i], bugs[i], step);
  }
}

void Aircraft::lookForReasons() {
  const bool isLanding =
      flapNotch + 1 == kFlapAngles.size() || actual(Bug::Altitude) < kLowAltitude;
  const std::array<bool, 3> present{!gearGoesDown && isLanding, isTooFastFor(flapNotch),
                                    !electrics};
  for (std::size_t i = 0; i < present.size(); ++i) {
    if (!present[i] || reasons[i]) continue;
    caution = true;
    reason = kReasons[i];
  }
  reasons = present;
}

}  // namespace bridge
