// Draws shapes, text and pictures, by cairo, pango and librsvg. Lengths are counted in units, of
// which `scale` pixels make one, unless `Placed` scales them further; angles are degrees, clockwise
// from the right. A shape is outlined first and then filled or stroked. One thread.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>

#include "bridge/Symbols.h"

namespace bridge {

class Pen {
 public:
  using Colour = std::uint32_t;  // 0xRRGGBB

  struct Point {
    double x, y;
  };

  // Starts with a black ground that isn't transparent.
  Pen(double width, double height, double scale);
  ~Pen();

  void line(std::initializer_list<Point> points);
  void polygon(std::initializer_list<Point> points);
  void circle(Point centre, double radius);
  void box(Point corner, double width, double height, double radius);

  void fill(Colour colour);
  void fill(Colour top, Colour bottom, double height);  // shaded from 0 to `height`
  void stroke(Colour colour, double width);

  // Draws bold text around `centre`, made smaller if it is wider than `width`.
  void text(const std::string& words, Point centre, double size, double width, Colour colour);

  // Draws text broken into lines in a box around `centre`, made smaller if it is higher than the
  // box.
  void paragraph(const std::string& words, Point centre, double size, Point extent, Colour colour);

  // Draws a symbol in a square of `2 * radius` around `centre`.
  void symbol(Symbols& symbols, const Symbols::Style& style, Point centre, double radius,
              double alpha);

  // Draws a picture as big as the box allows.
  void picture(Symbols& symbols, const std::string& file, Point corner, double width, double height,
               double alpha);

  // While the object lives, `origin` is the point (0, 0) and lengths count `scale` times.
  class Placed {
   public:
    Placed(Pen& pen, Point origin, double scale, double angle = 0);
    ~Placed();
    Placed(const Placed&) = delete;
    Placed& operator=(const Placed&) = delete;

   private:
    Pen& pen;
  };

  // The drawing so far as a PNG file. Throws std::runtime_error if something went wrong.
  std::string png() const;

 private:
  struct Context;

  std::unique_ptr<Context> context;
  double pixels;  // a unit
};

}  // namespace bridge
