// Frames of the Stream Deck application, one on each line. Whatever comes, nothing is raised.
#include "fuzz/Panel.h"

namespace {

using Frame = websocketpp::config::asio_client::message_type;

void deliver(ESDConnectionManager& connection, Frame::ptr frame);

// The operation is private, the WebSocket library's to call. An explicit instantiation may name it
// all the same.
template <auto operation>
struct Opened {
  friend void deliver(ESDConnectionManager& connection, Frame::ptr frame) {
    (connection.*operation)({}, std::move(frame));
  }
};
template struct Opened<&ESDConnectionManager::OnMessage>;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Panel& panel = Panel::get();
  panel.begin();
  ESDConnectionManager connection(1, "U", "R", "{}", Velomar::pInstance);
  for (const std::string& line : Panel::lines(data, size)) {
    auto frame = std::make_shared<Frame>(nullptr, websocketpp::frame::opcode::text, line.size());
    frame->set_payload(line);
    deliver(connection, std::move(frame));
  }
  panel.end();
  return 0;
}
