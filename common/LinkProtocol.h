// The terms that both ends of the link must agree on: the stores, the three words, the intervals,
// the names of the messages, and how a group carries several.
//
// "The panel" is the program `velomar`, "the simulator's side" its peer. Any thread may call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace velomar::protocol {

// The two stores, each written by one end and emptied by the other.
constexpr char kToXPlane[] = "ToXPlane";      // written by the panel
constexpr char kFromXPlane[] = "FromXPlane";  // written by the simulator's side
constexpr std::uint32_t kBlockSize = 2048;    // bytes
constexpr std::uint32_t kBlockCount = 4096;
constexpr std::uint64_t kStoreBytes = std::uint64_t{kBlockSize} * kBlockCount;

// Values that are words and not JSON, compared as a whole.
constexpr char kHello[] = "{Hello}";          // either end: here, and not connected
constexpr char kWelcome[] = "{Welcome}";      // the simulator's side: brings the link up
constexpr char kHeartbeat[] = "{Heartbeat}";  // either end: alive

// The panel's intervals in milliseconds. It begins after the start pause, gives the link up after
// the time-out of silence, and writes a heartbeat after the interval without a write.
constexpr std::int64_t kStartPauseMs = 5000;
constexpr std::int64_t kErrorPauseMs = 5000;
constexpr std::int64_t kReceiveTimeoutMs = 10001;
constexpr std::int64_t kHeartbeatIntervalMs = 2501;

// Version of the messages, the value of "Version" in "API Version".
constexpr int kApiVersion = 1;

// Names of the messages: the value of "Message".
namespace from_panel {
constexpr char kAddDevice[] = "Add Device";
constexpr char kAddContext[] = "Add Context";
constexpr char kHideContext[] = "Hide Context";
constexpr char kUpdateKeyName[] = "Update Key Name";
constexpr char kKeyDown[] = "Key Down";
constexpr char kKeyUp[] = "Key Up";
constexpr char kDialDown[] = "Dial Down";
constexpr char kDialUp[] = "Dial Up";
constexpr char kEncoderRotate[] = "Encoder Rotate";
constexpr char kTouchTap[] = "Touch Tap";
constexpr char kApiVersion[] = "API Version";
constexpr char kForceRefresh[] = "Force Refresh";
}  // namespace from_panel

namespace to_panel {
constexpr char kIdentContext[] = "Ident Context";
constexpr char kAlertContext[] = "Alert Context";
constexpr char kUpdateImageId[] = "Update Image ID";
constexpr char kUpdateFullImageId[] = "Update Full Image ID";
constexpr char kSetTitle[] = "Set Title";
constexpr char kResetContext[] = "Reset Context";
constexpr char kSetLayoutCache[] = "Set Layout Cache";
constexpr char kSetLayout[] = "Set Layout";
}  // namespace to_panel

constexpr char kGroupMessage[] = "Group Message";  // both directions

// Deepest nesting of groups.
constexpr int kMaxGroupDepth = 64;

// The group that carries `messages`: they are members named by their numbers.
inline nlohmann::json groupOf(std::vector<nlohmann::json> messages) {
  nlohmann::json members = nlohmann::json::object();
  for (std::size_t i = 0; i < messages.size(); ++i) {
    members[std::to_string(i)] = std::move(messages[i]);
  }
  return {{"Message", kGroupMessage}, {"Messages", std::move(members)}};
}

// Calls `visit` with the names of a group's members in the order of handling. They go by number,
// not by their order in the text, where "10" comes before "2". Their count is taken for the highest
// number, so that a gap hides the members after it.
template <typename Visit>
void visitGroup(const nlohmann::json& members, Visit visit) {
  const std::size_t count = members.size();
  for (std::size_t i = 0; i < count; ++i) visit(std::to_string(i));
}

}  // namespace velomar::protocol
