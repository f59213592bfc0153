#include "bridge/simulators/XPlaneSocket.h"

#include <utility>

#include "bridge/simulators/Json.h"

using nlohmann::json;

namespace bridge {

namespace {

// The most requests that are kept for a result. A request can't be dropped at its first result,
// because no result says whether it is the last one.
constexpr std::size_t kMostPending = 256;

std::string errorIn(const json& result) {
  if (memberOf(result, "success") != false) return "";
  const std::string code = textMember(result, "error_code");
  const std::string said = textMember(result, "error_message");
  if (said.empty()) return code.empty() ? "refused" : code;
  return code.empty() ? said : said + " (" + code + ")";
}

}  // namespace

XPlaneSocket::XPlaneSocket(asio::io_context& context, Handlers given)
    : handlers(std::move(given)),
      socket(context,
             {[this] { handlers.opened(); }, [this](const std::string& text) { onText(text); },
              [this](const std::string& reason) { handlers.closed(reason); }}) {}

void XPlaneSocket::open(const Endpoint& endpoint, const std::string& path) {
  pending.clear();
  socket.open(endpoint, path);
}

void XPlaneSocket::drop() {
  pending.clear();
  socket.drop();
}

void XPlaneSocket::request(const char* type, json parameters, Result done) {
  pending[++lastRequest] = {std::move(done)};
  if (pending.size() > kMostPending) pending.erase(pending.begin());
  socket.send(textOf({{"req_id", lastRequest}, {"type", type}, {"params", std::move(parameters)}}));
}

void XPlaneSocket::onText(const std::string& text) {
  const json message = json::parse(text, nullptr, false);
  const auto& type = memberOf(message, "type");
  if (type == "result") {
    onResult(message);
  } else if (type == "dataref_update_values") {
    handlers.updated(memberOf(message, "data"));
  }
}

void XPlaneSocket::onResult(const json& message) {
  const auto& number = memberOf(message, "req_id");
  if (!number.is_number_integer()) return;
  const auto found = pending.find(number.get<std::uint64_t>());
  if (found == pending.end()) return;
  const std::string error = errorIn(message);
  const bool isRepeated = std::exchange(found->second.hasSucceeded, error.empty());
  const Result done = found->second.done;
  if (!error.empty()) pending.erase(found);
  if (!isRepeated || !error.empty()) done(error);
}

}  // namespace bridge
