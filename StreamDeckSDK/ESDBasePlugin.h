// The interface through which the connection calls a plug-in: one virtual operation for each event
// of the Stream Deck application. All of them do nothing here, so the class is complete in itself.
//
// The connection makes every call on the main thread, one at a time. Arguments passed by reference
// are valid for the length of the call. An exception that leaves an operation is dropped by the
// connection, and the next event comes as usual.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

class ESDConnectionManager;

class ESDBasePlugin {
 public:
  ESDBasePlugin() = default;
  ESDBasePlugin(const ESDBasePlugin&) = delete;
  ESDBasePlugin& operator=(const ESDBasePlugin&) = delete;
  virtual ~ESDBasePlugin() = default;

  // Called once, by the connection's constructor.
  void SetConnectionManager(ESDConnectionManager* manager) { mConnectionManager = manager; }

  virtual void DidReceiveGlobalSettings(const nlohmann::json& /*payload*/) {}
  virtual void DidReceiveSettings(const std::string& /*action*/, const std::string& /*context*/,
                                  const nlohmann::json& /*payload*/,
                                  const std::string& /*device*/) {}
  virtual void KeyDownForAction(const std::string& /*action*/, const std::string& /*context*/,
                                const nlohmann::json& /*payload*/, const std::string& /*device*/) {}
  virtual void KeyUpForAction(const std::string& /*action*/, const std::string& /*context*/,
                              const nlohmann::json& /*payload*/, const std::string& /*device*/) {}
  // A press as well as a release: the payload's "pressed" tells which.
  virtual void DialPressForAction(const std::string& /*action*/, const std::string& /*context*/,
                                  const nlohmann::json& /*payload*/,
                                  const std::string& /*device*/) {}
  virtual void DialRotateForAction(const std::string& /*action*/, const std::string& /*context*/,
                                   const nlohmann::json& /*payload*/,
                                   const std::string& /*device*/) {}
  virtual void TouchTabForAction(const std::string& /*action*/, const std::string& /*context*/,
                                 const nlohmann::json& /*payload*/, const std::string& /*device*/) {
  }
  virtual void WillAppearForAction(const std::string& /*action*/, const std::string& /*context*/,
                                   const nlohmann::json& /*payload*/,
                                   const std::string& /*device*/) {}
  virtual void WillDisappearForAction(const std::string& /*action*/, const std::string& /*context*/,
                                      const nlohmann::json& /*payload*/,
                                      const std::string& /*device*/) {}
  virtual void DeviceDidConnect(const std::string& /*device*/, const nlohmann::json& /*info*/) {}
  virtual void DeviceDidDisconnect(const std::string& /*device*/) {}
  virtual void SystemDidWakeUp() {}
  virtual void SendToPlugin(const std::string& /*action*/, const std::string& /*context*/,
                            const nlohmann::json& /*payload*/, const std::string& /*device*/) {}

 protected:
  ESDConnectionManager* mConnectionManager = nullptr;  // not owned; null until set
};
