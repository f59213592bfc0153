#include "tools/deck/Bundle.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

#ifdef __APPLE__
constexpr char kPlatform[] = "mac";
constexpr char kCodePath[] = "CodePathMac";
constexpr char kPatch[] = "";
#else
constexpr char kPlatform[] = "linux";
constexpr char kCodePath[] = "CodePathLin";
constexpr char kPatch[] = "manifest.linux.json";
#endif

json readManifest(const fs::path& folder) {
  const auto text = readPluginFile(folder, "manifest.json");
  if (!text) throw std::runtime_error("no manifest.json in " + folder.string());
  json manifest = json::parse(*text);
  if (const auto patch = readPluginFile(folder, kPatch)) manifest.merge_patch(json::parse(*patch));
  const json& systems = manifest.at("OS");
  const bool isForThis = std::any_of(systems.begin(), systems.end(), [](const json& system) {
    return system.at("Platform") == kPlatform;
  });
  if (!isForThis) throw std::runtime_error("the manifest names no program for this system");
  return manifest;
}

fs::path findProgram(const fs::path& folder, const json& manifest) {
  const std::string path = manifest.value(kCodePath, manifest.at("CodePath").get<std::string>());
  fs::path program = folder / path;
  if (leavesFolder(folder, path) || !fs::is_regular_file(program)) {
    throw std::runtime_error("no program at " + program.string());
  }
  fs::permissions(program, fs::perms{0755});
  return program;
}

// Finds the file of an image, which the manifest names without an extension. The file for displays
// of double density is preferred.
std::string findImage(const fs::path& folder, const std::string& path) {
  for (const char* ending : {"@2x.png", ".png", ".svg"}) {
    if (readPluginFile(folder, path + ending)) return path + ending;
  }
  return {};
}

}  // namespace

Bundle openBundle(const fs::path& given) {
  Bundle bundle;
  bundle.folder = fs::canonical(given);
  bundle.name = bundle.folder.filename().string();
  const json manifest = readManifest(bundle.folder);
  bundle.program = findProgram(bundle.folder, manifest);
  bundle.uuid = manifest.at("UUID");
  bundle.version = manifest.at("Version");
  const json& action = manifest.at("Actions").at(0);
  bundle.layout = action.at("Encoder").at("layout");
  bundle.stateImage = findImage(bundle.folder, action.at("States").at(0).at("Image"));
  return bundle;
}

bool leavesFolder(const fs::path& folder, const std::string& path) {
  std::error_code error;
  const fs::path root = fs::canonical(folder, error);
  if (error) return true;
  const fs::path file = fs::weakly_canonical(root / path, error);
  return error ||
         std::mismatch(root.begin(), root.end(), file.begin(), file.end()).first != root.end();
}

std::optional<std::string> readPluginFile(const fs::path& folder, const std::string& path) {
  std::error_code error;
  if (leavesFolder(folder, path) || !fs::is_regular_file(folder / path, error)) return std::nullopt;
  std::ifstream stream(folder / path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}
