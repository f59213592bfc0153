// The pictures of the faces, as the panel's end takes them. Each face is painted once. One thread.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tools/cockpit/Face.h"

class Faces {
 public:
  struct Picture {
    std::uint32_t id = 0;
    std::string base64;  // a PNG file
  };

  // The number belongs to the picture: no two pictures share one, and the same picture has the
  // same number in every run. The panel's end keeps pictures in files of that number, and a host
  // may show such a file from a cache of its own. Throws std::runtime_error if the face can't be
  // painted.
  const Picture& picture(const Face& face);

 private:
  const Picture& add(std::string base64);

  std::map<Face, const Picture*> painted;
  std::map<std::uint32_t, Picture> pictures;
};
