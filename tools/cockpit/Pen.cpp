#include "tools/cockpit/Pen.h"

#include <cairo.h>

#include <algorithm>
#include <stdexcept>

namespace {

constexpr double kDegree = 3.14159265358979323846 / 180;

double part(Pen::Colour colour, int shift) {
  return static_cast<double>((colour >> shift) & 0xFFU) / 255;
}

cairo_status_t append(void* bytes, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(bytes)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

}  // namespace

// cairo's objects keep their first error and do nothing from then on, so one look at the end is
// enough.
struct Pen::Context {
  Context(int width, int height)
      : surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height)),
        cairo(cairo_create(surface)) {}
  ~Context() {
    cairo_destroy(cairo);
    cairo_surface_destroy(surface);
  }
  Context(const Context&) = delete;
  Context& operator=(const Context&) = delete;

  cairo_surface_t* surface;
  cairo_t* cairo;
};

Pen::Pen(int width, int height) : context(std::make_unique<Context>(width, height)) {
  cairo_set_line_cap(context->cairo, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_join(context->cairo, CAIRO_LINE_JOIN_ROUND);
  cairo_select_font_face(context->cairo, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                         CAIRO_FONT_WEIGHT_BOLD);
}

Pen::~Pen() = default;

void Pen::line(std::initializer_list<Point> points) {
  cairo_new_sub_path(context->cairo);
  for (const auto& point : points) cairo_line_to(context->cairo, point.x, point.y);
}

void Pen::polygon(std::initializer_list<Point> points) {
  line(points);
  cairo_close_path(context->cairo);
}

void Pen::circle(Point centre, double radius) {
  arc(centre, radius, 0, 360);
  cairo_close_path(context->cairo);
}

void Pen::arc(Point centre, double radius, double from, double to) {
  cairo_new_sub_path(context->cairo);
  cairo_arc(context->cairo, centre.x, centre.y, radius, from * kDegree, to * kDegree);
}

void Pen::box(Point corner, double width, double height, double radius) {
  const double left = corner.x + radius;
  const double top = corner.y + radius;
  const double right = corner.x + width - radius;
  const double bottom = corner.y + height - radius;
  cairo_new_sub_path(context->cairo);
  cairo_arc(context->cairo, right, top, radius, -90 * kDegree, 0);
  cairo_arc(context->cairo, right, bottom, radius, 0, 90 * kDegree);
  cairo_arc(context->cairo, left, bottom, radius, 90 * kDegree, 180 * kDegree);
  cairo_arc(context->cairo, left, top, radius, 180 * kDegree, 270 * kDegree);
  cairo_close_path(context->cairo);
}

void Pen::fill(Colour colour) {
  cairo_set_source_rgb(context->cairo, part(colour, 16), part(colour, 8), part(colour, 0));
  cairo_fill(context->cairo);
}

void Pen::fill(Colour top, Colour bottom, double height) {
  cairo_pattern_t* shade = cairo_pattern_create_linear(0, 0, 0, height);
  cairo_pattern_add_color_stop_rgb(shade, 0, part(top, 16), part(top, 8), part(top, 0));
  cairo_pattern_add_color_stop_rgb(shade, 1, part(bottom, 16), part(bottom, 8), part(bottom, 0));
  cairo_set_source(context->cairo, shade);
  cairo_pattern_destroy(shade);
  cairo_fill(context->cairo);
}

void Pen::stroke(Colour colour, double width) {
  cairo_set_source_rgb(context->cairo, part(colour, 16), part(colour, 8), part(colour, 0));
  cairo_set_line_width(context->cairo, width);
  cairo_stroke(context->cairo);
}

void Pen::text(const std::string& words, Point centre, double size, double width, Colour colour) {
  cairo_text_extents_t extents;
  cairo_set_font_size(context->cairo, size);
  cairo_text_extents(context->cairo, words.c_str(), &extents);
  if (extents.width > width) {
    size *= width / extents.width;
    cairo_set_font_size(context->cairo, size);
    cairo_text_extents(context->cairo, words.c_str(), &extents);
  }
  // Half the height of capitals and digits. Going by the words at hand instead, faces side by side
  // would differ in their baselines.
  const double left = centre.x - extents.width / 2 - extents.x_bearing;
  cairo_move_to(context->cairo, left, centre.y + 0.365 * size);
  cairo_set_source_rgb(context->cairo, part(colour, 16), part(colour, 8), part(colour, 0));
  cairo_show_text(context->cairo, words.c_str());
}

Pen::Placed::Placed(Pen& placed, Point origin, double scale, double angle) : pen(placed) {
  cairo_save(pen.context->cairo);
  cairo_translate(pen.context->cairo, origin.x, origin.y);
  cairo_scale(pen.context->cairo, scale, scale);
  cairo_rotate(pen.context->cairo, angle * kDegree);
}

Pen::Placed::~Placed() {
  cairo_restore(pen.context->cairo);
}

std::string Pen::png() const {
  std::string bytes;
  cairo_status_t status = cairo_status(context->cairo);
  if (status == CAIRO_STATUS_SUCCESS) {
    status = cairo_surface_write_to_png_stream(context->surface, append, &bytes);
  }
  if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
  return bytes;
}
