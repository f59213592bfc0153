#include "tools/deck/HostServer.h"

#include <asio/post.hpp>
#include <asio/write.hpp>
#include <map>
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
    endpoint.set_http_handler([this](connection_hdl handle) { serveFile(handle); });
    endpoint.set_open_handler([this](connection_hdl handle) { onOpen(handle); });
    endpoint.set_close_handler([this](connection_hdl handle) { onClose(handle); });
    endpoint.set_message_handler([this](connection_hdl handle, Endpoint::message_ptr message) {
      if (message->get_opcode() == opcode::text) onText(handle, message->get_payload());
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

  bool isOwnName(const std::string& host) const {
    const std::string number = ":" + std::to_string(port);
    return host == "127.0.0.1" + number || host == "localhost" + number;
  }

  bool mayConnect(connection_hdl handle) {
    const auto connection = endpoint.get_con_from_hdl(handle);
    const std::string origin = connection->get_origin();
    static const std::string kScheme = "http://";
    if (origin.empty() ||
        (origin.rfind(kScheme, 0) == 0 && isOwnName(origin.substr(kScheme.size())))) {
      return true;
    }
    connection->set_status(http::status_code::forbidden);
    return false;
  }

  void serveFile(connection_hdl handle) {
    const auto connection = endpoint.get_con_from_hdl(handle);
    std::optional<File> file;
    if (handlers.file && isOwnName(connection->get_request_header("Host"))) {
      const std::string resource = connection->get_resource();
      file = handlers.file(resource.substr(0, resource.find('?')));
    }
    connection->replace_header("Cache-Control", "no-store");
    connection->replace_header("Content-Type", file ? file->type : "text/plain");
    connection->set_body(file ? file->content : "not found\n");
    connection->set_status(file ? http::status_code::ok : http::status_code::not_found);
  }

  void onOpen(connection_hdl handle) {
    if (endpoint.get_con_from_hdl(handle)->get_origin().empty()) {
      {
        const Lock lock(mutex);
        plugin = handle;
      }
      if (handlers.opened) handlers.opened();
      return;
    }
    PageId id = 0;
    {
      const Lock lock(mutex);
      id = ++lastPage;
      pages[id] = handle;
    }
    if (handlers.pageOpened) handlers.pageOpened(id);
  }

  void onClose(connection_hdl handle) {
    if (const auto page = pageOf(handle)) {
      const Lock lock(mutex);
      pages.erase(*page);
    } else if (handlers.closed) {
      handlers.closed();
    }
  }

  void onText(connection_hdl handle, const std::string& text) {
    if (const auto page = pageOf(handle)) {
      if (handlers.pageSaid) handlers.pageSaid(*page, text);
    } else if (handlers.frame) {
      handlers.frame(text);
    }
  }

  // Nothing: the connection is a plug-in's.
  std::optional<PageId> pageOf(const connection_hdl& handle) {
    const Lock lock(mutex);
    for (const auto& [id, page] : pages) {
      if (!page.owner_before(handle) && !handle.owner_before(page)) return id;
    }
    return std::nullopt;
  }

  connection_hdl getPlugin() {
    const Lock lock(mutex);
    return plugin;
  }

  std::map<PageId, connection_hdl> getPages() {
    const Lock lock(mutex);
    return pages;
  }

  // Does something with the plug-in's connection on the serving thread, which reads a connection's
  // state without a lock: no other may change it. Nothing happens if the connection has gone.
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
  connection_hdl plugin;                   // guarded by mutex
  std::map<PageId, connection_hdl> pages;  // guarded by mutex
  PageId lastPage = 0;                     // guarded by mutex
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

void HostServer::sendRaw(const std::string& bytes) {
  server->onPlugin([bytes](const Endpoint::connection_ptr& connection) {
    asio::error_code ignored;
    asio::write(connection->get_raw_socket(), asio::buffer(bytes), ignored);
  });
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

void HostServer::sendToPage(PageId page, const std::string& text) {
  const auto pages = server->getPages();
  const auto found = pages.find(page);
  if (found != pages.end()) (void)server->send(found->second, text, opcode::text);
}

void HostServer::sendToPages(const std::string& text) {
  for (const auto& [id, page] : server->getPages()) (void)server->send(page, text, opcode::text);
}
