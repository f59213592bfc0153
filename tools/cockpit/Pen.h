// Draws shapes and text on a clear ground, by cairo. Lengths are pixels unless `Placed` scales
// them, angles are degrees, clockwise from the right. A shape is outlined first and then filled or
// stroked.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>

class Pen {
 public:
  using Colour = std::uint32_t;  // 0xRRGGBB

  struct Point {
    double x, y;
  };

  Pen(int width, int height);
  ~Pen();

  void line(std::initializer_list<Point> points);
  void polygon(std::initializer_list<Point> points);
  void circle(Point centre, double radius);
  void arc(Point centre, double radius, double from, double to);
  void box(Point corner, double width, double height, double radius);

  void fill(Colour colour);
  void fill(Colour top, Colour bottom, double height);  // shaded from 0 to `height`
  void stroke(Colour colour, double width);

  // Bold, around `centre`; made smaller where it is wider than `width`.
  void text(const std::string& words, Point centre, double size, double width, Colour colour);

  // Until the object goes, `origin` is the point (0, 0) and lengths count `scale` times.
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
};
