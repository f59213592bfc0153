// The handle through which commands go out for one context.
//
// A key and a dial show the same things by different commands; isEncoder tells them apart. Any
// thread may call.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "StreamDeckSDK/ESDAction.h"

class Action : public ESDAction {
 public:
  using ESDAction::ESDAction;

  void DidReceiveSettings(const nlohmann::json& /*settings*/) override {}
  void KeyDown(const nlohmann::json& /*settings*/) override {}
  void KeyUp(const nlohmann::json& /*settings*/) override { ShowOK(); }
  void SendToPlugin(const nlohmann::json& /*payload*/) override {}
  void WillAppear(const nlohmann::json& /*settings*/) override {}

  // The file, relative to the working folder, that an image with data is written to.
  static std::string imagePath(std::uint32_t id);

  // A key gets the image itself, a dial the name of the image's file. An empty text is the blank
  // image of either.
  void SetImage(const std::string& base64, std::uint32_t id);

  // A key gets the text as it is. A dial gets its first 10 lines one by one, each number from 0 to
  // 100 also as a value, and its other lines emptied; the text is cut after 999 bytes or at a zero
  // byte.
  void SetTitle(const std::string& title);

  // True for a dial. Set on the main thread when the context appears, while the link thread may be
  // reading it. Nothing else is published through it, so relaxed order is enough.
  std::atomic<bool> isEncoder{false};

 private:
  void setLine(int index, const std::string& line);
};
