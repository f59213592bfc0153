#include "bridge/simulators/XPlaneSimulator.h"

#include <chrono>
#include <utility>

#include "bridge/simulators/Json.h"
#include "bridge/simulators/XPlaneSimulator_Class.h"

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace bridge {

namespace {

// X-Plane says nothing while nothing changes. So it is asked for something once it has been quiet
// for one to two times kQuietTime, and then has this long for its answer.
constexpr milliseconds kQuietTime{2000};
constexpr milliseconds kQuietDeadline{4000};
static_assert(2 * kQuietTime + kQuietDeadline < Simulator::kLongestSilence);
static_assert(2 * kQuietTime + RestClient::kDeadline < Simulator::kLongestSilence);

}  // namespace

XPlaneSimulator::XPlaneSimulator(asio::io_context& owner, const Endpoint& given)
    : RemoteSimulator(owner, given, "8086"),
      rest(owner, endpoint),
      nextSearch(owner),
      quiet(owner),
      socket(owner, {[this] { onOpened(); }, [this](const json& values) { onUpdate(values); },
                     [this](const std::string& reason) { fail(reason); }}) {
  follow({}, {});
}

void XPlaneSimulator::connect() {
  rest.get("/api/capabilities", [this](const RestClient::Answer& answer) {
    // The first versions of the API can't tell what they are.
    if (answer.status != 200 && answer.status != 404) return fail(faultOf(answer));
    const json read = json::parse(answer.body, nullptr, false);
    version = "v1";
    for (const auto& offered : memberOf(memberOf(read, "api"), "versions")) {
      if (offered == "v2") version = "v2";
    }
    socket.open(endpoint, path(""));
  });
}

void XPlaneSimulator::onOpened() {
  isOpen = true;
  lastHeard = steady_clock::now();
  watch();
  searchAll();
}

void XPlaneSimulator::watch() {
  quiet.after(kQuietTime, [this] {
    if (steady_clock::now() - lastHeard < kQuietTime) return watch();
    const auto& name = datarefs[kAircraftNames[0]].known;
    name ? askSocket(name->id) : askServer();
  });
}

// Tests the WebSocket, because the server may answer while that is dead, and values come over it
// only. The test subscribes to a text once more, which changes nothing.
void XPlaneSimulator::askSocket(std::uint64_t id) {
  quiet.after(kQuietDeadline, [this] { fail("X-Plane does not answer"); });
  socket.request("dataref_subscribe_values", {{"datarefs", json::array({{{"id", id}}})}},
                 [this](const std::string& /*any answer is one*/) { watch(); });
}

// Tests the server instead, because at the main menu there is nothing to subscribe to.
void XPlaneSimulator::askServer() {
  rest.get("/api/capabilities", [this](const RestClient::Answer& answer) {
    if (answer.status == 0 || answer.status == 403) return fail(faultOf(answer));
    watch();
  });
}

void XPlaneSimulator::fail(const std::string& reason) {
  socket.drop();
  rest.forget();
  nextSearch.cancel();
  quiet.cancel();
  isOpen = false;
  forgetAll();
  attempts.later();
  tellEnd(reason, std::exchange(isConnected, false));
}

void XPlaneSimulator::forgetAll() {
  ++subscription;
  namesById.clear();
  held.clear();
  aircraft.clear();
  for (auto& [name, dataref] : datarefs) {
    dataref.known.reset();
    dataref.isCurrent = false;
    dataref.values.clear();
    for (auto& followed : dataref.followers) {
      followed.isUnknown = false;
      followed.told = Told::Nothing;
    }
  }
  for (auto& [name, command] : commands) {
    const auto places = std::move(command.places);
    command = {};
    command.places = places;
  }
}

std::unique_ptr<Simulator> makeXPlane(asio::io_context& context, Endpoint endpoint) {
  return std::make_unique<XPlaneSimulator>(context, endpoint);
}

}  // namespace bridge
