#include "tools/cockpit/FacePainter.h"

#include <cmath>
#include <iterator>

#include "tools/cockpit/Pen.h"

namespace {

using Colour = Pen::Colour;
using Shape = Face::Shape;
using Symbol = Face::Symbol;
using Tone = Face::Tone;

constexpr Colour kGroundTop = 0x1b222b;
constexpr Colour kGroundBottom = 0x0b0e12;
constexpr Colour kRim = 0x323d49;
constexpr Colour kText = 0xdbe4ec;
constexpr Colour kFaint = 0x677585;
constexpr Colour kDark = 0x0b0e12;
constexpr Colour kGlass = 0x0d171b;
constexpr Colour kUnlit = 0x18262c;
constexpr Colour kGreen = 0x3ddc84;
constexpr Colour kCyan = 0x59d2ff;
constexpr Colour kAmber = 0xffb938;
constexpr Colour kRed = 0xff5348;

// Where the scale of a round instrument begins, and how far it goes round.
constexpr double kScaleStart = 135;
constexpr double kScaleTurn = 270;
constexpr double kCompassStart = -90;
constexpr double kPositions = 36;

Colour colourOf(Tone tone) {
  switch (tone) {
    case Tone::On:
      return kGreen;
    case Tone::Info:
      return kCyan;
    case Tone::Moving:
      return kAmber;
    case Tone::Warning:
      return kRed;
    case Tone::Off:
      break;
  }
  return kFaint;
}

// The symbols. Each fills a square from -1 to 1.

// A leg swings out to its side, the wheel at its end.
void paintLeg(Pen& pen, Pen::Point hinge, double angle, Colour colour) {
  const Pen::Placed placed(pen, hinge, 1, angle);
  pen.line({{0, 0}, {0, 0.62}});
  pen.stroke(colour, 0.11);
  pen.box({-0.14, 0.52}, 0.28, 0.42, 0.11);
  pen.fill(colour);
}

void paintGear(Pen& pen, const Face& face) {
  const Colour colour = colourOf(face.tone);
  const double folded = 1 - face.value / 4.0;
  paintLeg(pen, {-0.52, -0.02}, 76 * folded, colour);
  paintLeg(pen, {0.52, -0.02}, -76 * folded, colour);
  {
    const Pen::Placed nose(pen, {0, 0.05}, 1 - 0.6 * folded);
    paintLeg(pen, {0, 0}, 0, colour);
  }
  pen.line({{-1, -0.3}, {-0.3, -0.1}, {0.3, -0.1}, {1, -0.3}});
  pen.line({{0, -0.4}, {0, -0.9}});
  pen.line({{-0.34, -0.72}, {0.34, -0.72}});
  pen.stroke(kText, 0.1);
  pen.circle({0, -0.2}, 0.3);
  pen.fill(kText);
}

void paintFlaps(Pen& pen, const Face& face) {
  const Colour colour = colourOf(face.tone);
  constexpr Pen::Point kHinge{0.12, -0.08};
  constexpr double kExaggeration = 1.5;
  pen.polygon({{-1, -0.04},
               {-0.97, -0.18},
               {-0.84, -0.32},
               {-0.6, -0.41},
               {-0.3, -0.41},
               {0.12, -0.3},
               {0.12, 0.14},
               {-0.6, 0.14},
               {-0.9, 0.08}});
  pen.fill(kText);
  for (const int degrees : {0, 10, 20, 30}) {
    const Pen::Placed tick(pen, kHinge, 1, kExaggeration * degrees);
    pen.line({{0.9, 0}, {0.98, 0}});
    pen.stroke(degrees == face.value ? colour : kFaint, 0.09);
  }
  {
    const Pen::Placed flap(pen, kHinge, 1, kExaggeration * face.value);
    pen.polygon({{0.06, -0.2}, {0.8, -0.03}, {0.8, 0.03}, {0.06, 0.2}});
    pen.fill(colour);
  }
  if (face.mark == 0) return;
  const Pen::Placed arrow(pen, {-0.42, 0.58}, face.mark);
  pen.polygon({{-0.32, -0.17}, {0.32, -0.17}, {0, 0.2}});
  pen.fill(kCyan);
}

void paintNavLight(Pen& pen, const Face& face) {
  const bool isOn = face.tone != Tone::Off;
  pen.polygon({{-0.09, -0.86},
               {0.09, -0.86},
               {0.12, -0.3},
               {0.86, 0.1},
               {0.86, 0.26},
               {0.12, 0.1},
               {0.09, 0.56},
               {0.36, 0.76},
               {0.36, 0.88},
               {-0.36, 0.88},
               {-0.36, 0.76},
               {-0.09, 0.56},
               {-0.12, 0.1},
               {-0.86, 0.26},
               {-0.86, 0.1},
               {-0.12, -0.3}});
  pen.fill(isOn ? kText : kFaint);
  pen.circle({-0.88, 0.14}, 0.17);
  pen.fill(isOn ? kRed : kRim);
  pen.circle({0.88, 0.14}, 0.17);
  pen.fill(isOn ? kGreen : kRim);
}

struct Rays {
  double inner, outer, firstAngle, step;
  int count;
};

void paintRays(Pen& pen, Pen::Point centre, const Rays& rays, Colour colour) {
  for (int i = 0; i < rays.count; ++i) {
    const Pen::Placed ray(pen, centre, 1, rays.firstAngle + i * rays.step);
    pen.line({{rays.inner, 0}, {rays.outer, 0}});
    pen.stroke(colour, 0.1);
  }
}

void paintBeacon(Pen& pen, const Face& face) {
  const bool isOn = face.tone != Tone::Off;
  pen.arc({0, 0.3}, 0.42, 180, 360);
  pen.polygon({{-0.42, 0.28}, {0.42, 0.28}, {0.42, 0.5}, {-0.42, 0.5}});
  pen.fill(isOn ? kRed : kFaint);
  pen.box({-0.62, 0.56}, 1.24, 0.22, 0.06);
  pen.fill(isOn ? kText : kFaint);
  if (isOn) paintRays(pen, {0, 0.3}, {0.62, 0.98, 180, 36, 6}, kRed);
}

void paintStrobe(Pen& pen, const Face& face) {
  const bool isOn = face.tone != Tone::Off;
  const Colour colour = isOn ? kText : kFaint;
  for (const double angle : {0.0, 45.0}) {
    const Pen::Placed star(pen, {0, 0}, angle > 0 ? 0.6 : 0.95, angle);
    pen.polygon({{-1, 0},
                 {-0.16, -0.16},
                 {0, -1},
                 {0.16, -0.16},
                 {1, 0},
                 {0.16, 0.16},
                 {0, 1},
                 {-0.16, 0.16}});
    pen.fill(colour);
  }
}

// A headlamp from the side, with its beams.
void paintHeadlamp(Pen& pen, const Face& face, double slope) {
  const bool isOn = face.tone != Tone::Off;
  pen.arc({-0.32, -0.02}, 0.52, 90, 270);
  pen.line({{-0.32, -0.54}, {-0.1, -0.54}, {-0.1, 0.5}, {-0.32, 0.5}});
  pen.fill(isOn ? kText : kFaint);
  for (const double height : {-0.42, -0.15, 0.12, 0.39}) {
    pen.line({{0.14, height}, {0.92, height + slope}});
    pen.stroke(isOn ? kCyan : kRim, 0.11);
  }
}

void paintLandingLight(Pen& pen, const Face& face) {
  paintHeadlamp(pen, face, 0.34);
}

void paintTaxiLight(Pen& pen, const Face& face) {
  paintHeadlamp(pen, face, 0);
  for (const double left : {-0.9, -0.3, 0.3}) {
    pen.line({{left, 0.86}, {left + 0.36, 0.86}});
    pen.stroke(face.tone == Tone::Off ? kRim : kText, 0.09);
  }
}

void paintCaution(Pen& pen, const Face& face) {
  const Colour colour = colourOf(face.tone);
  pen.polygon({{0, -0.78}, {0.86, 0.72}, {-0.86, 0.72}});
  if (face.tone == Tone::Off) {
    pen.stroke(colour, 0.12);
  } else {
    pen.fill(colour);
  }
  const Colour mark = face.tone == Tone::Off ? colour : kDark;
  pen.line({{0, -0.22}, {0, 0.22}});
  pen.stroke(mark, 0.18);
  pen.circle({0, 0.49}, 0.11);
  pen.fill(mark);
}

void paintBolt(Pen& pen, const Face& face) {
  const Colour colour = colourOf(face.tone);
  pen.polygon(
      {{0.18, -0.9}, {-0.5, 0.14}, {-0.06, 0.14}, {-0.2, 0.9}, {0.5, -0.24}, {0.06, -0.24}});
  pen.fill(colour);
  if (face.tone != Tone::Warning) return;
  for (const Colour over : {kDark, kRed}) {
    pen.line({{-0.8, 0.72}, {0.8, -0.72}});
    pen.stroke(over, over == kDark ? 0.34 : 0.13);
  }
}

void paintHorizon(Pen& pen, const Face& face) {
  const bool isOn = face.tone != Tone::Off;
  pen.arc({0, 0}, 0.82, 180, 360);
  pen.fill(isOn ? 0x2b7fb8 : kRim);
  pen.arc({0, 0}, 0.82, 0, 180);
  pen.fill(isOn ? 0x7a5230 : kUnlit);
  pen.line({{-0.82, 0}, {0.82, 0}});
  pen.stroke(isOn ? kText : kFaint, 0.06);
  for (const double height : {-0.36, 0.36}) {
    pen.line({{-0.2, height}, {0.2, height}});
    pen.stroke(isOn ? kText : kFaint, 0.05);
  }
  pen.line({{-0.62, 0}, {-0.26, 0}, {0, 0.22}, {0.26, 0}, {0.62, 0}});
  pen.stroke(isOn ? kAmber : kFaint, 0.12);
}

void paintHand(Pen& pen, double angle, double length, double width, Colour colour) {
  const Pen::Placed hand(pen, {0, 0}, 1, angle);
  pen.line({{-0.12, 0}, {length, 0}});
  pen.stroke(colour, width);
}

void paintClock(Pen& pen, const Face& face) {
  paintRays(pen, {0, 0}, {0.84, 0.92, 0, 30, 12}, kFaint);
  paintRays(pen, {0, 0}, {0.76, 0.92, 0, 90, 4}, kText);
  paintHand(pen, -90 + face.value / 2.0, 0.46, 0.14, kText);
  paintHand(pen, -90 + face.value % 60 * 6.0, 0.72, 0.09, colourOf(face.tone));
  pen.circle({0, 0}, 0.1);
  pen.fill(kText);
}

void paintRadio(Pen& pen, const Face& face) {
  const Colour colour = colourOf(face.tone);
  pen.line({{-0.4, 0.85}, {0, -0.25}, {0.4, 0.85}});
  pen.line({{-0.24, 0.4}, {0.24, 0.4}});
  pen.stroke(kText, 0.1);
  pen.circle({0, -0.32}, 0.13);
  pen.fill(colour);
  for (const double radius : {0.38, 0.62, 0.86}) {
    pen.arc({0, -0.32}, radius, -42, 42);
    pen.arc({0, -0.32}, radius, 138, 222);
    pen.stroke(colour, 0.09);
  }
}

// A needle, and the bug as a notch at the rim.
void paintInstrument(Pen& pen, const Face& face, double start, double turn) {
  const Colour colour = colourOf(face.tone);
  const double needle = start + face.value * turn / kPositions;
  const double bug = start + face.mark * turn / kPositions;
  paintHand(pen, needle, 0.6, 0.1, kText);
  pen.circle({0, 0}, 0.13);
  pen.fill(kText);
  const Pen::Placed notch(pen, {0, 0}, 1, bug);
  pen.polygon({{0.68, 0}, {1, -0.2}, {1, 0.2}});
  pen.fill(face.tone == Tone::Off ? kFaint : colour);
}

void paintCompass(Pen& pen, const Face& face) {
  paintRays(pen, {0, 0}, {0.9, 0.94, 0, 30, 12}, kFaint);
  paintRays(pen, {0, 0}, {0.78, 0.94, 0, 90, 4}, kText);
  pen.polygon({{0, -0.66}, {0.13, -0.44}, {-0.13, -0.44}});
  pen.fill(kRed);
  paintInstrument(pen, face, kCompassStart, 360);
}

void paintScale(Pen& pen, const Face& face) {
  pen.arc({0, 0}, 0.92, kScaleStart, kScaleStart + kScaleTurn);
  pen.stroke(kFaint, 0.06);
  paintRays(pen, {0, 0}, {0.76, 0.92, kScaleStart, kScaleTurn / 6, 7}, kText);
  paintInstrument(pen, face, kScaleStart, kScaleTurn);
}

void paintSymbol(Pen& pen, const Face& face, Pen::Point centre, double radius) {
  using Painter = void (*)(Pen&, const Face&);
  static constexpr Painter kPainters[] = {
      paintGear,         paintFlaps,     paintNavLight, paintBeacon, paintStrobe,
      paintLandingLight, paintTaxiLight, paintCaution,  paintBolt,   paintHorizon,
      paintClock,        paintRadio,     paintCompass,  paintScale};
  static_assert(std::size(kPainters) == static_cast<std::size_t>(Symbol::Scale) + 1);
  const Pen::Placed placed(pen, centre, radius);
  kPainters[static_cast<std::size_t>(face.symbol)](pen, face);
}

// Digits of seven bars, 1 wide and 2 high, as on a radio: the dark bars shine through.

constexpr double kBar = 0.13;

void outlineBar(Pen& pen, int bar) {
  static constexpr Pen::Point kCentres[] = {{0.5, 0},    {0.93, 0.5}, {0.93, 1.5}, {0.5, 2},
                                            {0.07, 1.5}, {0.07, 0.5}, {0.5, 1}};
  const bool isLevel = bar % 3 == 0;
  const Pen::Placed placed(pen, kCentres[bar], 1, isLevel ? 0 : 90);
  const double half = isLevel ? 0.37 : 0.45;
  pen.polygon({{-half, 0},
               {-half + kBar, -kBar},
               {half - kBar, -kBar},
               {half, 0},
               {half - kBar, kBar},
               {-half + kBar, kBar}});
}

void paintDigit(Pen& pen, int digit, Colour colour) {
  static constexpr unsigned kBars[] = {0x3F, 0x06, 0x5B, 0x4F, 0x66, 0x6D, 0x7D, 0x07, 0x7F, 0x6F};
  for (int bar = 0; bar < 7; ++bar) {
    outlineBar(pen, bar);
    pen.fill((kBars[digit] >> bar & 1U) != 0 ? colour : kUnlit);
  }
}

constexpr double kDigitAdvance = 1.38;
constexpr double kPointAdvance = 0.44;

double widthOf(const std::string& digits) {
  double width = 0;
  for (const char c : digits) width += c == '.' ? kPointAdvance : kDigitAdvance;
  return width - (kDigitAdvance - 1);
}

void paintDigits(Pen& pen, const std::string& digits, Pen::Point centre, double height,
                 Colour colour) {
  const double scale = height / 2;
  double x = centre.x - widthOf(digits) * scale / 2;
  for (const char c : digits) {
    const Pen::Placed placed(pen, {x, centre.y - scale}, scale);
    if (c == '.') {
      pen.circle({0.02, 1.98}, 0.15);
      pen.fill(colour);
    } else {
      paintDigit(pen, c - '0', colour);
    }
    x += (c == '.' ? kPointAdvance : kDigitAdvance) * scale;
  }
}

// The shapes.

void paintGround(Pen& pen, double width, double height) {
  pen.box({0, 0}, width, height, 0);
  pen.fill(kDark);
  pen.box({3, 3}, width - 6, height - 6, 12);
  pen.fill(kGroundTop, kGroundBottom, height);
  pen.box({3, 3}, width - 6, height - 6, 12);
  pen.stroke(kRim, 1.5);
}

// Lit, the words stand dark on the state's colour.
void paintLegend(Pen& pen, const Face& face) {
  const bool isLit = face.tone != Tone::Off;
  pen.box({20, 108}, 104, 25, 5);
  if (isLit) {
    pen.fill(colourOf(face.tone));
  } else {
    pen.stroke(kRim, 1.5);
  }
  pen.text(face.legend, {72, 120.5}, 17, 96, isLit ? kDark : kFaint);
}

std::string paintKey(const Face& face) {
  Pen pen(144, 144);
  paintGround(pen, 144, 144);
  pen.text(face.label, {72, 24}, 18, 124, kText);
  if (face.symbol == Symbol::Radio && !face.legend.empty()) {
    pen.box({9, 42}, 126, 56, 5);
    pen.fill(kGlass);
    paintDigits(pen, face.legend, {72, 70}, 26, colourOf(face.tone));
    return pen.png();
  }
  paintSymbol(pen, face, {72, 71}, 32);
  if (!face.legend.empty()) paintLegend(pen, face);
  return pen.png();
}

std::string paintIcon(const Face& face) {
  Pen pen(72, 72);
  paintSymbol(pen, face, {36, 36}, 33);
  return pen.png();
}

std::string paintGauge(const Face& face) {
  Pen pen(200, 100);
  paintGround(pen, 200, 100);
  pen.line({{124.5, 12}, {124.5, 88}});
  pen.stroke(kRim, 1);
  paintSymbol(pen, face, {161, 50}, 34);
  return pen.png();
}

}  // namespace

std::string FacePainter::png(const Face& face) {
  switch (face.shape) {
    case Shape::Icon:
      return paintIcon(face);
    case Shape::Gauge:
      return paintGauge(face);
    case Shape::Key:
      break;
  }
  return paintKey(face);
}
