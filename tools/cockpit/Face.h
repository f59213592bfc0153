// What a key or a dial of the small aircraft shows, in words. Equal descriptions look the same.
#pragma once

#include <string>
#include <tuple>

struct Face {
  enum class Shape {
    Key,    // 144 x 144: label, symbol and legend
    Icon,   // 72 x 72: the symbol alone, on clear ground
    Gauge,  // 200 x 100: the ground of a dial with three lines and a bar, the symbol at the right
  };
  enum class Symbol {
    Gear,   // value: how far it is down, 0 to 4
    Flaps,  // value: degrees; mark: an arrow up (-1), none, or down (1)
    NavLight,
    Beacon,
    Strobe,
    LandingLight,
    TaxiLight,
    Caution,
    Bolt,
    Horizon,
    Clock,    // value: minutes since midnight
    Radio,    // on a key the legend's digits, large
    Compass,  // value, mark: where needle and bug stand, in 36ths of a full turn
    Scale,    // value, mark: the same, in 36ths of the scale
  };
  enum class Tone { Off, On, Info, Moving, Warning };

  Shape shape = Shape::Key;
  Symbol symbol = Symbol::Gear;
  Tone tone = Tone::Off;
  std::string label;
  std::string legend;  // without one the lower edge of a key is free, for a title
  int value = 0;
  int mark = 0;

  bool operator<(const Face& other) const { return tied() < other.tied(); }

 private:
  std::tuple<const Shape&, const Symbol&, const Tone&, const std::string&, const std::string&,
             const int&, const int&>
  tied() const {
    return std::tie(shape, symbol, tone, label, legend, value, mark);
  }
};
