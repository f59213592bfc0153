#include "bridge/Hand.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace bridge {

namespace {

// How long a written value counts for more than a told one: a simulator tells of a change within a
// tenth of a second, and may tell of an older change before that.
constexpr Hand::Time kDoubt{500};

// A host joins the detents since its last event into one event. No hand turns by more than this.
constexpr int kMostDetents = 60;

constexpr double kClose = 1e-6;

}  // namespace

void Hand::setConnected(bool isConnectedNow) {
  isConnected = isConnectedNow;
  written.clear();
  holders.clear();
}

void Hand::told(std::size_t place) {
  const auto last = written.find(place);
  const auto value = values.number(place);
  if (last == written.end() || !value) return;
  const double tolerance = kClose * std::max(1.0, std::abs(last->second.value));
  if (std::abs(*value - last->second.value) <= tolerance) written.erase(last);
}

void Hand::setKnown(std::size_t command, bool isKnown) {
  isKnown ? void(unknown.erase(command)) : void(unknown.insert(command));
}

Hand::Answer Hand::perform(const Panel::Actions& actions, Moment moment,
                           std::vector<std::size_t>& held) {
  Answer answer = Answer::Done;
  for (const Panel::Action& action : actions) {
    if (!perform(action, moment, held)) return Answer::Refused;
    if (action.isConfirmed) answer = Answer::Confirmed;
  }
  return answer;
}

void Hand::release(std::vector<std::size_t>& held) {
  for (const std::size_t command : held) {
    const auto found = holders.find(command);
    if (found == holders.end() || --found->second > 0) continue;
    holders.erase(found);
    simulator.release(*panel.commands[command].commands[static_cast<std::size_t>(kind)]);
  }
  held.clear();
}

Hand::Answer Hand::turn(const Panel::Turn& turn, int ticks, bool isFast, Moment moment) {
  const int detents = std::clamp(ticks, -kMostDetents, kMostDetents);
  if (turn.add && !add(*turn.add, detents, isFast, moment)) return Answer::Refused;
  std::vector<std::size_t> held;
  Answer answer = Answer::Done;
  for (int i = 0; i < std::abs(detents) && answer != Answer::Refused; ++i) {
    answer = perform(detents > 0 ? turn.up : turn.down, moment, held);
  }
  release(held);
  return answer;
}

bool Hand::perform(const Panel::Action& action, Moment moment, std::vector<std::size_t>& held) {
  if (const auto* run = std::get_if<Panel::Run>(&action.what)) return this->run(*run, &held);
  if (const auto* toggle = std::get_if<Panel::Toggle>(&action.what))
    return perform(*toggle, moment);
  if (const auto* cycle = std::get_if<Panel::Cycle>(&action.what)) return perform(*cycle, moment);
  if (const auto* added = std::get_if<Panel::Add>(&action.what))
    return add(*added, 1, false, moment);
  return perform(std::get<Panel::Set>(action.what), moment);
}

bool Hand::perform(const Panel::Toggle& toggle, Moment moment) {
  const auto value = valueOf(toggle.place, moment.now);
  return value && write(toggle.place, *value == 0 ? 1 : 0, moment.now);
}

bool Hand::perform(const Panel::Set& set, Moment moment) {
  const auto value = resultOf(set.to, moment);
  return value && write(set.place, *value, moment.now);
}

// Writes the position after the one that is nearest to the present value.
bool Hand::perform(const Panel::Cycle& cycle, Moment moment) {
  const auto value = valueOf(cycle.place, moment.now);
  std::vector<double> positions;
  for (const Expression& each : cycle.through) {
    const auto position = resultOf(each, moment);
    if (!position || !value) return false;
    positions.push_back(*position);
  }
  const auto nearest =
      std::min_element(positions.begin(), positions.end(), [&value](double one, double other) {
        return std::abs(one - *value) < std::abs(other - *value);
      });
  const auto next = static_cast<std::size_t>(nearest - positions.begin() + 1) % positions.size();
  return write(cycle.place, positions[next], moment.now);
}

bool Hand::add(const Panel::Add& add, double steps, bool isFast, Moment moment) {
  const auto value = valueOf(add.place, moment.now);
  const auto step = resultOf(isFast && add.fast ? *add.fast : add.step, moment);
  if (!value || !step) return false;
  double sum = *value + steps * *step;
  if (add.limits) {
    const auto from = resultOf(add.limits->from, moment);
    const auto to = resultOf(add.limits->to, moment);
    if (!from || !to || !(*from < *to)) return false;
    const double size = *to - *from;
    const double turns = std::floor((sum - *from) / size + kClose);
    sum = add.wraps ? sum - turns * size : std::clamp(sum, *from, *to);
  }
  return write(add.place, sum, moment.now);
}

bool Hand::run(const Panel::Run& run, std::vector<std::size_t>* held) {
  const auto& command = panel.commands[run.command].commands[static_cast<std::size_t>(kind)];
  if (!isConnected || !command || unknown.count(run.command) != 0) return false;
  if (run.isHeld) {
    if (++holders[run.command] == 1) simulator.hold(*command);
    held->push_back(run.command);
  } else {
    simulator.run(*command);
  }
  return true;
}

bool Hand::write(std::size_t place, double value, Time now) {
  const auto& name = panel.values[place].names[static_cast<std::size_t>(kind)];
  if (!isConnected || !name || values.state(place) != Values::State::Known) return false;
  simulator.write(*name, value);
  written[place] = {value, now};
  return true;
}

std::optional<double> Hand::valueOf(std::size_t place, Time now) const {
  const auto last = written.find(place);
  if (last != written.end() && now - last->second.at < kDoubt) return last->second.value;
  return values.number(place);
}

// Like valueOf, so that an action goes on from what the one before it has written.
std::optional<double> Hand::resultOf(const Expression& expression, Moment moment) const {
  return expression.evaluate([&](std::size_t place) { return valueOf(place, moment.now); },
                             moment.isPressed);
}

}  // namespace bridge
