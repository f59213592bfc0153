#include "bridge/Look.h"

#include <algorithm>
#include <cmath>

namespace bridge {

namespace {

using Kind = Panel::Face;
using State = Panel::State;

constexpr double kFullCircle = 360;
constexpr int kMinutesOnPlate = 12 * 60;
constexpr double kPercent = 100;

bool isRound(Kind kind) {
  return kind == Kind::Gauge || kind == Kind::Compass || kind == Kind::Clock;
}

// Derives one display's look from the present values.
class LookMaker {
 public:
  LookMaker(const Panel::Display& shown, const Values& current, Look::Place where)
      : display(shown), values(current), place(where) {}

  Look look(const std::string& absence);

 private:
  std::optional<double> number(const std::optional<Expression>& expression) const {
    return expression ? expression->evaluate(values, place.isPressed) : std::nullopt;
  }
  bool isTrue(const std::optional<Expression>& expression) const {
    return number(expression).value_or(0) != 0;
  }

  std::string missing() const;
  State state() const;
  bool isOn() const;
  std::optional<int> position() const;
  std::string wordsOf(State state) const;
  void showOnKey(Look& look) const;
  void showOnDial(Look& look) const;
  void turnNeedle(Face& face) const;
  std::optional<double> partOfRange(const std::optional<double>& value) const;
  std::optional<double> bar() const;

  const Panel::Display& display;
  const Values& values;
  Look::Place place;
};

Look LookMaker::look(const std::string& absence) {
  Look look;
  Face& face = look.face;
  face.shape = place.isDial ? Face::Shape::Dial : Face::Shape::Key;
  face.kind = display.face;
  face.colour = display.colour;
  face.symbol = display.symbol;
  const std::string reason = absence.empty() ? missing() : absence;
  face.isAbsent = !reason.empty();
  face.state = face.isAbsent ? State::Off : state();
  look.isMoving = !face.isAbsent && !display.show.isEmpty() && display.positions.empty();
  look.isAlarm = !face.isAbsent && isTrue(display.alarm);
  face.picture = display.pictures[static_cast<std::size_t>(face.state)];
  if (!face.isAbsent && face.state != State::Unavailable) turnNeedle(face);
  face.words = face.isAbsent ? reason : wordsOf(face.state);
  place.isDial ? showOnDial(look) : showOnKey(look);
  return look;
}

// One word that says why a needed value isn't known; empty: all are known.
std::string LookMaker::missing() const {
  bool isWaiting = false;
  for (const std::size_t needed : display.needs) {
    if (values.state(needed) == Values::State::Unknown) return "UNKNOWN";
    isWaiting = isWaiting || values.state(needed) == Values::State::Waiting;
  }
  return isWaiting ? "WAITING" : "";
}

State LookMaker::state() const {
  if (display.available && !isTrue(display.available)) return State::Unavailable;
  if (isTrue(display.fault)) return State::Fault;
  if (isTrue(display.transit)) return State::Transit;
  return isOn() ? State::On : State::Off;
}

bool LookMaker::isOn() const {
  if (display.on) return isTrue(display.on);
  return display.positions.empty() || position().value_or(0) != 0;
}

// The position that a switch is in, as an index.
std::optional<int> LookMaker::position() const {
  if (display.positions.empty() || display.show.isEmpty()) return std::nullopt;
  const auto value = display.show.show.front().evaluate(values, place.isPressed);
  if (!value) return std::nullopt;
  const auto last = static_cast<double>(display.positions.size() - 1);
  return static_cast<int>(std::lround(std::clamp(*value, 0.0, last)));
}

std::string LookMaker::wordsOf(State shown) const {
  const std::string& given = display.words[static_cast<std::size_t>(shown)];
  if (shown != State::Off && shown != State::On) return given;
  if (const auto at = position()) return display.positions[static_cast<std::size_t>(*at)];
  const bool isLamp = display.face == Kind::Lamp || display.face == Kind::Switch;
  if (!isLamp || display.show.isEmpty()) return given;
  const std::string filled = display.show.fill(values, place.isPressed);
  return filled.empty() ? given : filled;
}

// Where titles are wanted, the words in the middle or at the edge go as the title, before those of
// `title`. The words of a round instrument and those of `title` always do: they change all the
// time, and in the picture each change would be painted.
void LookMaker::showOnKey(Look& look) const {
  Face& face = look.face;
  const bool isDark = face.isAbsent || face.state == State::Unavailable;
  const std::string filled = isDark ? "" : display.show.fill(values, place.isPressed);
  face.label = display.label;
  if (face.kind == Kind::Number || face.kind == Kind::Text) face.body = filled;
  if (!isDark) {
    look.title = display.second.fill(values, place.isPressed);
    if (display.second.isEmpty() && isRound(face.kind) && face.kind != Kind::Clock) {
      look.title = filled;
    }
  }
  if (!place.hasTitles) return;
  const std::string own = face.body.empty() && look.title.empty() ? face.words : face.body;
  look.title = own + (own.empty() || look.title.empty() ? "" : "\n") + look.title;
  face.hasBar = look.title.find('\n') == std::string::npos;  // two lines need its room
  face.words.clear();
  face.body.clear();
}

// The words are lines of the strip's layout; the fourth line is only the bar's number. A bar keeps
// its length until it gets another one, so without a value it gets 0.
void LookMaker::showOnDial(Look& look) const {
  Face& face = look.face;
  const bool isLamp = face.kind == Kind::Lamp || face.kind == Kind::Switch;
  const bool isKnown = !face.isAbsent && face.state != State::Unavailable;
  std::string words = face.words;
  if (isKnown && (!isLamp || words.empty())) words = display.show.fill(values, place.isPressed);
  look.title = display.label + "\n" + words + "\n";
  if (isKnown) look.title += display.second.fill(values, place.isPressed);
  look.hasBar = display.bar || display.face == Kind::Gauge || display.face == Kind::Compass;
  const double length = isKnown ? bar().value_or(0) : 0;
  if (look.hasBar) look.title += "\n" + std::to_string(std::lround(length));
  face.words.clear();
}

void LookMaker::turnNeedle(Face& face) const {
  const auto shown = display.show.isEmpty() || display.positions.size() > 1
                         ? std::nullopt
                         : display.show.show.front().evaluate(values, place.isPressed);
  const auto moved = number(display.frame).value_or(0);
  face.frame = static_cast<int>(std::lround(std::clamp(moved, 0.0, 1.0) * Face::kFrames));
  if (face.kind == Kind::Clock) {
    face.needle = static_cast<int>(std::fmod(shown.value_or(0) / 60, kMinutesOnPlate));
  } else if (const auto part = partOfRange(display.needle ? number(display.needle) : shown)) {
    face.needle = static_cast<int>(std::lround(*part * Face::kSteps));
  }
  if (const auto part = partOfRange(number(display.mark))) {
    face.mark = static_cast<int>(std::lround(*part * Face::kSteps));
  }
}

// The value's place in the range, from 0 to 1. nullopt: it isn't known, or there is no range.
std::optional<double> LookMaker::partOfRange(const std::optional<double>& value) const {
  if (!value) return std::nullopt;
  if (display.face == Kind::Compass) {
    return *value / kFullCircle - std::floor(*value / kFullCircle);
  }
  if (!display.range) return std::nullopt;
  const auto from = display.range->from.evaluate(values, place.isPressed);
  const auto to = display.range->to.evaluate(values, place.isPressed);
  if (!from || !to || *from == *to) return std::nullopt;
  return std::clamp((*value - *from) / (*to - *from), 0.0, 1.0);
}

std::optional<double> LookMaker::bar() const {
  if (const auto given = number(display.bar)) return std::clamp(*given, 0.0, kPercent);
  if (display.bar || display.show.isEmpty()) return std::nullopt;
  const auto part =
      partOfRange(display.needle ? number(display.needle)
                                 : display.show.show.front().evaluate(values, place.isPressed));
  return part ? std::optional(*part * kPercent) : std::nullopt;
}

}  // namespace

Look Look::of(const Panel::Display& display, const Values& values, Place place,
              const std::string& absence) {
  return LookMaker(display, values, place).look(absence);
}

}  // namespace bridge
