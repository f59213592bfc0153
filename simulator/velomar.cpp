#include "simulator/velomar.h"

#include <chrono>
#include <cstdio>
#include <deque>
#include <exception>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "common/LinkProtocol.h"
#include "simulator/Base64.h"
#include "simulator/Deliveries.h"
#include "simulator/MessageGroup.h"
#include "simulator/OneAtATime.h"
#include "simulator/SimulatorLink.h"

using nlohmann::json;
using velomar::Deliveries;
using velomar::MessageGroup;
using velomar::OneAtATime;
using velomar::SimulatorLink;
namespace protocol = velomar::protocol;

namespace {

constexpr int kDone = 1;
constexpr int kNotNow = 0;
constexpr int kMistake = -1;

// These are plain bytes, because a destructor would keep the library loaded as long as a thread
// lives.
thread_local char lastError[256];

void setError(const char* text) {
  std::snprintf(lastError, sizeof lastError, "%s", text);
}

int notNow(const char* why) {
  setError(why);
  return kNotNow;
}

void require(bool holds, const char* otherwise) {
  if (!holds) throw std::invalid_argument(otherwise);
}

std::string given(const char* text, const char* what) {
  if (text == nullptr) throw std::invalid_argument(std::string(what) + " is null");
  return text;
}

std::string pngBytes(const void* png, std::size_t size) {
  require(png != nullptr && size > 0, "the picture is null or empty");
  return velomar::encodeBase64({static_cast<const char*>(png), size});
}

}  // namespace

struct velomar_link {
  explicit velomar_link(SimulatorLink::LateInput late) : link(late) {}

  Deliveries::Time now() const {
    return std::chrono::duration_cast<Deliveries::Time>(SimulatorLink::Clock::now() - start);
  }

  OneAtATime::Flag inUse = ATOMIC_FLAG_INIT;
  SimulatorLink link;
  Deliveries deliveries;
  std::deque<json> messages;  // received, and not asked for yet
  json current;               // the one that was asked for last
  std::string text;           // of it
  std::string member;
  const SimulatorLink::Clock::time_point start = SimulatorLink::Clock::now();
};

namespace {

// Calls `work` with the link while no other thread uses it. An exception becomes the last error's
// text and the result `failed`.
template <typename Result, typename Work>
Result guarded(velomar_link* link, Result failed, Work work) noexcept {
  lastError[0] = '\0';
  try {
    require(link != nullptr, "the link is null");
    const OneAtATime inside(link->inUse);
    return work(*link);
  } catch (const std::exception& e) {
    setError(e.what());
  } catch (...) {
    setError("unknown error");
  }
  return failed;
}

// Nothing is sent while the link is down, because the message would wait in the store for a panel
// that then forgets it.
int sendText(velomar_link& link, const std::string& text) {
  if (!link.link.isUp()) return notNow("the link is down");
  require(text.size() < protocol::kStoreBytes, "the message is longer than the store");
  if (link.link.send(text)) return kDone;
  link.deliveries.forget();  // images and layouts of this message have to go whole again
  return notNow("the store has no room");
}

// Makes the message only when it can be sent, because Deliveries counts a message that it has made
// as sent.
template <typename Make>
int sendMade(velomar_link& link, Make make) {
  if (!link.link.isUp()) return notNow("the link is down");
  try {
    return sendText(link, make().dump());
  } catch (...) {
    link.deliveries.forget();
    throw;
  }
}

// Checks a text first, because the panel gives the link up for a text that is no message.
std::vector<json> partsOf(const std::string& text) {
  const json message = json::parse(text);
  require(message.is_object() && message.value("Message", json()).is_string(),
          "a message is an object whose \"Message\" is a text");
  return MessageGroup::split(text);
}

// A picture that was sent by other means replaces the frame on show.
void noteChanges(const std::vector<json>& parts, Deliveries& deliveries) {
  using namespace protocol::to_panel;
  for (const json& part : parts) {
    const json& name = part.at("Message");
    const json context = part.value("Context", json());
    const bool changes =
        name == kResetContext || name == kUpdateImageId || name == kUpdateFullImageId;
    if (changes && context.is_string()) deliveries.changed(context);
  }
}

}  // namespace

velomar_link* velomar_open(unsigned options) {
  lastError[0] = '\0';
  try {
    require((options & ~unsigned{VELOMAR_LATE_INPUT}) == 0, "unknown options");
    return new velomar_link((options & VELOMAR_LATE_INPUT) != 0 ? SimulatorLink::LateInput::Deliver
                                                                : SimulatorLink::LateInput::Drop);
  } catch (const std::exception& e) {
    setError(e.what());
  } catch (...) {
    setError("unknown error");
  }
  return nullptr;
}

int velomar_close(velomar_link* link) {
  setError("");
  if (link == nullptr) return kDone;
  const int closed = guarded(link, kMistake, [](velomar_link& open) {
    open.link.close();
    return kDone;
  });
  if (closed == kDone) delete link;
  return closed;
}

int velomar_poll(velomar_link* link, const char** message) {
  if (message != nullptr) *message = nullptr;
  return guarded(link, kMistake, [message](velomar_link& open) {
    require(message != nullptr, "the message's place is null");
    for (json& part : MessageGroup::split(open.link.poll())) {
      open.deliveries.heed(part, open.now());
      open.messages.push_back(std::move(part));
    }
    if (open.messages.empty()) return notNow("nothing waits");
    open.current = std::move(open.messages.front());
    open.messages.pop_front();
    open.text = open.current.dump();
    *message = open.text.c_str();
    return kDone;
  });
}

const char* velomar_member(velomar_link* link, const char* name) {
  constexpr const char* kNone = nullptr;
  return guarded(link, kNone, [name](velomar_link& open) -> const char* {
    const auto found = open.current.find(given(name, "the member's name"));
    if (found == open.current.end()) throw std::out_of_range("no such member");
    open.member = found->is_string() ? found->get<std::string>() : found->dump();
    return open.member.c_str();
  });
}

int velomar_is_up(velomar_link* link) {
  return guarded(link, kMistake, [](const velomar_link& open) { return int{open.link.isUp()}; });
}

int velomar_is_anybody_there(velomar_link* link) {
  return guarded(link, kMistake,
                 [](const velomar_link& open) { return int{open.link.isAnybodyThere()}; });
}

int velomar_send(velomar_link* link, const char* message) {
  return guarded(link, kMistake, [message](velomar_link& open) {
    const std::string text = given(message, "the message");
    const auto parts = partsOf(text);
    const int sent = sendText(open, text);
    if (sent == kDone) noteChanges(parts, open.deliveries);
    return sent;
  });
}

int velomar_title(velomar_link* link, const char* context, const char* title) {
  return guarded(link, kMistake, [&](velomar_link& open) {
    const json message{{"Message", protocol::to_panel::kSetTitle},
                       {"Context", given(context, "the context")},
                       {"Title", given(title, "the title")}};
    return sendText(open, message.dump());
  });
}

int velomar_image(velomar_link* link, const char* context, uint32_t id, const void* png,
                  size_t size) {
  return guarded(link, kMistake, [&](velomar_link& open) {
    const std::string where = given(context, "the context");
    const std::string base64 = pngBytes(png, size);
    require(id < Deliveries::kFirstFrameId, "numbers from 4000000000 on belong to moving pictures");
    return sendMade(open, [&] { return open.deliveries.image(where, id, base64, open.now()); });
  });
}

int velomar_frame(velomar_link* link, const char* context, const void* png, size_t size) {
  return guarded(link, kMistake, [&](velomar_link& open) {
    const std::string where = given(context, "the context");
    const std::string base64 = pngBytes(png, size);
    if (!open.link.isUp()) return notNow("the link is down");
    const std::optional<json> message = open.deliveries.frame(where, base64);
    return message ? sendMade(open, [&] { return *message; }) : kDone;
  });
}

int velomar_layout(velomar_link* link, const char* context, const char* name, const char* layout) {
  return guarded(link, kMistake, [&](velomar_link& open) {
    const std::string where = given(context, "the context");
    const std::string which = given(name, "the layout's name");
    const std::string text = which.empty() ? "" : given(layout, "the layout");
    require(which.empty() || json::accept(text), "the layout isn't JSON");
    const std::string base64 = velomar::encodeBase64(text);
    return sendMade(open, [&] { return open.deliveries.layout(where, which, base64, open.now()); });
  });
}

const char* velomar_last_error(void) {
  return lastError;
}

const char* velomar_version(void) {
  return VELOMAR_VERSION;
}
