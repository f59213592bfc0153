#include "bridge/Symbols.h"

#include <fmt/format.h>
#include <librsvg/rsvg.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

namespace bridge {

namespace {

constexpr char kInk[] = "#dbe4ec";
constexpr char kFaint[] = "#677585";
constexpr std::size_t kMostDrawn = 400;
constexpr std::uintmax_t kLargest = 16 << 20;  // bytes

struct Release {
  void operator()(void* object) const { g_object_unref(object); }
};

std::string styleSheet(const Symbols::Style& style, int frame) {
  const std::string tone = fmt::format("#{:06x}", style.tone);
  const char* glow = style.isLit ? kInk : kFaint;
  return fmt::format(
      ".tone{{fill:{0}}}.tone-line{{stroke:{0}}}.ink{{fill:{1}}}.ink-line{{stroke:{1}}}"
      ".glow{{fill:{2}}}.glow-line{{stroke:{2}}}.lit{{display:{3}}}.unlit{{display:{4}}}"
      ".fault{{display:{5}}}.frame{{display:none}}.f{6}{{display:inline}}",
      tone, kInk, glow, style.isLit ? "inline" : "none", style.isLit ? "none" : "inline",
      style.isFault ? "inline" : "none", frame);
}

bool isPng(const std::string& content) {
  return content.compare(0, 4, "\x89PNG") == 0;
}

struct Reading {
  const std::string& bytes;
  std::size_t at = 0;
};

cairo_status_t readMore(void* reading, unsigned char* data, unsigned int length) {
  auto* from = static_cast<Reading*>(reading);
  if (from->bytes.size() - from->at < length) return CAIRO_STATUS_READ_ERROR;
  std::copy_n(from->bytes.begin() + static_cast<std::ptrdiff_t>(from->at), length, data);
  from->at += length;
  return CAIRO_STATUS_SUCCESS;
}

// Draws it as big as fits, in the middle.
bool drawPng(cairo_t* cairo, const std::string& content, int width, int height) {
  Reading reading{content};
  cairo_surface_t* image = cairo_image_surface_create_from_png_stream(readMore, &reading);
  const double imageWidth = cairo_image_surface_get_width(image);
  const double imageHeight = cairo_image_surface_get_height(image);
  if (imageWidth > 0 && imageHeight > 0) {
    const double scale = std::min(width / imageWidth, height / imageHeight);
    cairo_translate(cairo, (width - imageWidth * scale) / 2, (height - imageHeight * scale) / 2);
    cairo_scale(cairo, scale, scale);
    cairo_set_source_surface(cairo, image, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cairo), CAIRO_FILTER_BEST);
    cairo_paint(cairo);
  }
  const bool isRead = cairo_surface_status(image) == CAIRO_STATUS_SUCCESS;
  cairo_surface_destroy(image);
  return isRead;
}

bool drawSvg(cairo_t* cairo, const std::string& content, const std::string& style, int width,
             int height) {
  GError* error = nullptr;
  const std::unique_ptr<RsvgHandle, Release> handle(rsvg_handle_new_from_data(
      reinterpret_cast<const guint8*>(content.data()), content.size(), &error));
  if (handle != nullptr && !style.empty()) {
    (void)rsvg_handle_set_stylesheet(handle.get(), reinterpret_cast<const guint8*>(style.data()),
                                     style.size(), nullptr);
  }
  const RsvgRectangle all{0, 0, static_cast<double>(width), static_cast<double>(height)};
  const bool isDrawn =
      handle != nullptr && rsvg_handle_render_document(handle.get(), cairo, &all, &error) != FALSE;
  g_clear_error(&error);
  return isDrawn;
}

// Empty if it can't be read.
std::string readFile(const std::string& file) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error)) return "";
  if (std::filesystem::file_size(file, error) > kLargest || error) return "";
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream bytes;
  bytes << stream.rdbuf();
  return bytes.str();
}

// False: the content is no picture.
bool drawOn(cairo_surface_t* surface, const std::string& content, const std::string& style) {
  const int width = cairo_image_surface_get_width(surface);
  const int height = cairo_image_surface_get_height(surface);
  cairo_t* cairo = cairo_create(surface);
  const bool isDrawn = isPng(content) ? drawPng(cairo, content, width, height)
                                      : drawSvg(cairo, content, style, width, height);
  const bool isRight = cairo_status(cairo) == CAIRO_STATUS_SUCCESS;
  cairo_destroy(cairo);
  return isDrawn && isRight;
}

}  // namespace

Symbols::Symbols(std::filesystem::path shipped) : folder(std::move(shipped)) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.path().extension() == ".svg") known.push_back(entry.path().stem().string());
  }
  std::sort(known.begin(), known.end());
}

Symbols::~Symbols() = default;

cairo_surface_t* Symbols::symbol(const Style& style, int pixels) {
  const bool isFile = style.name.find('.') != std::string::npos;
  const std::string file = isFile ? style.name : (folder / (style.name + ".svg")).string();
  const int last = frameCount(file) - 1;
  const auto frame = static_cast<int>(std::lround(std::clamp(style.moved, 0.0, 1.0) * last));
  return draw(file, styleSheet(style, frame), pixels, pixels);
}

cairo_surface_t* Symbols::picture(const std::string& file, int width, int height) {
  return draw(file, "", width, height);
}

bool Symbols::canDraw(const std::filesystem::path& file) {
  const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1));
  return drawOn(surface.get(), readFile(file.string()), "");
}

void Symbols::forget() {
  contents.clear();
  drawn.clear();
}

cairo_surface_t* Symbols::draw(const std::string& file, const std::string& style, int width,
                               int height) {
  const Key key{file, style, width, height};
  const auto found = drawn.find(key);
  if (found != drawn.end()) return found->second.get();
  if (drawn.size() >= kMostDrawn) drawn.clear();
  Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
  const bool isDrawn = drawOn(surface.get(), contentOf(file), style);
  return (drawn[key] = isDrawn ? std::move(surface) : nullptr).get();
}

// The number of a symbol's pictures, at least 1.
int Symbols::frameCount(const std::string& file) {
  const std::string& content = contentOf(file);
  int count = 0;
  while (content.find("\"frame f" + std::to_string(count) + "\"") != std::string::npos) ++count;
  return std::max(count, 1);
}

const std::string& Symbols::contentOf(const std::string& file) {
  const auto [entry, isNew] = contents.try_emplace(file);
  if (isNew) entry->second = readFile(file);
  return entry->second;
}

}  // namespace bridge
