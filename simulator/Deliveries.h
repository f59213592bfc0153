// Images and layouts that the panel's end keeps: sent whole once, and only named from then on.
//
// An object knows what was sent since the panel's end last forgot everything. For that it has to
// see each message from there:
//
//   for (const nlohmann::json& message : MessageGroup::split(text)) deliveries.heed(message, now);
//   link.send(deliveries.image("C1", 7, base64, now).dump());
//
// Times count from any start that isn't later. One thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

class Deliveries {
 public:
  using Time = std::chrono::milliseconds;

  // Forgets what the panel's end has forgotten: everything at "Force Refresh". What was sent to a
  // context is dropped, without a word, if the context has gone meanwhile, so "Hide Context" puts
  // what went there within the last two seconds in doubt, and it counts as not sent. A key or dial
  // that was given its name only has to be sent it again then: see hasImage and hasLayout.
  void heed(const nlohmann::json& message, Time now);

  // The message that shows an image, a PNG file in Base64, on a key or dial. A number stands for
  // one image: other bytes under the same number aren't sent.
  nlohmann::json image(const std::string& context, std::uint32_t id, const std::string& base64,
                       Time now);

  // The message that selects a layout, a JSON text in Base64, for a dial. The empty name is the
  // default layout's, which has no text.
  nlohmann::json layout(const std::string& context, const std::string& name,
                        const std::string& base64, Time now);

  bool hasImage(std::uint32_t id) const { return images.count(id) != 0; }
  bool hasLayout(const std::string& name) const { return name.empty() || layouts.count(name) != 0; }

  // Nothing of it was sent: to be called if the store didn't take a message.
  void forget();

 private:
  struct Delivery {
    std::string context;
    Time at;
  };

  std::map<std::uint32_t, Delivery> images;
  std::map<std::string, Delivery> layouts;
};
