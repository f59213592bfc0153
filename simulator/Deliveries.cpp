#include "simulator/Deliveries.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "common/LinkProtocol.h"

using nlohmann::json;

namespace velomar {
namespace {

// A context may have been gone for this long before its "Hide Context" is taken.
constexpr Deliveries::Time kDoubt{2000};

template <typename Map>
void doubt(Map& sent, const json& context, Deliveries::Time now) {
  for (auto it = sent.begin(); it != sent.end();) {
    const bool isInDoubt = context == it->second.context && now - it->second.at < kDoubt;
    it = isInDoubt ? sent.erase(it) : std::next(it);
  }
}

json messageTo(const std::string& context, const char* name) {
  return {{"Message", name}, {"Context", context}};
}

}  // namespace

void Deliveries::heed(const json& message, Time now) {
  const json name = message.value("Message", json());
  if (name == protocol::from_panel::kForceRefresh) forget();
  const json context = message.value("Context", json());
  if (!context.is_string()) return;
  // A context that is added again has been blanked.
  if (name == protocol::from_panel::kAddContext) changed(context);
  if (name != protocol::from_panel::kHideContext) return;
  doubt(images, context, now);
  doubt(layouts, context, now);
  const auto movie = movies.find(context.get_ref<const std::string&>());
  if (movie != movies.end()) endMovie(movie);
}

json Deliveries::image(const std::string& context, std::uint32_t id, const std::string& base64,
                       Time now) {
  changed(context);
  json message = messageTo(context, protocol::to_panel::kUpdateImageId);
  message["Image ID"] = id;
  if (images.try_emplace(id, Delivery{context, now}).second) {
    message["Message"] = protocol::to_panel::kUpdateFullImageId;
    message["Base64"] = base64;
  }
  return message;
}

std::optional<json> Deliveries::frame(const std::string& context, const std::string& base64) {
  Movie& movie = movieOf(context);
  auto& frames = movie.frames;
  if (movie.isShown && frames.back().base64 == base64) return std::nullopt;
  movie.isShown = true;
  auto found = std::find_if(frames.begin(), frames.end(),
                            [&](const Frame& frame) { return frame.base64 == base64; });
  const bool isNew = found == frames.end();
  if (isNew) found = frames.begin();
  std::rotate(found, found + 1, frames.end());

  json message = messageTo(context, protocol::to_panel::kUpdateImageId);
  message["Image ID"] = frames.back().id;
  if (isNew) {
    frames.back().base64 = base64;
    message["Message"] = protocol::to_panel::kUpdateFullImageId;
    message["Base64"] = base64;
  }
  return message;
}

void Deliveries::changed(const std::string& context) {
  const auto found = movies.find(context);
  if (found != movies.end()) found->second.isShown = false;
}

json Deliveries::layout(const std::string& context, const std::string& name,
                        const std::string& base64, Time now) {
  json message = messageTo(context, protocol::to_panel::kSetLayout);
  message["UUID"] = name;
  if (!name.empty() && layouts.try_emplace(name, Delivery{context, now}).second) {
    message["Message"] = protocol::to_panel::kSetLayoutCache;
    message["BASE64"] = base64;
  }
  return message;
}

void Deliveries::forget() {
  images.clear();
  layouts.clear();
  while (!movies.empty()) endMovie(movies.begin());
}

// Numbers of movies that have ended are used first, so that there are never more than the movies on
// show at once need.
Deliveries::Movie& Deliveries::movieOf(const std::string& context) {
  const auto [found, isNew] = movies.try_emplace(context);
  if (!isNew) return found->second;
  for (Frame& frame : found->second.frames) {
    if (freeIds.empty()) freeIds.push_back(nextId++);
    frame.id = freeIds.front();
    freeIds.pop_front();
  }
  return found->second;
}

// Gives the movie's numbers back, the one that was shown last at the end, so that it is used again
// last.
void Deliveries::endMovie(Movies::iterator movie) {
  for (const Frame& frame : movie->second.frames) freeIds.push_back(frame.id);
  movies.erase(movie);
}

}  // namespace velomar
