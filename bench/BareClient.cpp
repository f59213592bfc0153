// The least that a plug-in on this library can be: it registers, and answers each frame with three
// of the size of those that blank a key. What the program is measured beside.
#include <cstdlib>
#include <string>
#include <websocketpp/client.hpp>
#include <websocketpp/config/asio_no_tls_client.hpp>

int main(int argc, char** argv) {
  using Client = websocketpp::client<websocketpp::config::asio_client>;
  using websocketpp::connection_hdl;
  if (argc < 3) return 1;
  Client client;
  client.clear_access_channels(websocketpp::log::alevel::all);
  client.clear_error_channels(websocketpp::log::elevel::all);
  client.init_asio();
  const auto say = [&](const connection_hdl& handle, const std::string& text) {
    client.send(handle, text, websocketpp::frame::opcode::text);
  };
  client.set_open_handler(
      [&](connection_hdl handle) { say(handle, R"({"event":"registerPlugin","uuid":"bench"})"); });
  client.set_message_handler([&](connection_hdl handle, const Client::message_ptr&) {
    say(handle, R"({"context":"C1","event":"setImage","payload":{"image":"","target":0}})");
    say(handle, R"({"context":"C1","event":"setTitle","payload":{"target":0,"title":""}})");
    say(handle,
        R"({"context":"C1","event":"setFeedbackLayout","payload":{"layout":"Velomar-Layout.json"}})");
  });
  websocketpp::lib::error_code error;
  const auto connection = client.get_connection(std::string("ws://127.0.0.1:") + argv[2], error);
  if (error) return 1;
  client.connect(connection);
  client.run();
  return 0;
}
