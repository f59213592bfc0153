#include "simulator/Deliveries.h"

#include <iterator>

using nlohmann::json;

namespace {

// How long a context may have been gone before its "Hide Context" is taken.
constexpr Deliveries::Time kDoubt{2000};

template <typename Map>
void doubt(Map& sent, const json& context, Deliveries::Time now) {
  for (auto it = sent.begin(); it != sent.end();) {
    const bool isInDoubt = context == it->second.context && now - it->second.at < kDoubt;
    it = isInDoubt ? sent.erase(it) : std::next(it);
  }
}

}  // namespace

void Deliveries::heed(const json& message, Time now) {
  const json name = message.value("Message", json());
  if (name == "Force Refresh") forget();
  if (name != "Hide Context") return;
  const json context = message.value("Context", json());
  doubt(images, context, now);
  doubt(layouts, context, now);
}

json Deliveries::image(const std::string& context, std::uint32_t id, const std::string& base64,
                       Time now) {
  json message{{"Message", "Update Image ID"}, {"Context", context}, {"Image ID", id}};
  if (images.try_emplace(id, Delivery{context, now}).second) {
    message["Message"] = "Update Full Image ID";
    message["Base64"] = base64;
  }
  return message;
}

json Deliveries::layout(const std::string& context, const std::string& name,
                        const std::string& base64, Time now) {
  json message{{"Message", "Set Layout"}, {"Context", context}, {"UUID", name}};
  if (!name.empty() && layouts.try_emplace(name, Delivery{context, now}).second) {
    message["Message"] = "Set Layout Cache";
    message["BASE64"] = base64;
  }
  return message;
}

void Deliveries::forget() {
  images.clear();
  layouts.clear();
}
