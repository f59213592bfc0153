#include "bridge/PanelLibrary.h"

#include <algorithm>
#include <cctype>
#include <system_error>

namespace bridge {

namespace {

namespace fs = std::filesystem;

bool isSame(const std::string& one, const std::string& other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  });
}

bool isFor(const Panel& panel, const std::string& aircraft) {
  return std::any_of(panel.aircraft.begin(), panel.aircraft.end(),
                     [&aircraft](const std::string& name) { return isSame(name, aircraft); });
}

bool isPanelFile(const fs::path& file) {
  return file.extension() == ".yaml" || file.extension() == ".yml";
}

}  // namespace

PanelLibrary::PanelLibrary(std::vector<Path> searched, std::vector<std::string> symbolNames)
    : folders(std::move(searched)), symbols(std::move(symbolNames)) {}

PanelLibrary::PanelLibrary(const Path& file, std::vector<std::string> symbolNames)
    : single(file), symbols(std::move(symbolNames)) {}

bool PanelLibrary::refresh() {
  found.clear();
  order = list();
  bool hasChanged = false;
  for (const Path& file : order) hasChanged = read(file) || hasChanged;
  for (auto it = known.begin(); it != known.end();) {
    const bool isThere = std::find(order.begin(), order.end(), it->first) != order.end();
    hasChanged = hasChanged || !isThere;
    it = isThere ? std::next(it) : known.erase(it);
  }
  return hasChanged;
}

std::shared_ptr<const Panel> PanelLibrary::choose(const std::vector<std::string>& aircraft) const {
  std::shared_ptr<const Panel> forAny;
  for (const std::string& name : aircraft) {
    for (const Path& file : order) {
      const auto& panel = known.at(file).panel;
      if (panel != nullptr && (!single.empty() || isFor(*panel, name))) return panel;
      if (panel != nullptr && panel->isForAny && forAny == nullptr) forAny = panel;
    }
  }
  return forAny;
}

PanelLibrary::Path PanelLibrary::fileOf(const Panel* panel) const {
  if (panel == nullptr) return {};
  for (const auto& [file, entry] : known) {
    if (entry.panel.get() == panel) return file;
  }
  return {};
}

std::vector<PanelLibrary::Path> PanelLibrary::list() const {
  if (!single.empty()) return {single};
  std::vector<Path> files;
  for (const Path& folder : folders) {
    std::vector<Path> here;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
      if (isPanelFile(entry.path())) here.push_back(entry.path());
    }
    std::sort(here.begin(), here.end());
    files.insert(files.end(), here.begin(), here.end());
  }
  return files;
}

PanelLibrary::Stamp PanelLibrary::stampOf(const Path& file) {
  std::error_code error;
  const auto changed = fs::last_write_time(file, error);
  return {changed, fs::file_size(file, error)};
}

// A file that is being replaced may be absent or empty for a moment, so its panel stays then too.
bool PanelLibrary::read(const Path& file) {
  const auto [entry, isNew] = known.try_emplace(file);
  Known& kept = entry->second;
  std::error_code error;
  const bool isUnchanged = std::all_of(kept.files.begin(), kept.files.end(), [](const auto& each) {
    return stampOf(each.first) == each.second;
  });
  if (!isNew && (isUnchanged || !fs::is_regular_file(file, error))) return false;
  kept.files = {{file, stampOf(file)}};
  const PanelFile panelFile(file, symbols);
  if (panelFile.isRight()) kept.panel = std::make_shared<const Panel>(panelFile.panel());
  for (const std::string& picture : panelFile.panel().files) kept.files[picture] = stampOf(picture);
  found.insert(found.end(), panelFile.problems().begin(), panelFile.problems().end());
  return true;
}

}  // namespace bridge
