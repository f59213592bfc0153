#include "tools/deck/HostServer.h"

#include <asio/post.hpp>
#include <asio/write.hpp>
#include <mutex>
#include <thread>
#include <utility>
#include <websocketpp/config/asio_no_tls.hpp>
#include <websocketpp/server.hpp>

namespace {

using Endpoint = websocketpp::server<websocketpp::config::asio>;
using websocketpp::connection_hdl;
using Lock = std::lock_guard<std::mutex>;
namespace opcode = websocketpp::frame::opcode;
namespace http = websocketpp::http;

}  // namespace

struct HostServer::Server {
  explicit Server(Handlers given) : handlers(std::move(given)) {
    endpoint.clear_access_channels(websocketpp::log::alevel::all);
    endpoint.clear_error_channels(websocketpp::log::elevel::all);
    endpoint.init_asio();
    endpoint.set_reuse_addr(true);
    endpoint.set_validate_handler([this](connection_hdl handle) { return mayConnect(handle); });
    endpoint.set_open_handler([this](connection_hdl handle) { onOpen(handle); });
    endpoint.set_close_handler([this](connection_hdl) {
      if (handlers.closed) handlers.closed();
    });
    endpoint.set_message_handler([this](connection_hdl, Endpoint::message_ptr message) {
      const bool isText = message->get_opcode() == opcode::text;
      if (isText && handlers.frame) handlers.frame(message->get_payload());
    });
    endpoint.listen(asio::ip::tcp::endpoint(asio::ip::address_v4::loopback(), 0));
    endpoint.start_accept();
    websocketpp::lib::error_code error;
    port = endpoint.get_local_endpoint(error).port();
    thread = std::thread([this] { endpoint.run(); });
  }

  ~Server() {
    endpoint.stop();
    thread.join();
  }

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  bool mayConnect(connection_hdl handle) {
    const auto connection = endpoint.get_con_from_hdl(handle);
    if (connection->get_origin().empty()) return true;
    connection->set_status(http::status_code::forbidden);
    return false;
  }

  void onOpen(connection_hdl handle) {
    {
      const Lock lock(mutex);
      plugin = handle;
    }
    if (handlers.opened) handlers.opened();
  }

  connection_hdl getPlugin() {
    const Lock lock(mutex);
    return plugin;
  }

  // Runs `work` with the plug-in's connection on the serving thread. That thread reads a
  // connection's state without a lock, so no other thread may change it. Does nothing if the
  // connection has gone.
  template <typename Work>
  void onPlugin(Work work) {
    asio::post(endpoint.get_io_service(), [this, handle = getPlugin(), work] {
      websocketpp::lib::error_code error;
      const auto connection = endpoint.get_con_from_hdl(handle, error);
      if (!error) work(connection);
    });
  }

  bool send(const connection_hdl& to, const std::string& bytes, opcode::value kind) {
    websocketpp::lib::error_code error;
    endpoint.send(to, bytes, kind, error);
    return !error;
  }

  Handlers handlers;
  Endpoint endpoint;
  int port = 0;
  Endpoint::connection_ptr unread;  // serving thread only; without a read nothing else holds it
  std::mutex mutex;
  connection_hdl plugin;  // guarded by mutex
  std::thread thread;
};

HostServer::HostServer(Handlers handlers) : server(std::make_unique<Server>(std::move(handlers))) {}

HostServer::~HostServer() = default;

int HostServer::port() const {
  return server->port;
}

bool HostServer::sendText(const std::string& text) {
  return server->send(server->getPlugin(), text, opcode::text);
}

bool HostServer::sendBinary(const std::string& bytes) {
  return server->send(server->getPlugin(), bytes, opcode::binary);
}

void HostServer::setReading(bool isReading) {
  server->onPlugin([this, isReading](const Endpoint::connection_ptr& connection) {
    (void)(isReading ? connection->resume_reading() : connection->pause_reading());
    server->unread = isReading ? nullptr : connection;
  });
}

void HostServer::close(const std::string& reason) {
  server->onPlugin([reason](const Endpoint::connection_ptr& connection) {
    websocketpp::lib::error_code ignored;
    connection->close(websocketpp::close::status::going_away, reason, ignored);
  });
}
