#include "bridge/Trainer.h"

#include <algorithm>
#include <asio/post.hpp>
#include <functional>
#include <set>

namespace bridge {

namespace {

using Light = Aircraft::Light;
using Radio = Aircraft::Radio;
using Bug = Aircraft::Bug;

constexpr std::chrono::milliseconds kMoving{100};
constexpr std::chrono::milliseconds kAtRest{1000};
constexpr double kKilohertz = 1000;

struct Instrument {
  std::function<Value(const Aircraft&)> read;
  std::function<bool(Aircraft&, double)> write;  // false: refused; may be empty
};

using Instruments = std::map<std::string, Instrument>;

Value truth(bool isTrue) {
  return isTrue ? 1.0 : 0.0;
}

Instrument lightOf(Light light) {
  return {[light](const Aircraft& aircraft) { return truth(aircraft.isOn(light)); },
          [light](Aircraft& aircraft, double value) {
            aircraft.set(light, value != 0);
            return true;
          }};
}

Instrument bugOf(Bug bug) {
  return {[bug](const Aircraft& aircraft) { return static_cast<double>(aircraft.bug(bug)); },
          [bug](Aircraft& aircraft, double value) {
            aircraft.setBug(bug, value);
            return true;
          }};
}

Instrument actualOf(Bug bug) {
  return {[bug](const Aircraft& aircraft) { return static_cast<double>(aircraft.actual(bug)); },
          {}};
}

Instrument tuningOf(Radio radio, int Aircraft::Tuning::*which) {
  return {[radio, which](const Aircraft& aircraft) {
            return aircraft.tuning(radio).*which / kKilohertz;
          },
          {}};
}

bool setAutopilot(Aircraft& aircraft, double value) {
  return aircraft.hasAutopilot() == (value != 0) || aircraft.toggleAutopilot();
}

bool setBus(Aircraft& aircraft, double value) {
  if (aircraft.hasElectrics() != (value != 0)) aircraft.toggleElectrics();
  return true;
}

Instruments makeInstruments() {
  const auto reader = [](std::function<Value(const Aircraft&)> read) {
    return Instrument{std::move(read), {}};
  };
  return {
      {"gear/position", reader([](const Aircraft& a) { return a.gearPosition(); })},
      {"flaps/angle", reader([](const Aircraft& a) { return static_cast<double>(a.flapAngle()); })},
      {"lights/nav", lightOf(Light::Nav)},
      {"lights/beacon", lightOf(Light::Beacon)},
      {"lights/strobe", lightOf(Light::Strobe)},
      {"lights/landing", lightOf(Light::Landing)},
      {"lights/taxi", lightOf(Light::Taxi)},
      {"radio/com1", tuningOf(Radio::Com1, &Aircraft::Tuning::active)},
      {"radio/com1 standby", tuningOf(Radio::Com1, &Aircraft::Tuning::standby)},
      {"radio/nav1", tuningOf(Radio::Nav1, &Aircraft::Tuning::active)},
      {"radio/nav1 standby", tuningOf(Radio::Nav1, &Aircraft::Tuning::standby)},
      {"autopilot/on", {[](const Aircraft& a) { return truth(a.hasAutopilot()); }, setAutopilot}},
      {"autopilot/heading", bugOf(Bug::Heading)},
      {"autopilot/altitude", bugOf(Bug::Altitude)},
      {"autopilot/speed", bugOf(Bug::Speed)},
      {"heading", actualOf(Bug::Heading)},
      {"altitude", actualOf(Bug::Altitude)},
      {"speed", actualOf(Bug::Speed)},
      {"electrics/bus", {[](const Aircraft& a) { return truth(a.hasElectrics()); }, setBus}},
      {"caution/light", reader([](const Aircraft& a) { return truth(a.hasCaution()); })},
      {"caution/reason", reader([](const Aircraft& a) {
         return a.hasCaution() ? a.cautionReason() : std::string();
       })},
      {"clock",
       reader([](const Aircraft& a) { return static_cast<double>(a.timeOfDay().count()); })},
  };
}

using Order = std::function<bool(Aircraft&)>;  // false: refused

Order always(const std::function<void(Aircraft&)>& order) {
  return [order](Aircraft& aircraft) {
    order(aircraft);
    return true;
  };
}

void addRadio(std::map<std::string, Order>& orders, const std::string& name, Radio radio) {
  orders[name + " swap"] = [radio](Aircraft& a) { return a.swap(radio); };
  orders[name + " preset"] = [radio](Aircraft& a) { return a.presetStandby(radio); };
  orders[name + " up"] = [radio](Aircraft& a) { return a.tune(radio, 1); };
  orders[name + " down"] = [radio](Aircraft& a) { return a.tune(radio, -1); };
  orders[name + " MHz up"] = [radio](Aircraft& a) { return a.tuneMegahertz(radio, 1); };
  orders[name + " MHz down"] = [radio](Aircraft& a) { return a.tuneMegahertz(radio, -1); };
}

std::map<std::string, Order> makeOrders() {
  std::map<std::string, Order> orders{
      {"gear", [](Aircraft& a) { return a.moveGear(); }},
      {"flaps down", [](Aircraft& a) { return a.extendFlaps(); }},
      {"flaps up", [](Aircraft& a) { return a.retractFlaps(); }},
      {"caution reset", always([](Aircraft& a) { a.resetCaution(); })},
      {"heading sync", always([](Aircraft& a) { a.syncBug(Bug::Heading); })},
      {"altitude sync", always([](Aircraft& a) { a.syncBug(Bug::Altitude); })},
      {"speed sync", always([](Aircraft& a) { a.syncBug(Bug::Speed); })},
  };
  addRadio(orders, "com1", Radio::Com1);
  addRadio(orders, "nav1", Radio::Nav1);
  return orders;
}

const Instruments& instruments() {
  static const Instruments all = makeInstruments();
  return all;
}

const std::map<std::string, Order>& orders() {
  static const std::map<std::string, Order> all = makeOrders();
  return all;
}

}  // namespace

Trainer::Trainer(asio::io_context& used, std::chrono::seconds timeOfDay)
    : context(used), timer(used), aircraft(timeOfDay), advancedTo(Clock::now()) {}

void Trainer::start(Observer& toBeTold) {
  observer = &toBeTold;
  timer.expires_after(std::chrono::milliseconds(0));
  timer.async_wait([this](const asio::error_code& error) {
    if (!error) connect();
  });
}

void Trainer::connect() {
  isConnected = true;
  observer->onConnected();
  observer->onAircraft({"trainer"});
  advancedTo = Clock::now();
  goOn();
}

void Trainer::follow(std::vector<std::string> values, std::vector<Command> commands) {
  followed = std::move(values);
  followedCommands = std::move(commands);
  told.assign(followed.size(), std::nullopt);
  tellSoon();
  for (std::size_t i = 0; i < followedCommands.size(); ++i) {
    if (orders().count(followedCommands[i].name) != 0) continue;
    asio::post(context, [this, i] {
      if (i < followedCommands.size()) observer->onCommandUnknown(i);
    });
  }
}

void Trainer::write(const std::string& name, const Value& value) {
  const auto found = instruments().find(name);
  const double* number = std::get_if<double>(&value);
  if (found == instruments().end() || !found->second.write || number == nullptr) {
    refuse(name + " can't be written");
  } else if (!found->second.write(aircraft, *number)) {
    refuse(name + " doesn't move now");
  }
  tellSoon();
}

void Trainer::run(const Command& command) {
  const auto found = orders().find(command.name);
  if (found == orders().end()) {
    refuse("no command " + command.name);
  } else if (!found->second(aircraft)) {
    refuse(command.name + " is refused now");
  }
  tellSoon();
}

void Trainer::listNames(const std::string& pattern, Names done) {
  std::set<std::string> names;
  const auto add = [&](const std::string& name) {
    if (name.find(pattern) != std::string::npos) names.insert(name);
  };
  for (const auto& entry : instruments()) add(entry.first);
  for (const auto& entry : orders()) add(entry.first);
  asio::post(context, [done = std::move(done), names = std::move(names)] {
    done({names.begin(), names.end()}, "");
  });
}

// Begins the next step at once, so that a lever moves when it is touched and not at the end of a
// second's rest.
void Trainer::tellSoon() {
  if (isTelling || !isConnected) return;
  isTelling = true;
  asio::post(context, [this] {
    isTelling = false;
    goOn();
  });
}

void Trainer::advance() {
  const auto now = Clock::now();
  aircraft.advance(now - advancedTo);
  advancedTo = now;
}

void Trainer::goOn() {
  advance();
  tellChanges();
  timer.expires_after(aircraft.isMoving() ? kMoving : kAtRest);
  timer.async_wait([this](const asio::error_code& error) {
    if (!error) goOn();
  });
}

void Trainer::tellChanges() {
  for (std::size_t i = 0; i < followed.size(); ++i) {
    const auto found = instruments().find(followed[i]);
    if (found == instruments().end()) {
      if (!told[i]) observer->onValueUnknown(i);
      told[i] = Value();
      continue;
    }
    Value value = found->second.read(aircraft);
    if (told[i] == value) continue;
    told[i] = value;
    observer->onValue(i, value);
  }
}

void Trainer::refuse(const std::string& reason) {
  asio::post(context, [this, reason] { observer->onRefused(reason); });
}

}  // namespace bridge
