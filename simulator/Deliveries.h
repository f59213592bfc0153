// Makes the messages for images and layouts, which are sent whole once and only named after that,
// because the panel keeps them.
//
// An object knows the images and layouts that were sent since the panel last forgot everything. For
// that it has to see each message from there:
//
//   for (const nlohmann::json& message : MessageGroup::split(link.poll())) {
//     deliveries.heed(message, now);
//     ...
//   }
//   link.send(deliveries.image("C1", 7, base64, now));
//   if (const auto frame = deliveries.frame("C2", base64)) link.send(*frame);
//
// Times count from any start that isn't later. One thread.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace velomar {

class Deliveries {
 public:
  using Time = std::chrono::milliseconds;

  // The first number of those that frames of moving pictures use. Give other images smaller ones.
  static constexpr std::uint32_t kFirstFrameId = 4000000000U;

  // The count of numbers that a moving picture uses in turn. The panel writes a file for each. With
  // four a file is written over only after three others, when the host has long read it, and a
  // dial's next frame never has the name of the last one.
  static constexpr std::size_t kFrameIds = 4;

  // Forgets all that the panel has forgotten: everything at "Force Refresh". The panel drops,
  // without a word, an image or layout for a context that has gone. So at "Hide Context" those sent
  // to that context within the last two seconds count as not sent. If another context was given the
  // name of one of these, send it there again: see hasImage and hasLayout.
  void heed(const nlohmann::json& message, Time now);

  // The message that shows an image, a PNG file in Base64, on a key or dial. A number belongs to
  // one image: other bytes with the same number aren't sent.
  nlohmann::json image(const std::string& context, std::uint32_t id, const std::string& base64,
                       Time now);

  // The message that shows the next frame of a moving picture on a key or dial: whole if the bytes
  // are new, by name if they are among the last kFrameIds new ones. nullopt: they are what the
  // context shows already. If you show something there by other means than `image` and `frame`,
  // call `changed`. REQUIRES: bytes.
  //
  // The panel keeps every number's image until the link comes up again. With a new number for each
  // frame it would grow without end.
  std::optional<nlohmann::json> frame(const std::string& context, const std::string& base64);

  // The context doesn't show its last frame any more, as after "Reset Context".
  void changed(const std::string& context);

  // The message that selects a layout, a JSON text in Base64, for a dial. The empty name is the
  // default layout's, which has no text.
  nlohmann::json layout(const std::string& context, const std::string& name,
                        const std::string& base64, Time now);

  bool hasImage(std::uint32_t id) const { return images.count(id) != 0; }
  bool hasLayout(const std::string& name) const { return name.empty() || layouts.count(name) != 0; }

  // Counts everything as not sent. Call it if the store didn't take a message.
  void forget();

 private:
  struct Delivery {
    std::string context;
    Time at;
  };

  struct Frame {
    std::uint32_t id = 0;
    std::string base64;  // last sent with the number; empty: nothing yet
  };

  // The frames of one context, the one that was shown last at the end.
  struct Movie {
    std::array<Frame, kFrameIds> frames;
    bool isShown = false;  // the last one, as far as is known
  };

  using Movies = std::map<std::string, Movie>;  // by context

  Movie& movieOf(const std::string& context);
  void endMovie(Movies::iterator movie);

  std::map<std::uint32_t, Delivery> images;
  std::map<std::string, Delivery> layouts;
  Movies movies;
  std::deque<std::uint32_t> freeIds;     // those of movies that have ended, the oldest first
  std::uint32_t nextId = kFirstFrameId;  // never used yet
};

}  // namespace velomar
