#include "tools/deck/PageServer.h"

#include <ifaddrs.h>
#include <netinet/in.h>

#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>
#include <utility>
#include <websocketpp/config/asio_no_tls.hpp>
#include <websocketpp/server.hpp>

namespace {

using Endpoint = websocketpp::server<websocketpp::config::asio>;
using websocketpp::connection_hdl;
using Lock = std::lock_guard<std::mutex>;
namespace http = websocketpp::http;

constexpr int kPortTries = 20;
constexpr std::size_t kMaxCommand = std::size_t{64} * 1024;  // bytes; a page sends short commands
constexpr char kScheme[] = "http://";

asio::ip::address parseAddress(const std::string& text) {
  asio::error_code error;
  auto address = asio::ip::make_address(text, error);
  if (error) throw std::runtime_error("not an IP address: " + text);
  return address;
}

// As a browser writes it: IPv6 in brackets and without a zone, and an IPv4 address that came to an
// IPv6 socket as what it is.
std::string hostOf(const asio::ip::address& address) {
  if (address.is_v4()) return address.to_string();
  asio::ip::address_v6 v6 = address.to_v6();
  if (v6.is_v4_mapped()) return make_address_v4(asio::ip::v4_mapped, v6).to_string();
  v6.scope_id(0);
  return "[" + v6.to_string() + "]";
}

// Takes as long for texts that differ early as for those that differ late, so that the time doesn't
// help to guess the token.
bool areEqual(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  unsigned difference = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(b[i]);
  }
  return difference == 0;
}

// The addresses of all interfaces that are up, but for IPv6's of one link, which no URL can name.
// An IPv6 socket listens on the IPv4 addresses, too.
std::vector<asio::ip::address> ownAddresses(bool withIPv6) {
  std::vector<asio::ip::address> found;
  ifaddrs* interfaces = nullptr;
  if (getifaddrs(&interfaces) != 0) return found;
  for (const ifaddrs* each = interfaces; each != nullptr; each = each->ifa_next) {
    if (each->ifa_addr == nullptr) continue;
    if (each->ifa_addr->sa_family == AF_INET) {
      const auto* address = reinterpret_cast<const sockaddr_in*>(each->ifa_addr);
      found.emplace_back(asio::ip::address_v4(ntohl(address->sin_addr.s_addr)));
    } else if (each->ifa_addr->sa_family == AF_INET6 && withIPv6) {
      asio::ip::address_v6::bytes_type bytes;
      std::memcpy(bytes.data(), &reinterpret_cast<const sockaddr_in6*>(each->ifa_addr)->sin6_addr,
                  bytes.size());
      const asio::ip::address_v6 address(bytes);
      if (!address.is_link_local()) found.emplace_back(address);
    }
  }
  freeifaddrs(interfaces);
  return found;
}

}  // namespace

struct PageServer::Server {
  Server(Options given, Handlers called)
      : options(std::move(given)),
        handlers(std::move(called)),
        root(options.token.empty() ? "/" : "/" + options.token + "/") {
    endpoint.clear_access_channels(websocketpp::log::alevel::all);
    endpoint.clear_error_channels(websocketpp::log::elevel::all);
    endpoint.init_asio();
    endpoint.set_reuse_addr(true);
    endpoint.set_max_message_size(kMaxCommand);
    endpoint.set_validate_handler([this](connection_hdl handle) { return mayConnect(handle); });
    endpoint.set_http_handler([this](connection_hdl handle) { serveFile(handle); });
    endpoint.set_open_handler([this](connection_hdl handle) { onOpen(handle); });
    endpoint.set_close_handler([this](connection_hdl handle) { onClose(handle); });
    endpoint.set_message_handler([this](connection_hdl handle, Endpoint::message_ptr message) {
      onText(handle, message->get_payload());
    });
    listen();
  }

  ~Server() { stop(); }

  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  void listen() {
    const auto address = parseAddress(options.address);
    websocketpp::lib::error_code error;
    const int tries = options.port == 0 ? 1 : kPortTries;
    for (int i = 0; i < tries; ++i) {
      const auto wanted = static_cast<std::uint16_t>(options.port + i);
      endpoint.listen(asio::ip::tcp::endpoint(address, wanted), error);
      if (error) continue;
      websocketpp::lib::error_code ignored;
      port = endpoint.get_local_endpoint(ignored).port();
      return;
    }
    throw std::runtime_error("can't listen on " + options.address + ", port " +
                             std::to_string(options.port) + ": " + error.message());
  }

  void start() {
    endpoint.start_accept();
    thread = std::thread([this] { endpoint.run(); });
  }

  void stop() {
    if (!thread.joinable()) return;
    endpoint.stop();
    thread.join();
  }

  // Returns whether `host` is the address that the connection came to: no other name is served.
  static bool isOwnName(const Endpoint::connection_ptr& connection, const std::string& host) {
    asio::error_code error;
    const auto local = connection->get_raw_socket().local_endpoint(error);
    if (error) return false;
    const std::string number = ":" + std::to_string(local.port());
    const std::string name = hostOf(local.address());
    const bool isLoopback = name == "[::1]" || name.rfind("127.", 0) == 0;
    return host == name + number || (isLoopback && host == "localhost" + number);
  }

  // The path of the request below the root. nullopt: the request isn't for this server.
  std::optional<std::string> pathOf(const Endpoint::connection_ptr& connection) const {
    const std::string resource = connection->get_resource();
    const std::string path = resource.substr(0, resource.find('?'));
    if (!areEqual(path.substr(0, root.size()), root)) return std::nullopt;
    if (!isOwnName(connection, connection->get_request_header("Host"))) return std::nullopt;
    return path.substr(root.size());
  }

  // Refuses the request: with an answer, or, if a token is asked for, by closing the connection.
  void refuse(const Endpoint::connection_ptr& connection, http::status_code::value status) const {
    asio::error_code ignored;
    if (!options.token.empty()) connection->get_raw_socket().close(ignored);
    connection->set_status(status);
  }

  bool mayConnect(connection_hdl handle) const {
    const auto connection = const_cast<Endpoint&>(endpoint).get_con_from_hdl(handle);
    const std::string host = connection->get_request_header("Host");
    if (pathOf(connection) && connection->get_origin() == kScheme + host) return true;
    refuse(connection, http::status_code::forbidden);
    return false;
  }

  void serveFile(connection_hdl handle) {
    const auto connection = endpoint.get_con_from_hdl(handle);
    const auto path = pathOf(connection);
    if (!path) return refuse(connection, http::status_code::forbidden);
    const auto file = handlers.file(*path);
    connection->replace_header("Cache-Control", "no-store");
    connection->replace_header("Referrer-Policy", "no-referrer");
    // A page from elsewhere must not show this one in a frame and so draw the user's clicks.
    connection->replace_header("Content-Security-Policy", "frame-ancestors 'none'");
    connection->replace_header("Cross-Origin-Resource-Policy", "same-origin");
    connection->replace_header("X-Content-Type-Options", "nosniff");
    connection->replace_header("Content-Type", file ? file->type : "text/plain");
    connection->set_body(file ? file->content : "not found\n");
    connection->set_status(file ? http::status_code::ok : http::status_code::not_found);
  }

  void onOpen(const connection_hdl& handle) {
    PageId id = 0;
    {
      const Lock lock(mutex);
      id = ++lastPage;
      pages[id] = handle;
    }
    handlers.opened(id);
  }

  void onClose(const connection_hdl& handle) {
    const PageId id = pageOf(handle);
    const Lock lock(mutex);
    pages.erase(id);
  }

  void onText(const connection_hdl& handle, const std::string& text) {
    handlers.said(pageOf(handle), text);
  }

  // The page with this connection. 0: it isn't open.
  PageId pageOf(const connection_hdl& handle) {
    const Lock lock(mutex);
    for (const auto& [id, page] : pages) {
      if (!page.owner_before(handle) && !handle.owner_before(page)) return id;
    }
    return 0;
  }

  std::map<PageId, connection_hdl> openPages() {
    const Lock lock(mutex);
    return pages;
  }

  void send(const connection_hdl& to, const std::string& text) {
    websocketpp::lib::error_code ignored;
    endpoint.send(to, text, websocketpp::frame::opcode::text, ignored);
  }

  const Options options;
  const Handlers handlers;
  const std::string root;
  Endpoint endpoint;
  int port = 0;
  std::mutex mutex;
  std::map<PageId, connection_hdl> pages;  // guarded by mutex
  PageId lastPage = 0;                     // guarded by mutex
  std::thread thread;
};

PageServer::PageServer(Options options, Handlers handlers)
    : server(std::make_unique<Server>(std::move(options), std::move(handlers))) {}

PageServer::~PageServer() = default;

void PageServer::start() {
  server->start();
}

void PageServer::stop() {
  server->stop();
}

std::vector<std::string> PageServer::urls() const {
  const auto address = parseAddress(server->options.address);
  std::vector<std::string> found;
  for (const auto& each : address.is_unspecified() ? ownAddresses(address.is_v6())
                                                   : std::vector<asio::ip::address>{address}) {
    found.push_back(kScheme + hostOf(each) + ":" + std::to_string(server->port) + server->root);
  }
  return found;
}

void PageServer::sendTo(PageId page, const std::string& text) {
  const auto pages = server->openPages();
  const auto found = pages.find(page);
  if (found != pages.end()) server->send(found->second, text);
}

void PageServer::sendToAll(const std::string& text) {
  for (const auto& [id, page] : server->openPages()) server->send(page, text);
}

std::string PageServer::makeToken() {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::random_device source;
  std::string token;
  for (int i = 0; i < 32; ++i) token += kDigits[source() % 16];
  return token;
}
