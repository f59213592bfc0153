// The part that simulators reached over a socket have in common: the endpoint, the observer, and
// the attempts to connect.
#pragma once

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <memory>
#include <string>
#include <utility>

#include "bridge/Endpoint.h"
#include "bridge/Simulator.h"
#include "bridge/simulators/Timer.h"

namespace bridge {

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

  asio::io_context& context;
  const Endpoint endpoint;
  Observer* observer = nullptr;  // not owned
  Attempts attempts;

 private:
  std::shared_ptr<char> alive = std::make_shared<char>();  // gone when posted work must not run
};

}  // namespace bridge
