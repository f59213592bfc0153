// Describes what a key or a dial shows. Equal descriptions give equal pictures.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>

#include "bridge/Panel.h"

namespace bridge {

struct Face {
  enum class Shape {
    Key,   // square: label, symbol and words
    Dial,  // 200 x 100 on the strip: the ground of three lines and a bar, the symbol at the right
  };

  // A symbol that moves has positions from 0 to this, a multiple of most symbols' counts of frames.
  static constexpr int kFrames = 12;
  // Steps in which needles and marks turn.
  static constexpr int kSteps = 72;
  static constexpr int kNoMark = -1;

  Shape shape = Shape::Key;
  Panel::Face kind = Panel::Face::Lamp;
  Panel::State state = Panel::State::Off;
  bool isAbsent = false;     // nothing is known of it, and `words` says why
  std::uint32_t colour = 0;  // 0xRRGGBB, of what is lit
  std::string label;
  std::string symbol;   // one that ships, or a file; may be empty
  std::string picture;  // a file
  std::string words;    // at the lower edge
  bool hasBar = false;  // the lower edge is a bar without words, to make room for a title
  std::string body;     // a number, or a text, in the middle
  int frame = 0;
  int needle = 0;  // of a clock: minutes since midnight or noon
  int mark = kNoMark;

  auto tied() const {
    return std::tie(shape, kind, state, isAbsent, colour, label, symbol, picture, words, hasBar,
                    body, frame, needle, mark);
  }
  bool operator<(const Face& other) const { return tied() < other.tied(); }
};

}  // namespace bridge
