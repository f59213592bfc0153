#include "tools/state/Processes.h"

#include <pwd.h>

#include <algorithm>
#include <filesystem>

namespace {

constexpr char kFilePrefix[] = "simdb_";

bool isPanels(const std::string& store) {
  return store == kToSimulator || store == kToPanel;
}

}  // namespace

bool Process::isPanel() const {
  const std::string name = std::filesystem::path(program).filename().string();
  return name == "velomar" || name == "velomar-macos";
}

bool Process::has(const std::string& store) const {
  const auto found = holds.find(store);
  return found != holds.end() && found->second == Hold::ThisFile;
}

bool Process::isOfLink() const {
  return std::any_of(holds.begin(), holds.end(),
                     [](const auto& hold) { return isPanels(hold.first); });
}

bool Process::isElsewhere() const {
  return std::any_of(holds.begin(), holds.end(), [](const auto& hold) {
    return isPanels(hold.first) && hold.second == Hold::OtherFile;
  });
}

// On macOS /var is a link to /private/var, and a path of a mapping comes with all links resolved.
std::string storeOfPath(const std::string& path) {
  const std::filesystem::path file(path);
  const std::string folder = file.parent_path().string();
  const std::string name = file.filename().string();
  const bool isStore =
      (folder == "/var/tmp" || folder == "/private/var/tmp") && name.rfind(kFilePrefix, 0) == 0;
  return isStore ? name.substr(sizeof kFilePrefix - 1) : "";
}

std::string nameOfUser(uid_t user) {
  const passwd* entry = getpwuid(user);
  return entry != nullptr ? entry->pw_name : std::to_string(user);
}
