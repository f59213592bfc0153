#include "StreamDeckSDK/ESDTextFrame.h"

#include <utility>

ESDTextFrame::Message ESDTextFrame::Of(std::string text) {
  namespace frame = websocketpp::frame;
  frame::masking_key_type key;
  key.i = mMaskingKeys();
  const auto bytes = reinterpret_cast<std::uint8_t*>(text.data());
  frame::word_mask_exact(bytes, text.size(), key);  // eight at a time, where they are

  const frame::basic_header basic(frame::opcode::text, text.size(), true, true);
  const frame::extended_header extended(text.size(), key.i);
  auto message = std::make_shared<Message::element_type>(nullptr, frame::opcode::text, 0);
  message->set_header(frame::prepare_header(basic, extended));
  message->get_raw_payload() = std::move(text);
  message->set_prepared(true);
  return message;
}
