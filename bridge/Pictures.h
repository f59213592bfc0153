// Paints faces in the form that the link carries, and keeps the ones that were used last. One
// thread.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "bridge/FacePainter.h"

namespace bridge {

class Pictures {
 public:
  struct Picture {
    std::uint32_t id = 0;
    std::string base64;  // a PNG file
  };

  // The painter outlives the object.
  explicit Pictures(const FacePainter& used) : painter(used) {}

  // The face's picture, valid until the next call. Its number is made from the bytes, so that a
  // picture has the same number in every run: the panel keeps pictures in files of that number, and
  // a host may show such a file from a cache of its own. No two kept pictures share a number.
  // Throws std::runtime_error if the face can't be painted.
  const Picture& of(const Face& face);

  // Drops all pictures, so that each is painted again when it is next wanted.
  void forget();

 private:
  struct Entry {
    Picture picture;
    std::list<Face>::iterator age;
  };

  std::uint32_t numberFor(const std::string& base64);

  const FacePainter& painter;
  std::map<Face, Entry> painted;
  std::list<Face> byAge;                         // of last use, the oldest first
  std::map<std::uint32_t, std::size_t> numbers;  // each with a hash of its picture's bytes
};

}  // namespace bridge
