#include "bridge/FacePainter.h"

#include "bridge/Pen.h"

namespace bridge {

namespace {

using Colour = Pen::Colour;
using Kind = Panel::Face;
using State = Panel::State;

constexpr Colour kGroundTop = 0x1b222b;
constexpr Colour kGroundBottom = 0x0b0e12;
constexpr Colour kRim = 0x323d49;
constexpr Colour kText = 0xdbe4ec;
constexpr Colour kFaint = 0x677585;
constexpr Colour kDark = 0x0b0e12;
constexpr Colour kGlass = 0x0d171b;
constexpr Colour kUnlit = 0x18262c;
constexpr Colour kAmber = 0xffb938;
constexpr Colour kRed = 0xff5348;

constexpr double kKey = 144;  // a key's side, in units
constexpr double kDialWidth = 200;
constexpr double kDialHeight = 100;

// A symbol's file has a margin around the square that it fills.
constexpr double kMargin = 1.1;

// The scale of a round instrument: the angle at which it begins, and how far it goes round.
constexpr double kScaleStart = 135;
constexpr double kScaleTurn = 270;
constexpr double kCompassStart = -90;

constexpr double kDimmed = 0.3;

// A face has no light if nothing is known of the thing, or if that has no power.
bool isDark(const Face& face) {
  return face.isAbsent || face.state == State::Unavailable;
}

bool isLit(const Face& face) {
  return !isDark(face) && face.state != State::Off;
}

Colour toneOf(const Face& face) {
  if (!isLit(face)) return kFaint;
  if (face.state == State::Transit) return kAmber;
  return face.state == State::Fault ? kRed : face.colour;
}

Colour labelColour(const Face& face) {
  return isDark(face) ? kFaint : kText;
}

void paintHand(Pen& pen, double angle, double length, double width, Colour colour) {
  const Pen::Placed hand(pen, {0, 0}, 1, angle);
  pen.line({{-0.12, 0}, {length, 0}});
  pen.stroke(colour, width);
}

void paintHands(Pen& pen, const Face& face) {
  paintHand(pen, -90 + face.needle / 2.0, 0.46, 0.14, kText);
  paintHand(pen, -90 + face.needle % 60 * 6.0, 0.72, 0.09, toneOf(face));
  pen.circle({0, 0}, 0.1);
  pen.fill(kText);
}

// A needle, and the mark as a notch at the rim.
void paintNeedle(Pen& pen, const Face& face, double start, double turn) {
  paintHand(pen, start + face.needle * turn / Face::kSteps, 0.6, 0.1, kText);
  pen.circle({0, 0}, 0.13);
  pen.fill(kText);
  if (face.mark == Face::kNoMark) return;
  const Pen::Placed notch(pen, {0, 0}, 1, start + face.mark * turn / Face::kSteps);
  pen.polygon({{0.68, 0}, {1, -0.2}, {1, 0.2}});
  pen.fill(toneOf(face));
}

const char* plateOf(Kind kind) {
  switch (kind) {
    case Kind::Compass:
      return "compass";
    case Kind::Gauge:
      return "scale";
    case Kind::Clock:
      return "clock";
    default:
      return "";
  }
}

void paintMoving(Pen& pen, const Face& face, Pen::Point centre, double radius) {
  if (isDark(face)) return;
  const Pen::Placed placed(pen, centre, radius);
  if (face.kind == Kind::Clock) paintHands(pen, face);
  if (face.kind == Kind::Compass) paintNeedle(pen, face, kCompassStart, 360);
  if (face.kind == Kind::Gauge) paintNeedle(pen, face, kScaleStart, kScaleTurn);
}

void paintSymbol(Pen& pen, Symbols& symbols, const Face& face, Pen::Point centre, double radius) {
  const std::string plate = plateOf(face.kind);
  Symbols::Style style;
  style.name = face.symbol.empty() || !plate.empty() ? plate : face.symbol;
  if (style.name.empty()) return;
  style.tone = toneOf(face);
  style.isLit = isLit(face);
  style.isFault = face.state == State::Fault;
  style.moved = static_cast<double>(face.frame) / Face::kFrames;
  pen.symbol(symbols, style, centre, radius * kMargin, isDark(face) ? kDimmed : 1);
  paintMoving(pen, face, centre, radius);
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

void paintBars(Pen& pen, char c, Colour colour) {
  static constexpr unsigned kBars[] = {0x3F, 0x06, 0x5B, 0x4F, 0x66, 0x6D, 0x7D, 0x07, 0x7F, 0x6F};
  const unsigned bars = c == '-' ? 0x40U : kBars[c - '0'];
  for (const bool isLitNow : {false, true}) {
    for (int bar = 0; bar < 7; ++bar) {
      if (((bars >> bar & 1U) != 0) == isLitNow) outlineBar(pen, bar);
    }
    pen.fill(isLitNow ? colour : kUnlit);
  }
}

constexpr double kDigitAdvance = 1.38;
constexpr double kPointAdvance = 0.44;

bool isNarrow(char c) {
  return c == '.' || c == ':';
}

double widthOf(const std::string& digits) {
  double width = 0;
  for (const char c : digits) width += isNarrow(c) ? kPointAdvance : kDigitAdvance;
  return width - (kDigitAdvance - 1);
}

void paintDigits(Pen& pen, const std::string& digits, Pen::Point centre, double height,
                 double width, Colour colour) {
  const double scale = std::min(height / 2, width / widthOf(digits));
  double x = centre.x - widthOf(digits) * scale / 2;
  for (const char c : digits) {
    const Pen::Placed placed(pen, {x, centre.y - scale}, scale);
    if (isNarrow(c)) {
      if (c == ':') pen.circle({0.02, 0.6}, 0.15);
      pen.circle({0.02, c == ':' ? 1.5 : 1.98}, 0.15);
      pen.fill(colour);
    } else if (c != ' ') {
      paintBars(pen, c, colour);
    }
    x += (isNarrow(c) ? kPointAdvance : kDigitAdvance) * scale;
  }
}

bool isDigits(const std::string& text) {
  return text.find_first_not_of("0123456789.:- ") == std::string::npos;
}

// The parts of a key.

// The rim shows what must not be missed, since the symbols of lights keep their own colours.
void paintGround(Pen& pen, const Face& face, double width, double height) {
  const bool isNotable =
      isLit(face) && (face.state == State::Transit || face.state == State::Fault);
  pen.box({3, 3}, width - 6, height - 6, 12);
  pen.fill(kGroundTop, kGroundBottom, height);
  pen.box({3, 3}, width - 6, height - 6, 12);
  pen.stroke(isNotable ? toneOf(face) : kRim, isNotable ? 4 : 1.5);
}

// On a lit key the words are dark on the state's colour.
void paintWords(Pen& pen, const Face& face) {
  pen.box({20, 108}, 104, 25, 5);
  if (isLit(face)) {
    pen.fill(toneOf(face));
  } else {
    pen.stroke(kRim, 1.5);
  }
  pen.text(face.words, {72, 120.5}, 17, 96, isLit(face) ? kDark : kFaint);
}

void paintBarOfState(Pen& pen, const Face& face) {
  pen.box({36, 104}, 72, 5, 2.5);
  pen.fill(isLit(face) ? toneOf(face) : kRim);
}

void paintNumber(Pen& pen, const Face& face) {
  pen.box({9, 42}, 126, 56, 5);
  pen.fill(kGlass);
  if (isDigits(face.body)) {
    if (!face.body.empty()) paintDigits(pen, face.body, {72, 70}, 26, 112, toneOf(face));
  } else {
    pen.text(face.body, {72, 70}, 34, 114, toneOf(face));
  }
}

void paintBody(Pen& pen, Symbols& symbols, const Face& face) {
  if (face.kind == Kind::Number) {
    paintNumber(pen, face);
  } else if (face.kind == Kind::Text) {
    pen.paragraph(face.body, {72, 72}, 22, {124, 64}, toneOf(face));
  } else {
    paintSymbol(pen, symbols, face, {72, 71}, 32);
  }
}

std::string paintKey(Symbols& symbols, const Face& face, int pixels) {
  Pen pen(kKey, kKey, pixels / kKey);
  if (face.kind == Kind::Picture && !face.picture.empty()) {
    pen.picture(symbols, face.picture, {0, 0}, kKey, kKey, isDark(face) ? kDimmed : 1);
  } else {
    paintGround(pen, face, kKey, kKey);
    pen.text(face.label, {72, 24}, 18, 124, labelColour(face));
    paintBody(pen, symbols, face);
  }
  if (face.hasBar) {
    paintBarOfState(pen, face);
  } else if (!face.words.empty()) {
    paintWords(pen, face);
  }
  return pen.png();
}

std::string paintDial(Symbols& symbols, const Face& face) {
  Pen pen(kDialWidth, kDialHeight, 1);
  paintGround(pen, face, kDialWidth, kDialHeight);
  pen.line({{124.5, 12}, {124.5, 88}});
  pen.stroke(kRim, 1);
  paintSymbol(pen, symbols, face, {161, 50}, 34);
  return pen.png();
}

}  // namespace

std::string FacePainter::png(const Face& face, int pixels) const {
  return face.shape == Face::Shape::Dial ? paintDial(symbols, face)
                                         : paintKey(symbols, face, pixels);
}

}  // namespace bridge
