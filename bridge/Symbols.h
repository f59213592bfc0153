// Draws symbols and pictures from SVG and PNG files in a size in pixels, and keeps the results. A
// file is read when it is first wanted. One thread.
//
// A symbol of ours is an SVG file. The classes of its parts say how each looks in a state:
//   tone, tone-line  the colour of the state; ink, ink-line always bright; glow, glow-line bright
//                    if lit and faint if not
//   lit, unlit, fault  seen in that state only
//   frame f0, f1, ...  only one is seen, chosen by how far the thing has moved
#pragma once

#include <cairo.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace bridge {

class Symbols {
 public:
  struct Style {
    std::string name;  // one that ships, or a file
    std::uint32_t tone = 0;
    bool isLit = false;
    bool isFault = false;
    double moved = 0;  // 0 to 1
  };

  // The folder of those that ship.
  explicit Symbols(std::filesystem::path folder);
  ~Symbols();
  Symbols(const Symbols&) = delete;
  Symbols& operator=(const Symbols&) = delete;

  // The names of the symbols that ship, sorted.
  const std::vector<std::string>& names() const { return known; }

  // Draws a square of `pixels` x `pixels`. Null: the file can't be drawn. Valid until the next
  // call.
  cairo_surface_t* symbol(const Style& style, int pixels);

  // Draws it at most so wide and high. Null: the file can't be drawn. Valid until the next call.
  cairo_surface_t* picture(const std::string& file, int width, int height);

  // Whether the file is an SVG or PNG picture. It is read, whatever is kept.
  static bool canDraw(const std::filesystem::path& file);

  // Drops all that is kept, so that files are read again when they are next wanted.
  void forget();

 private:
  struct Free {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  };
  using Surface = std::unique_ptr<cairo_surface_t, Free>;
  using Key = std::tuple<std::string, std::string, int, int>;  // file, style sheet, width, height

  cairo_surface_t* draw(const std::string& file, const std::string& style, int width, int height);
  int frameCount(const std::string& file);
  const std::string& contentOf(const std::string& file);

  std::filesystem::path folder;
  std::vector<std::string> known;
  std::map<std::string, std::string> contents;
  std::map<Key, Surface> drawn;
};

}  // namespace bridge
