#include "bridge/PanelLibrary.h"

#include <algorithm>
#include <set>
#include <system_error>

#include "bridge/Text.h"

namespace bridge {

namespace {

namespace fs = std::filesystem;

bool isFor(const Panel& panel, const std::string& aircraft) {
  return std::any_of(panel.aircraft.begin(), panel.aircraft.end(),
                     [&aircraft](const std::string& name) { return Text::isSame(name, aircraft); });
}

// Editors and systems keep hidden files of their own beside a panel's, with its extension.
bool isPanelFile(const fs::path& file) {
  if (file.filename().string().front() == '.') return false;
  return file.extension() == ".yaml" || file.extension() == ".yml";
}

}  // namespace

PanelLibrary::PanelLibrary(std::vector<Path> searched, std::vector<std::string> symbolNames)
    : folders(std::move(searched)), symbols(std::move(symbolNames)) {}

PanelLibrary::PanelLibrary(const Path& file, std::vector<std::string> symbolNames)
    : single(file), symbols(std::move(symbolNames)) {}

bool PanelLibrary::refresh() {
  found.clear();
  order.clear();
  if (!single.empty()) order.push_back({single});
  for (const Path& folder : folders) order.push_back(listOf(folder));
  bool hasChanged = false;
  std::set<Path> present;
  for (const Files& files : order) {
    for (const Path& file : files) hasChanged = read(file) || hasChanged;
    present.insert(files.begin(), files.end());
  }
  for (auto it = known.begin(); it != known.end();) {
    const bool isThere = present.count(it->first) != 0;
    hasChanged = hasChanged || !isThere;
    it = isThere ? std::next(it) : known.erase(it);
  }
  return hasChanged;
}

std::shared_ptr<const Panel> PanelLibrary::choose(const std::vector<std::string>& aircraft) const {
  if (aircraft.empty()) return nullptr;
  for (const Files& files : order) {
    if (auto panel = chooseFrom(files, aircraft)) return panel;
  }
  for (const Files& files : order) {
    for (const Path& file : files) {
      const auto& panel = known.at(file).panel;
      if (panel != nullptr && panel->isForAny) return panel;
    }
  }
  return nullptr;
}

std::shared_ptr<const Panel> PanelLibrary::chooseFrom(
    const Files& files, const std::vector<std::string>& aircraft) const {
  for (const std::string& name : aircraft) {
    for (const Path& file : files) {
      const auto& panel = known.at(file).panel;
      if (panel != nullptr && (!single.empty() || isFor(*panel, name))) return panel;
    }
  }
  return nullptr;
}

PanelLibrary::Path PanelLibrary::fileOf(const Panel* panel) const {
  if (panel == nullptr) return {};
  for (const auto& [file, entry] : known) {
    if (entry.panel.get() == panel) return file;
  }
  return {};
}

PanelLibrary::Files PanelLibrary::listOf(const Path& folder) {
  Files files;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    if (isPanelFile(entry.path())) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
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
