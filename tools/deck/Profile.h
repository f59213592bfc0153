// The file that keeps the arrangement of the deck, and beside it the token that opens the deck to
// others, so that an address kept on a tablet stays good. Any thread may save.
#pragma once

#include <filesystem>
#include <functional>
#include <mutex>
#include <string>

class Profile {
 public:
  // If the path is empty, nothing is kept.
  explicit Profile(std::filesystem::path file) : path(std::move(file)) {}

  // The file's content, empty if there is none yet. Throws std::runtime_error if it can't be read.
  std::string read() const;

  // Replaces the content by what `content` returns, as a whole or not at all. Returns an error
  // text, empty on success.
  std::string save(const std::function<std::string()>& content);

  // The token that is kept for this profile; a first one is made if there is none. Only its owner
  // can read the file. Throws std::runtime_error if it can't be kept.
  std::string token() const;

 private:
  const std::filesystem::path path;
  std::mutex mutex;  // held while `content` runs too, so that the newest content is saved last
};
