#include "tests/bridge/standin/StandInServer.h"

#include <fcntl.h>

#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <future>
#include <map>
#include <thread>
#include <utility>
#include <websocketpp/config/asio_no_tls.hpp>
#include <websocketpp/server.hpp>

namespace {

using Endpoint = websocketpp::server<websocketpp::config::asio>;
using websocketpp::connection_hdl;

}  // namespace

struct StandInServer::Server {
  Server(Handlers given, int wantedPort, std::chrono::milliseconds step)
      : handlers(std::move(given)), pause(step) {
    endpoint.clear_access_channels(websocketpp::log::alevel::all);
    endpoint.clear_error_channels(websocketpp::log::elevel::all);
    endpoint.init_asio();
    endpoint.set_reuse_addr(true);
    // A program that is started later must not keep the port.
    endpoint.set_tcp_pre_bind_handler([](const auto& acceptor) {
      (void)fcntl(acceptor->native_handle(), F_SETFD, FD_CLOEXEC);
      return websocketpp::lib::error_code();
    });
    // FlightGear answers no ping.
    endpoint.set_ping_handler([](connection_hdl, const std::string&) { return false; });
    endpoint.set_validate_handler([this](connection_hdl handle) {
      return handlers.mayOpen(endpoint.get_con_from_hdl(handle)->get_resource());
    });
    endpoint.set_http_handler([this](connection_hdl handle) { answer(handle); });
    endpoint.set_open_handler([this](connection_hdl handle) {
      connections[++last] = handle;
      handlers.opened(last);
    });
    endpoint.set_close_handler([this](connection_hdl handle) {
      const Connection closed = find(handle);
      connections.erase(closed);
      handlers.closed(closed);
    });
    endpoint.set_message_handler([this](connection_hdl handle, Endpoint::message_ptr message) {
      handlers.text(find(handle), message->get_payload());
    });
    endpoint.listen(asio::ip::tcp::endpoint(asio::ip::address_v4::loopback(),
                                            static_cast<unsigned short>(wantedPort)));
    endpoint.start_accept();
    websocketpp::lib::error_code error;
    port = endpoint.get_local_endpoint(error).port();
    timer = std::make_unique<asio::steady_timer>(endpoint.get_io_service());
    drawFrames();
  }

  void run() {
    thread = std::thread([this] { endpoint.run(); });
  }

  void stop() {
    if (!thread.joinable()) return;
    hung.set_value();
    endpoint.stop();
    thread.join();
  }

  ~Server() { stop(); }

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  void drawFrames() {
    timer->expires_after(pause);
    timer->async_wait([this](const asio::error_code& error) {
      if (error) return;
      handlers.frame();
      drawFrames();
    });
  }

  void answer(connection_hdl handle) {
    const auto connection = endpoint.get_con_from_hdl(handle);
    const auto& request = connection->get_request();
    const Answer made =
        handlers.request(request.get_method(), connection->get_resource(), request.get_body());
    connection->replace_header("Content-Type", "application/json");
    connection->set_status(static_cast<websocketpp::http::status_code::value>(made.status));
    connection->set_body(made.body);
  }

  Connection find(const connection_hdl& handle) const {
    for (const auto& [id, other] : connections) {
      if (!other.owner_before(handle) && !handle.owner_before(other)) return id;
    }
    return 0;
  }

  Handlers handlers;
  const std::chrono::milliseconds pause;
  Endpoint endpoint;
  std::unique_ptr<asio::steady_timer> timer;
  int port = 0;
  std::map<Connection, connection_hdl> connections;  // serving thread only
  Connection last = 0;                               // serving thread only
  std::promise<void> hung;                           // set at the end, for a thread that hangs
  std::thread thread;
};

StandInServer::StandInServer(Handlers handlers, int port, std::chrono::milliseconds frame)
    : server(std::make_unique<Server>(std::move(handlers), port, frame)) {}

StandInServer::~StandInServer() = default;

void StandInServer::start() {
  server->run();
}

void StandInServer::stop() {
  server->stop();
}

int StandInServer::port() const {
  return server->port;
}

void StandInServer::send(Connection to, const std::string& text) {
  const auto found = server->connections.find(to);
  if (found == server->connections.end()) return;
  websocketpp::lib::error_code error;
  server->endpoint.send(found->second, text, websocketpp::frame::opcode::text, error);
}

void StandInServer::hang() {
  asio::post(server->endpoint.get_io_service(), [this] { server->hung.get_future().wait(); });
}
