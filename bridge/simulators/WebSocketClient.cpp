#include "bridge/simulators/WebSocketClient.h"

#include <asio/post.hpp>
#include <utility>
#include <websocketpp/client.hpp>
#include <websocketpp/config/asio_no_tls_client.hpp>

namespace bridge {

namespace {

using Client = websocketpp::client<websocketpp::config::asio_client>;

}  // namespace

// One connection and the library's client that it belongs to. Every pending operation of the
// connection holds the client's address, so the connection's handlers share the session: it lives
// until the last operation has ended, which may be after its owner has gone.
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

  // An attempt that is still under way is left alone: it ends by its own deadline, or on success.
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
  // An error is ignored: a connection that can't send is about to end, and its handler says so.
  if (const auto open = session->connection.lock()) {
    (void)open->send(text, websocketpp::frame::opcode::text);
  }
}

void WebSocketClient::drop() {
  if (session) session->drop();
  session.reset();
}

}  // namespace bridge
