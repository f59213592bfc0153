// GET requests to a simulator's web server.
//
// The transfers run on a thread of the object. Only the thread that runs the context may use the
// object. The answers come on that thread, in any order, and never from inside an operation.
#pragma once

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "bridge/Endpoint.h"

namespace bridge {

class RestClient {
 public:
  struct Answer {
    long status = 0;  // 0: none came, and `error` says why
    std::string body;
    std::string error;
  };
  using Done = std::function<void(const Answer&)>;

  static constexpr std::chrono::milliseconds kDeadline{5000};

  RestClient(asio::io_context& context, const Endpoint& endpoint);

  // Waits for the thread, which gives up its transfers at once.
  ~RestClient();

  RestClient(const RestClient&) = delete;
  RestClient& operator=(const RestClient&) = delete;

  // `path` begins with a slash; parts of it may need `escaped`. `done` is called once, within the
  // deadline or shortly after, unless `forget` or the object's end comes first.
  void get(const std::string& path, Done done, std::chrono::milliseconds deadline = kDeadline);

  // Drops all requests made so far: their `done` isn't called.
  void forget();

  static std::string escaped(const std::string& text);

 private:
  class Transfers;

  asio::io_context& context;
  std::string base;                 // "http://127.0.0.1:8086"
  std::shared_ptr<char> listening;  // replaced by `forget`
  std::unique_ptr<Transfers> transfers;
};

}  // namespace bridge
