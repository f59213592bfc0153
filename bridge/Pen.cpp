#include "bridge/Pen.h"

#include <cairo.h>
#include <pango/pangocairo.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <stdexcept>

#ifdef __SANITIZE_ADDRESS__
// Names fontconfig to the leak checker, because it keeps its font data until the process ends.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}
#endif

namespace bridge {

namespace {

constexpr double kDegree = 3.14159265358979323846 / 180;
constexpr double kSmallest = 6;  // of text, in units

double part(Pen::Colour colour, int shift) {
  return static_cast<double>((colour >> shift) & 0xFFU) / 255;
}

void setColour(cairo_t* cairo, Pen::Colour colour) {
  cairo_set_source_rgb(cairo, part(colour, 16), part(colour, 8), part(colour, 0));
}

// The PNG file is written here and not by cairo, because cairo tries every filter for each line,
// which takes most of a face's time. One filter will do: faces are shaded from top to bottom, so a
// line differs little from the one above it.
// zlib's usual buffers are so large that the C library gives them back to the system after each
// face. To get them again takes longer than a smaller window costs.
constexpr int kCompression = 2;
constexpr int kWindowBits = 14;
constexpr int kMemoryLevel = 6;

void append(png_struct* png, png_byte* data, std::size_t length) {
  static_cast<std::string*>(png_get_io_ptr(png))->append(reinterpret_cast<char*>(data), length);
}

// libpng reports an error by longjmp, which skips destructors: no local object has one.
bool writePng(cairo_surface_t* surface, std::string& bytes) {
  png_struct* png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_info* info = png == nullptr ? nullptr : png_create_info_struct(png);
  if (info == nullptr || setjmp(png_jmpbuf(png)) != 0) {
    png_destroy_write_struct(&png, &info);
    return false;
  }
  const int width = cairo_image_surface_get_width(surface);
  const int height = cairo_image_surface_get_height(surface);
  png_set_write_fn(png, &bytes, append, nullptr);
  png_set_compression_level(png, kCompression);
  png_set_compression_window_bits(png, kWindowBits);
  png_set_compression_mem_level(png, kMemoryLevel);
  png_set_filter(png, 0, PNG_FILTER_UP);
  png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
               PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  // A pixel is a word of the machine's order, 0x00RRGGBB.
  png_set_bgr(png);
  png_set_filler(png, 0, PNG_FILLER_AFTER);
  unsigned char* pixels = cairo_image_surface_get_data(surface);
  const std::ptrdiff_t stride = cairo_image_surface_get_stride(surface);
  for (int y = 0; y < height; ++y) png_write_row(png, pixels + y * stride);
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return true;
}

// Text of one line or several in the font of all faces.
class Layout {
 public:
  Layout(cairo_t* target, const std::string& words)
      : cairo(target),
        layout(pango_cairo_create_layout(target)),
        font(pango_font_description_from_string("sans-serif Bold")) {
    pango_layout_set_text(layout, words.c_str(), static_cast<int>(words.size()));
  }
  ~Layout() {
    pango_font_description_free(font);
    g_object_unref(layout);
  }
  Layout(const Layout&) = delete;
  Layout& operator=(const Layout&) = delete;

  void setSize(double size) {
    pango_font_description_set_absolute_size(font, size * PANGO_SCALE);
    pango_layout_set_font_description(layout, font);
  }

  void breakAt(double width) {
    pango_layout_set_width(layout, static_cast<int>(width * PANGO_SCALE));
    pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    pango_layout_set_alignment(layout, PANGO_ALIGN_CENTER);
  }

  Pen::Point extent() const {
    PangoRectangle logical;
    pango_layout_get_extents(layout, nullptr, &logical);
    return {static_cast<double>(logical.width) / PANGO_SCALE,
            static_cast<double>(logical.height) / PANGO_SCALE};
  }

  double baseline() const {
    return static_cast<double>(pango_layout_get_baseline(layout)) / PANGO_SCALE;
  }

  void show(double left, double top, Pen::Colour colour) {
    setColour(cairo, colour);
    cairo_move_to(cairo, left, top);
    pango_cairo_show_layout(cairo, layout);
  }

 private:
  cairo_t* cairo;
  PangoLayout* layout;
  PangoFontDescription* font;
};

}  // namespace

// cairo's objects keep their first error and do nothing from then on, so one look at the end is
// enough.
struct Pen::Context {
  Context(int width, int height)
      : surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
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

Pen::Pen(double width, double height, double scale)
    : context(std::make_unique<Context>(static_cast<int>(std::lround(width * scale)),
                                        static_cast<int>(std::lround(height * scale)))),
      pixels(scale) {
  cairo_scale(context->cairo, scale, scale);
  cairo_set_line_cap(context->cairo, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_join(context->cairo, CAIRO_LINE_JOIN_ROUND);
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
  cairo_new_sub_path(context->cairo);
  cairo_arc(context->cairo, centre.x, centre.y, radius, 0, 360 * kDegree);
  cairo_close_path(context->cairo);
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
  setColour(context->cairo, colour);
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
  setColour(context->cairo, colour);
  cairo_set_line_width(context->cairo, width);
  cairo_stroke(context->cairo);
}

// The text is centred by half the height of capitals and digits. If it were centred by its own
// letters, faces side by side would differ in their baselines.
void Pen::text(const std::string& words, Point centre, double size, double width, Colour colour) {
  if (words.empty()) return;
  Layout layout(context->cairo, words);
  layout.setSize(size);
  if (const double natural = layout.extent().x; natural > width) {
    size *= width / natural;
    layout.setSize(size);
  }
  const double left = centre.x - layout.extent().x / 2;
  layout.show(left, centre.y + 0.365 * size - layout.baseline(), colour);
}

void Pen::paragraph(const std::string& words, Point centre, double size, Point extent,
                    Colour colour) {
  if (words.empty()) return;
  Layout layout(context->cairo, words);
  layout.breakAt(extent.x);
  for (; size > kSmallest; size *= 0.9) {
    layout.setSize(size);
    if (layout.extent().y <= extent.y) break;
  }
  layout.show(centre.x - extent.x / 2, centre.y - layout.extent().y / 2, colour);
}

void Pen::symbol(Symbols& symbols, const Symbols::Style& style, Point centre, double radius,
                 double alpha) {
  const auto size = static_cast<int>(std::lround(2 * radius * pixels));
  cairo_surface_t* drawn = symbols.symbol(style, size);
  if (drawn == nullptr) return;
  cairo_save(context->cairo);
  cairo_translate(context->cairo, std::round((centre.x - radius) * pixels) / pixels,
                  std::round((centre.y - radius) * pixels) / pixels);
  cairo_scale(context->cairo, 1 / pixels, 1 / pixels);
  cairo_set_source_surface(context->cairo, drawn, 0, 0);
  cairo_paint_with_alpha(context->cairo, alpha);
  cairo_restore(context->cairo);
}

void Pen::picture(Symbols& symbols, const std::string& file, Point corner, double width,
                  double height, double alpha) {
  cairo_surface_t* drawn = symbols.picture(file, static_cast<int>(std::lround(width * pixels)),
                                           static_cast<int>(std::lround(height * pixels)));
  if (drawn == nullptr) return;
  cairo_save(context->cairo);
  cairo_translate(context->cairo, corner.x, corner.y);
  cairo_scale(context->cairo, 1 / pixels, 1 / pixels);
  cairo_set_source_surface(context->cairo, drawn, 0, 0);
  cairo_paint_with_alpha(context->cairo, alpha);
  cairo_restore(context->cairo);
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
  cairo_surface_flush(context->surface);
  const cairo_status_t status = cairo_status(context->cairo);
  if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
  if (!writePng(context->surface, bytes)) throw std::runtime_error("no PNG file can be written");
  return bytes;
}

}  // namespace bridge
