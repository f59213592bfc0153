// Serves the deck's web page and keeps a WebSocket to each page that is open. The plug-in connects
// to another server, so nothing that comes in here can be taken for a frame of the plug-in.
//
// A request is answered only if it names the address that it came to, and a WebSocket only if its
// Origin is that address too: neither a page from elsewhere nor a foreign name that leads here can
// drive the deck. With a token, all paths begin with "/TOKEN/"; the connection of a request without
// it is closed with no answer.
//
// The server works on a thread of its own, on which the handlers are called. The other operations
// may come from any thread but must not be called once the object is being destroyed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class PageServer {
 public:
  using PageId = std::uint64_t;

  struct File {
    std::string type;  // as Content-Type
    std::string content;
  };

  struct Options {
    std::string address =
        "127.0.0.1";         // 0.0.0.0 is every one of this machine, :: those of IPv6 too
    std::uint16_t port = 0;  // where it may listen; 0: any port that is free
    std::string token;       // may be empty
  };

  struct Handlers {
    std::function<std::optional<File>(const std::string& path)> file;  // nothing: not found
    std::function<void(PageId)> opened;                                // a page has connected
    std::function<void(PageId, const std::string&)> said;              // it sent a text frame
  };

  // Takes the port, or the next one that is free. Throws std::runtime_error if the address isn't
  // one of this machine's or no port is free. Answers nothing before start().
  PageServer(Options options, Handlers handlers);

  // Stops.
  ~PageServer();

  PageServer(const PageServer&) = delete;
  PageServer& operator=(const PageServer&) = delete;

  // Starts answering. Called once.
  void start();

  // Ends all connections at once, and the thread. Frames sent afterwards are lost.
  void stop();

  // The URLs of the page: one for each of the machine's addresses that the server listens on.
  std::vector<std::string> urls() const;

  // Sends a text frame to one page, or to all. A page that has gone is no error.
  void sendTo(PageId page, const std::string& text);
  void sendToAll(const std::string& text);

  // Makes a token of 128 random bits, as letters and digits.
  static std::string makeToken();

 private:
  struct Server;
  std::unique_ptr<Server> server;
};
