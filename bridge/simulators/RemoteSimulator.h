// The part that simulators reached over a socket have in common: the endpoint, the observer, and
// the pauses between attempts to connect.
#pragma once

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "bridge/Endpoint.h"
#include "bridge/Simulator.h"
#include "bridge/simulators/Timer.h"

namespace bridge {

// The pauses between attempts to connect: 1, 2, 5, and from then on 10 seconds.
class Attempts {
 public:
  Attempts(asio::io_context& context, std::function<void()> connect)
      : timer(context), attempt(std::move(connect)) {}

  void now() { timer.after(std::chrono::seconds(0), attempt); }
  void later() {
    static constexpr std::chrono::seconds kPauses[] = {
        std::chrono::seconds(1), std::chrono::seconds(2), std::chrono::seconds(5),
        std::chrono::seconds(10)};
    timer.after(kPauses[failures], attempt);
    if (failures + 1 < std::size(kPauses)) ++failures;
  }
  void succeeded() { failures = 0; }

 private:
  Timer timer;
  std::function<void()> attempt;
  std::size_t failures = 0;
};

class RemoteSimulator : public Simulator {
 public:
  void start(Observer& given) override {
    observer = &given;
    attempts.now();
  }

 protected:
  // The last state of a value or command that the observer was told.
  enum class Told { Nothing, Unknown, Known };

  // The context outlives the object.
  RemoteSimulator(asio::io_context& owner, Endpoint given, const char* usualPort)
      : context(owner),
        endpoint{std::move(given.host), given.port.empty() ? usualPort : std::move(given.port)},
        attempts(owner, [this] { connect(); }) {}

  virtual void connect() = 0;

  // Tells the observer of a refusal at the next turn of the loop, because it must not be called
  // back from inside an operation.
  void refuse(const std::string& reason) {
    asio::post(context, [this, here = std::weak_ptr<char>(alive), reason] {
      if (here.lock()) observer->onRefused(reason);
    });
  }

  // Tells the observer that the connection has ended, or why an attempt to connect has failed,
  // which it hears once for as long as the reason is the same.
  void tellEnd(const std::string& reason, bool wasConnected) {
    if (wasConnected) {
      refusal.clear();
      observer->onLost(reason);
    } else if (std::exchange(refusal, reason) != reason) {
      observer->onRefused(endpoint.host + ":" + endpoint.port + ": " + reason);
    }
  }

  asio::io_context& context;
  const Endpoint endpoint;
  Observer* observer = nullptr;  // not owned
  Attempts attempts;

 private:
  std::string refusal;  // the last that was told while there was no connection
  std::shared_ptr<char> alive = std::make_shared<char>();  // gone when posted work must not run
};

}  // namespace bridge
