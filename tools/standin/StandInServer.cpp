#include "tools/standin/StandInServer.h"

#include <fcntl.h>

#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <future>
#include <thread>
#include <websocketpp/config/asio_no_tls.hpp>
#include <websocketpp/server.hpp>

namespace {

using Endpoint = websocketpp::server<websocketpp::config::asio>;
using websocketpp::connection_hdl;  // a std::weak_ptr<void>

}  // namespace

struct StandInServer::Server {
  explicit Server(StandInServer& owner) : standIn(owner) {
    endpoint.clear_access_channels(websocketpp::log::alevel::all);
    endpoint.clear_error_channels(websocketpp::log::elevel::all);
    endpoint.init_asio();
    endpoint.set_reuse_addr(true);
    // A program that is started later must not keep the port.
    endpoint.set_tcp_pre_bind_handler([](const auto& acceptor) {
      (void)fcntl(acceptor->native_handle(), F_SETFD, FD_CLOEXEC);
      return websocketpp::lib::error_code();
    });
    setHandlers();
    endpoint.listen(asio::ip::tcp::endpoint(asio::ip::address_v4::loopback(),
                                            static_cast<unsigned short>(standIn.number)));
    endpoint.start_accept();
    websocketpp::lib::error_code error;
    standIn.number = endpoint.get_local_endpoint(error).port();
    timer = std::make_unique<asio::steady_timer>(endpoint.get_io_service());
    drawFrames();
    thread = std::thread([this] { endpoint.run(); });
  }

  // No handler is called after it.
  void end() {
    hung.set_value();
    endpoint.stop();
    thread.join();
  }

  void setHandlers() {
    // FlightGear answers no ping.
    endpoint.set_ping_handler([](connection_hdl, const std::string&) { return false; });
    endpoint.set_validate_handler([this](connection_hdl handle) {
      const Lock lock(standIn.mutex);
      return standIn.mayOpen(endpoint.get_con_from_hdl(handle)->get_resource());
    });
    endpoint.set_http_handler([this](connection_hdl handle) { answer(handle); });
    endpoint.set_close_handler([this](connection_hdl handle) {
      const Lock lock(standIn.mutex);
      standIn.onClosed(handle);
    });
    endpoint.set_message_handler([this](connection_hdl handle, Endpoint::message_ptr message) {
      const Lock lock(standIn.mutex);
      standIn.onText(handle, nlohmann::json::parse(message->get_payload(), nullptr, false));
    });
  }

  void drawFrames() {
    timer->expires_after(standIn.pause);
    timer->async_wait([this](const asio::error_code& error) {
      if (error) return;
      const Lock lock(standIn.mutex);
      standIn.onFrame();
      drawFrames();
    });
  }

  void answer(connection_hdl handle) {
    const Lock lock(standIn.mutex);
    const auto connection = endpoint.get_con_from_hdl(handle);
    const Answer made = standIn.onRequest(connection->get_resource());
    connection->replace_header("Content-Type", "application/json");
    connection->set_status(static_cast<websocketpp::http::status_code::value>(made.status));
    connection->set_body(made.body);
  }

  StandInServer& standIn;
  Endpoint endpoint;
  std::unique_ptr<asio::steady_timer> timer;
  std::promise<void> hung;  // set at the end, for a thread that hangs
  std::thread thread;
};

StandInServer::StandInServer(int port, std::chrono::milliseconds frame)
    : number(port), pause(frame) {}

StandInServer::~StandInServer() = default;

void StandInServer::start() {
  const Lock lock(mutex);  // holds the handlers back until there is something to send with
  server = std::make_unique<Server>(*this);
}

void StandInServer::stop() {
  if (server) server->end();
  server.reset();
  const Lock lock(mutex);
  onStopped();
}

void StandInServer::hang() {
  asio::post(server->endpoint.get_io_service(), [this] { server->hung.get_future().wait(); });
}

void StandInServer::send(const Connection& to, const std::string& text) {
  websocketpp::lib::error_code error;
  server->endpoint.send(to, text, websocketpp::frame::opcode::text, error);
}
