#include "tools/deck/Profile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tools/deck/PageServer.h"

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kTokenLength = 32;
constexpr auto kOwnerOnly = fs::perms::owner_read | fs::perms::owner_write;

fs::path beside(fs::path path, const char* ending) {
  return path += ending;
}

std::string readFile(const fs::path& path) {
  std::error_code error;
  const auto status = fs::status(path, error);
  if (!fs::exists(status)) return {};
  std::ifstream stream(path, std::ios::binary);
  // Anything but a regular file is refused: a folder can be opened and not read, and a pipe would
  // wait for a writer.
  if (!fs::is_regular_file(status) || !stream) {
    throw std::runtime_error("can't read " + path.string());
  }
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

// Writes a new file and renames it. Returns the system's reason for a failure, empty on success.
std::string replaceFile(const fs::path& path, const std::string& text, bool isPrivate) {
  const fs::path fresh = beside(path, ".new");
  std::error_code error;
  {
    errno = 0;
    std::ofstream stream(fresh, std::ios::binary | std::ios::trunc);
    if (stream && isPrivate) fs::permissions(fresh, kOwnerOnly, error);
    if (!stream.write(text.data(), static_cast<std::streamsize>(text.size())).flush() || error) {
      return error ? error.message() : std::strerror(errno);
    }
  }
  fs::rename(fresh, path, error);
  return error ? error.message() : "";
}

}  // namespace

std::string Profile::read() const {
  return path.empty() ? "" : readFile(path);
}

std::string Profile::save(const std::function<std::string()>& content) {
  if (path.empty()) return {};
  const std::lock_guard<std::mutex> lock(mutex);
  const std::string fault = replaceFile(path, content(), false);
  return fault.empty() ? "" : "can't keep this in " + path.string() + ": " + fault;
}

std::string Profile::token() const {
  if (path.empty()) return PageServer::makeToken();
  const fs::path file = beside(path, ".token");
  std::string token = readFile(file);
  if (token.size() == kTokenLength) return token;
  token = PageServer::makeToken();
  const std::string fault = replaceFile(file, token, true);
  if (!fault.empty()) throw std::runtime_error("can't write " + file.string() + ": " + fault);
  return token;
}
