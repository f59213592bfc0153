// The Stream Deck application's end of the connection: a WebSocket server on 127.0.0.1, which also
// serves web pages of its own and keeps a WebSocket to each that is open.
//
// A WebSocket without an Origin comes from a plug-in, one with this server's own address as Origin
// from a page of it; any other is refused, and so is a request under a foreign host name. The
// server works on a thread of its own, on which the handlers are called. The other operations may
// come from any thread but must not be called once the object is being destroyed.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

class HostServer {
 public:
  using PageId = std::uint64_t;

  struct File {
    std::string type;  // as Content-Type
    std::string content;
  };

  struct Handlers {
    std::function<void()> opened;                   // a plug-in has connected
    std::function<void(const std::string&)> frame;  // a text frame came from it
    std::function<void()> closed;                   // it has gone

    std::function<std::optional<File>(const std::string& path)> file;  // nothing: not found
    std::function<void(PageId)> pageOpened;                            // a page has connected
    std::function<void(PageId, const std::string&)> pageSaid;          // it sent a text frame
  };

  // Listens on any free port. Empty handlers are allowed. Throws if there is no port to be had.
  explicit HostServer(Handlers handlers);

  // Ends all connections at once, and the thread.
  ~HostServer();

  HostServer(const HostServer&) = delete;
  HostServer& operator=(const HostServer&) = delete;

  int port() const;

  // Sends a frame to the plug-in that connected last. False: there is none.
  bool sendText(const std::string& text);
  bool sendBinary(const std::string& bytes);

  // What an application that is broken or busy does, for tests: writes bytes onto the plug-in's
  // connection that need not be a frame, and stops reading what comes from it or goes on.
  void sendRaw(const std::string& bytes);
  void setReading(bool isReading);

  // Closes the plug-in's connection in an orderly way, with a reason that may be empty.
  void close(const std::string& reason);

  // Sends a text frame to one page, or to all. A page that has gone is no error.
  void sendToPage(PageId page, const std::string& text);
  void sendToPages(const std::string& text);

 private:
  struct Server;
  std::unique_ptr<Server> server;
};
