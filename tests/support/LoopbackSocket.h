// A TCP port of this machine for what a WebSocket server never does.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

class LoopbackSocket {
 public:
  // Takes a free port. No socket listens on it, and none can.
  LoopbackSocket() {
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(fd, name(), sizeof address) != 0) throw std::runtime_error("no port to be had");
    socklen_t length = sizeof address;
    getsockname(fd, name(), &length);
  }

  ~LoopbackSocket() { close(fd); }

  LoopbackSocket(const LoopbackSocket&) = delete;
  LoopbackSocket& operator=(const LoopbackSocket&) = delete;

  int port() const { return ntohs(address.sin_port); }

  void listen() { ::listen(fd, 1); }

  // Reads the next caller's request, answers and hangs up.
  void answer(const std::string& text) {
    const int caller = accept(fd, nullptr, nullptr);
    std::string request;
    char part[1024];
    while (request.find("\r\n\r\n") == std::string::npos) {
      const ssize_t n = recv(caller, part, sizeof part, 0);
      if (n <= 0) break;
      request.append(part, static_cast<std::size_t>(n));
    }
    (void)send(caller, text.data(), text.size(), 0);
    close(caller);
  }

 private:
  sockaddr* name() { return reinterpret_cast<sockaddr*>(&address); }

  int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
};
