#include "bench/Host.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <vector>
#include <websocketpp/base64/base64.hpp>
#include <websocketpp/sha1/sha1.hpp>

#include "bench/Peers.h"

namespace bench {
namespace {

constexpr std::chrono::seconds kPatience{30};
constexpr std::size_t kBufferBytes = std::size_t{256} << 10U;
constexpr std::size_t kMaskBytes = 4;
constexpr std::size_t kBeginningBytes = 32;  // that tell a log line from a command

int listenOnFreePort() {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(listener, 1) != 0) {
    fail("listening");
  }
  return listener;
}

std::string acceptKey(const std::string& request) {
  const std::string name = "Sec-WebSocket-Key: ";
  const std::size_t key = request.find(name) + name.size();
  const std::string salted =
      request.substr(key, request.find('\r', key) - key) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
  unsigned char digest[20];
  websocketpp::sha1::calc(salted.data(), salted.size(), digest);
  return websocketpp::base64_encode(digest, sizeof digest);
}

// The sizes of a frame's header with its mask and of its payload, as far as the bytes at hand tell.
struct Sizes {
  std::size_t header;
  std::uint64_t payload;
};

Sizes sizesOf(const std::string& frame) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(frame[i]); };
  const unsigned size = frame.size() < 2 ? 0 : byte(1) & 0x7FU;
  const std::size_t extended = size == 126 ? 2 : size == 127 ? 8 : 0;
  const std::size_t header = 2 + extended + kMaskBytes;
  if (extended == 0 || frame.size() < header) return {header, size};
  std::uint64_t payload = 0;
  for (std::size_t i = 0; i < extended; ++i) payload = payload << 8U | byte(2 + i);
  return {header, payload};
}

}  // namespace

Host::Host() : listener(listenOnFreePort()), thread([this] { serve(); }) {}

Host::~Host() {
  (void)shutdown(listener, SHUT_RDWR);
  (void)shutdown(connection, SHUT_RDWR);
  thread.join();
  (void)close(connection);
  (void)close(listener);
}

std::string Host::port() const {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  (void)getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
  return std::to_string(ntohs(address.sin_port));
}

std::uint64_t Host::count() {
  const std::lock_guard<std::mutex> lock(mutex);
  return frames;
}

void Host::awaitCount(std::uint64_t wanted) {
  std::unique_lock<std::mutex> lock(mutex);
  if (!changed.wait_for(lock, kPatience, [&] { return frames >= wanted; })) fail("the program");
}

void Host::send(const std::string& text) {
  std::string frame = "\x81";
  if (text.size() < 126) {
    frame += static_cast<char>(text.size());
  } else {
    frame += {126, static_cast<char>(text.size() >> 8U), static_cast<char>(text.size())};
  }
  frame += text;
  const ssize_t sent = ::send(connection, frame.data(), frame.size(), MSG_NOSIGNAL);
  if (sent != static_cast<ssize_t>(frame.size())) fail("sending to the program");
}

void Host::serve() {
  connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  if (connection == -1) return;
  // An event must not wait for the acknowledgement of the one before.
  const int isOn = 1;
  (void)setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &isOn, sizeof isOn);
  answerHandshake();
  readFrames();
}

void Host::answerHandshake() {
  std::string request;
  char part[1024];
  while (request.find("\r\n\r\n") == std::string::npos) {
    const ssize_t n = recv(connection, part, sizeof part, 0);
    if (n <= 0) return;
    request.append(part, static_cast<std::size_t>(n));
  }
  const std::string answer =
      "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Accept: " +
      acceptKey(request) + "\r\n\r\n";
  (void)::send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
}

void Host::readFrames() {
  std::vector<char> buffer(kBufferBytes);
  for (ssize_t n = 0; (n = recv(connection, buffer.data(), buffer.size(), 0)) > 0;) {
    take({buffer.data(), static_cast<std::size_t>(n)});
  }
}

void Host::take(std::string_view bytes) {
  while (!bytes.empty()) {
    if (left == 0) {
      beginning += bytes.front();
      bytes.remove_prefix(1);
      takeBeginning();
    } else {
      const std::uint64_t passed = std::min<std::uint64_t>(left, bytes.size());
      bytes.remove_prefix(passed);
      left -= passed;
      if (left == 0) countFrame();
    }
  }
}

void Host::takeBeginning() {
  const auto [header, payload] = sizesOf(beginning);
  const std::uint64_t wanted = std::min<std::uint64_t>(payload, kBeginningBytes);
  if (beginning.size() < header + wanted) return;
  std::string text = beginning.substr(header);
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char>(text[i] ^ beginning[header - kMaskBytes + i % kMaskBytes]);
  }
  isLogLine = text.find("logMessage") != std::string::npos;
  beginning.clear();
  left = payload - wanted;
  if (left == 0) countFrame();
}

void Host::countFrame() {
  if (isLogLine) return;
  const std::lock_guard<std::mutex> lock(mutex);
  ++frames;
  changed.notify_all();
}

}  // namespace bench
