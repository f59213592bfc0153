// Makes the events and messages that go in at both ends of the program in a soak, each with a
// number, and reads the number where it comes out.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "stress/soak/Ledger.h"

// The key that answers are shown on, and one that comes and goes.
constexpr char kKey[] = "K";
constexpr char kVisitor[] = "V";

// An event of the host under a context, with a payload that suits all kinds.
nlohmann::json event(const char* name, const std::string& context);

// A press, a turn or a touch. It is forwarded under its context, which need not be on show.
nlohmann::json press(Ledger::Number number);
std::optional<Ledger::Number> pressIn(const nlohmann::json& message);

// A title or, every eighth time, an image.
std::string answer(Ledger::Number number);

// The content that a frame shows on the key: an answer's number, or 0 for the blank state.
struct Shown {
  Ledger::Number number = 0;
  bool isWhole = true;
};
std::optional<Shown> answerIn(const nlohmann::json& frame);
