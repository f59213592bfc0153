#include "bridge/simulators/WebSocketClient.h"

#include <asio/post.hpp>
#include <utility>
#include <websocketpp/client.hpp>
#include <websocketpp/config/asio_no_tls_client.hpp>

namespace bridge {

namespace {

using Client = websocketpp::client<websocketpp::config::asio_client>;

}  // namespace

// One connection and the library's client that it belongs to, whose address is in every pending
// operation of the connection. The connection's handlers share the session, so that it lives until
// the last operation has ended, which may be after the owner's end.
struct WebSocketClient::Session : std::enable_shared_from_this<Session> {
  explicit Session(const Handlers& given) : handlers(given) {}

  void open(asio::io_context& loop, const Endpoint& endpoint, const std::string& path) {
    client.clear_access_channels(websocketpp::log::alevel::all);
    client.clear_error_channels(websocketpp::log::elevel::all);
    client.init_asio(&loop);
    websocketpp::lib::error_code error;
    const auto made = client.get_connection(
        std::make_shared<websocketpp::uri>(false, endpoint.host, endpoint.port, path), error);
    if (error) {
      asio::post(loop, [self = shared_from_this(), error] { self->end(error.message()); });
      return;
    }
    connection = made;
    setHandlers(*made);
    client.connect(made);
  }

  void setHandlers(Client::connection_type& made) {
    const auto self = shared_from_this();
    made.set_open_handler([self](websocketpp::connection_hdl) { self->onOpen(); });
    made.set_message_handler(
        [self](websocketpp::connection_hdl, const Client::message_ptr& message) {
          if (self->isWanted && message->get_opcode() == websocketpp::frame::opcode::text) {
            self->handlers.received(message->get_payload());
          }
        });
    made.set_fail_handler([self](websocketpp::connection_hdl) { self->onEnd(); });
    made.set_close_handler([self](websocketpp::connection_hdl) { self->onEnd(); });
  }

  void onOpen() {
    const auto open = connection.lock();
    if (!isWanted) return terminate();
    asio::error_code ignored;
    open->get_raw_socket().set_option(asio::ip::tcp::no_delay(true), ignored);
    isOpen = true;
    handlers.opened();
  }

  void onEnd() {
    const auto ended = connection.lock();
    const auto cause = ended->get_transport_ec() ? ended->get_transport_ec() : ended->get_ec();
    const auto& said = ended->get_remote_close_reason();
    end(said.empty() ? cause.message() : said);
  }

  void end(const std::string& reason) {
    isOpen = false;
    if (std::exchange(isWanted, false)) handlers.closed(reason);
  }

  // An attempt that is still under way ends by its own deadline, or when it has succeeded.
  void drop() {
    isWanted = false;
    if (std::exchange(isOpen, false)) terminate();
  }

  void terminate() const {
    if (const auto open = connection.lock()) {
      open->terminate(websocketpp::lib::error_code());
    }
  }

  Client client;
  Handlers handlers;
  std::weak_ptr<Client::connection_type> connection;
  bool isWanted = true;
  bool isOpen = false;
};

WebSocketClient::WebSocketClient(asio::io_context& owner, Handlers given)
    : context(owner), handlers(std::move(given)) {}

WebSocketClient::~WebSocketClient() {
  drop();
}

void WebSocketClient::open(const Endpoint& endpoint, const std::string& path) {
  drop();
  session = std::make_shared<Session>(handlers);
  session->open(context, endpoint, path);
}

void WebSocketClient::send(const std::string& text) {
  if (!session || !session->isOpen) return;
  // A connection that can't take it is about to end, which its handler tells.
  if (const auto open = session->connection.lock()) {
    (void)open->send(text, websocketpp::frame::opcode::text);
  }
}

void WebSocketClient::drop() {
  if (session) session->drop();
  session.reset();
}

}  // namespace bridge
