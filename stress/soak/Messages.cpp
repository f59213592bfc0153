#include "stress/soak/Messages.h"

#include <cstdlib>
#include <iterator>

using nlohmann::json;

namespace {

constexpr const char* kPresses[] = {"keyDown", "keyUp", "dialRotate", "dialDown", "touchTap"};
constexpr char kPressContext = 'P';
constexpr std::size_t kImageBytes = 4000;
constexpr std::size_t kMaxTitle = 20;
constexpr unsigned kImageIds = 64;

// The number that a text starts with; 0 if there is none, as in the blank state.
Ledger::Number numberIn(const std::string& text) {
  return std::strtoull(text.c_str(), nullptr, 10);
}

}  // namespace

json event(const char* name, const std::string& context) {
  return {{"event", name},
          {"action", "com.brackenmoor.velomar.launch"},
          {"context", context},
          {"device", "D"},
          {"payload",
           {{"settings", {{"KeyName", "GEAR"}}},
            {"coordinates", {{"column", 0}, {"row", 0}}},
            {"controller", "Keypad"},
            {"ticks", 1},
            {"hold", false}}}};
}

json press(Ledger::Number number) {
  return event(kPresses[number % std::size(kPresses)], kPressContext + std::to_string(number));
}

std::optional<Ledger::Number> pressIn(const json& message) {
  const std::string context = message.value("Context", "");
  if (context.empty() || context[0] != kPressContext) return {};
  return numberIn(context.substr(1));
}

std::string answer(Ledger::Number number) {
  const std::string text = std::to_string(number);
  if (number % 8 != 0) {
    return json{{"Message", "Set Title"}, {"Context", kKey}, {"Title", text}}.dump();
  }
  return json{{"Message", "Update Full Image ID"},
              {"Context", kKey},
              {"Image ID", number / 8 % kImageIds},
              {"Base64", text + std::string(kImageBytes - text.size(), 'A')}}
      .dump();
}

std::optional<Shown> answerIn(const json& frame) {
  static const std::string kPrefix = "data:image/png;base64,";
  const std::string name = frame.at("event");
  if (frame.value("context", "") != kKey || (name != "setTitle" && name != "setImage")) return {};
  std::string text = frame.at("payload").at(name == "setTitle" ? "title" : "image");
  if (text.rfind(kPrefix, 0) == 0) text.erase(0, kPrefix.size());
  const Ledger::Number number = numberIn(text);
  return Shown{number, number == 0 || text.size() < kMaxTitle || text.size() == kImageBytes};
}
