#include "bridge/FaceSheet.h"

#include <fmt/format.h>

#include <array>
#include <fstream>
#include <stdexcept>

#include "bridge/Look.h"

namespace bridge {

namespace {

constexpr std::array<const char*, Panel::kStateCount + 1> kStates{
    "off", "on", "transit", "fault", "unavailable", "waiting"};
constexpr std::array<int, 3> kSizes{72, 96, 144};

void save(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream stream(file, std::ios::binary);
  stream << bytes;
  stream.close();
  if (!stream) throw std::runtime_error("can't write " + file.string());
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '<')
      result += "&lt;";
    else if (c == '&')
      result += "&amp;";
    else if (c == '"')
      result += "&quot;";
    else
      result += c;
  }
  return result;
}

// A file's name for any key name.
std::string fileName(const std::string& name) {
  std::string result;
  for (const char c : name) result += c == '/' || c == '\0' || c == '.' ? '_' : c;
  return result;
}

// The name as a part of a URL. The characters that would end it, or begin an escape, are escaped.
std::string inUrl(const std::string& name) {
  std::string result;
  for (const char c : name) {
    if (c == '%' || c == '#' || c == '?' || c == '\\')
      result += fmt::format("%{:02X}", static_cast<unsigned>(c));
    else
      result += c;
  }
  return result;
}

// Returns the display with its state forced to be this one.
Panel::Display inState(Panel::Display display, std::size_t state) {
  const Expression always("1", {});
  const Expression never("0", {});
  const auto is = [state](Panel::State wanted) {
    return state == static_cast<std::size_t>(wanted);
  };
  display.on = is(Panel::State::On) ? always : never;
  display.transit = is(Panel::State::Transit) ? always : never;
  display.fault = is(Panel::State::Fault) ? always : never;
  display.available = is(Panel::State::Unavailable) ? never : always;
  return display;
}

}  // namespace

void FaceSheet::write(const std::filesystem::path& folder) {
  out = folder;
  std::filesystem::create_directories(out);
  std::string rows;
  for (const auto& [name, control] : panel.keys) rows += rowOf(name, control, false);
  for (const auto& [name, control] : panel.dials) rows += rowOf(name, control, true);
  std::string head = "<th></th>";
  for (const char* state : kStates) head += fmt::format("<th>{}</th>", state);
  save(out / "index.html",
       fmt::format("<!doctype html><html lang=\"en\"><meta charset=\"utf-8\"><title>{0}</title>"
                   "<style>body{{font:14px sans-serif;background:#15181c;color:#dbe4ec}}"
                   "td{{padding:6px;text-align:center}}pre{{margin:2px;color:#9fb0bf}}</style>"
                   "<h1>{0}</h1><table><tr>{1}</tr>\n{2}</table></html>\n",
                   escaped(panel.name), head, rows));
}

std::string FaceSheet::rowOf(const std::string& name, const Panel::Control& control, bool isDial) {
  std::string cells;
  for (std::size_t state = 0; state < kStates.size(); ++state) {
    cells += cellOf(name, control.display, isDial, state);
  }
  return fmt::format("<tr><th>{}</th>{}</tr>\n", escaped(name), cells);
}

// Every value is 1 here, since no simulator is there to tell any.
std::string FaceSheet::cellOf(const std::string& name, const Panel::Display& display, bool isDial,
                              std::size_t state) {
  Values values;
  values.reset(panel.values.size());
  const bool isKnown = state < Panel::kStateCount;
  const Value one = 1.0;
  for (std::size_t i = 0; isKnown && i < values.size(); ++i) values.set(i, one);
  const Look look = Look::of(inState(display, state), values, {isDial, false, panel.hasTitles},
                             isKnown ? "" : "WAITING");
  const std::string base = fileName(name) + (isDial ? "-dial-" : "-") + kStates[state];
  if (isDial) save(out / (base + ".png"), painter.png(look.face));
  std::string shown = base + ".png";
  for (const int size : kSizes) {
    if (isDial) break;
    shown = fmt::format("{}-{}.png", base, size);
    save(out / shown, painter.png(look.face, size));
  }
  return fmt::format("<td><img src=\"{}\" alt=\"{}\"><pre>{}</pre></td>", escaped(inUrl(shown)),
                     escaped(name + " " + kStates[state]), escaped(look.title));
}

}  // namespace bridge
