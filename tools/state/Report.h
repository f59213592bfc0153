// The output of velomar-state: stores, processes and the verdict, for people and for scripts.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/state/Verdict.h"

// Makes text that may come from a damaged region printable: anything but printable ASCII becomes
// '?'.
std::string printable(const std::string& text);

// A store's figures, its first keys, and what is damaged, in several lines.
std::string textOf(const StoreFacts& store);

// The processes, a line each.
std::string textOf(const Facts& facts);

// The verdict and its remedy, in lines of a terminal's width.
std::string textOf(const Verdict& verdict);

nlohmann::json jsonOf(const StoreFacts& store);
nlohmann::json jsonOf(const Facts& facts);
nlohmann::json jsonOf(const Verdict& verdict);
