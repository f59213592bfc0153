// The least that a plug-in on this library can be, for comparison with the program: it registers,
// and answers each frame with three frames as large as those that blank a key.
//
// With "turns" or "turns-nodelay" as its registration event it answers each turn of a dial with
// eight titles instead, one each 100 us. Its socket has TCP_NODELAY, as the program's has, except
// with "turns".
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <websocketpp/client.hpp>
#include <websocketpp/config/asio_no_tls_client.hpp>

namespace {

using Client = websocketpp::client<websocketpp::config::asio_client>;
using websocketpp::connection_hdl;

constexpr char kTurns[] = "turns";

void say(Client& client, const connection_hdl& handle, const std::string& text) {
  client.send(handle, text, websocketpp::frame::opcode::text);
}

void answerTurn(Client& client, const connection_hdl& handle) {
  for (int i = 0; i < 8; ++i) {
    // A timer sends each, because the library would join eight at once into one write.
    const auto timer = std::make_shared<asio::steady_timer>(client.get_io_service(),
                                                            i * std::chrono::microseconds(100));
    timer->async_wait([&client, handle, timer](const asio::error_code&) {
      say(client, handle,
          R"({"context":"C0","event":"setTitle","payload":{"target":0,"title":"GEAR"}})");
    });
  }
}

void answerFrame(Client& client, const connection_hdl& handle) {
  for (
      const char* const frame :
      {R"({"context":"C1","event":"setImage","payload":{"image":"","target":0}})",
       R"({"context":"C1","event":"setTitle","payload":{"target":0,"title":""}})",
       R"({"context":"C1","event":"setFeedbackLayout","payload":{"layout":"Velomar-Layout.json"}})"}) {
    say(client, handle, frame);
  }
}

void installHandlers(Client& client, const std::string& mode) {
  client.set_tcp_pre_init_handler([&client, mode](connection_hdl handle) {
    if (mode == kTurns) return;
    client.get_con_from_hdl(handle)->get_socket().set_option(asio::ip::tcp::no_delay(true));
  });
  client.set_open_handler([&client](connection_hdl handle) {
    say(client, handle, R"({"event":"registerPlugin","uuid":"bench"})");
  });
  client.set_message_handler(
      [&client, mode](connection_hdl handle, const Client::message_ptr& message) {
        if (mode.rfind(kTurns, 0) != 0) return answerFrame(client, handle);
        const bool isTurn = message->get_payload().find("dialRotate") != std::string::npos;
        if (isTurn) answerTurn(client, handle);
      });
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 1;
  Client client;
  client.clear_access_channels(websocketpp::log::alevel::all);
  client.clear_error_channels(websocketpp::log::elevel::all);
  client.init_asio();
  installHandlers(client, argc > 6 ? argv[6] : "");
  websocketpp::lib::error_code error;
  const auto connection = client.get_connection(std::string("ws://127.0.0.1:") + argv[2], error);
  if (error) return 1;
  client.connect(connection);
  client.run();
  return 0;
}
