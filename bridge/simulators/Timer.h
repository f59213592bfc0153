// Calls a function after a while, on the thread that runs the context. That thread alone may use an
// object. A call that is still to come is dropped when the timer is set again or goes.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace bridge {

class Timer {
 public:
  explicit Timer(asio::io_context& context) : timer(context) {}

  void after(std::chrono::milliseconds delay, std::function<void()> work) {
    cancel();
    timer.expires_after(delay);
    // A timer that has expired can't be cancelled any more, though its handler has yet to run.
    timer.async_wait([wanted = std::weak_ptr<char>(current),
                      call = std::move(work)](const asio::error_code& error) {
      if (!error && wanted.lock()) call();
    });
  }

  void cancel() {
    current = std::make_shared<char>();
    timer.cancel();
  }

 private:
  asio::steady_timer timer;
  std::shared_ptr<char> current;  // replaced by each call, so that an older one is recognised
};

}  // namespace bridge
