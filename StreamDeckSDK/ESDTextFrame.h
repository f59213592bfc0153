// A WebSocket text frame, complete and masked, as this side of a connection sends it.
#pragma once

#include <string>

#include <websocketpp/config/asio_no_tls_client.hpp>

// Makes frames. Any thread may call.
class ESDTextFrame {
 public:
  using Message = websocketpp::config::asio_client::message_type::ptr;

  // The frame that the library would make of the text, which is taken over without a copy. The
  // library's own way copies the text twice, masks it character by character, and checks once more
  // that it is UTF-8, all of it under the lock that the event loop waits for.
  // REQUIRES: the text is UTF-8.
  Message Of(std::string text);

 private:
  websocketpp::config::asio_client::rng_type mMaskingKeys;
};
