// A plug-in that keeps one object for each context and has the events of a context routed to it.
#pragma once

#include <memory>
#include <string>

#include "StreamDeckSDK/ESDBasePlugin.h"

class ESDAction;

class ESDPlugin : public ESDBasePlugin {
 public:
  void DidReceiveSettings(const std::string& action, const std::string& context,
                          const nlohmann::json& payload, const std::string& device) override;
  void KeyDownForAction(const std::string& action, const std::string& context,
                        const nlohmann::json& payload, const std::string& device) override;
  void KeyUpForAction(const std::string& action, const std::string& context,
                      const nlohmann::json& payload, const std::string& device) override;
  void DialPressForAction(const std::string& action, const std::string& context,
                          const nlohmann::json& payload, const std::string& device) override;
  void DialRotateForAction(const std::string& action, const std::string& context,
                           const nlohmann::json& payload, const std::string& device) override;
  void WillAppearForAction(const std::string& action, const std::string& context,
                           const nlohmann::json& payload, const std::string& device) override;
  void SendToPlugin(const std::string& action, const std::string& context,
                    const nlohmann::json& payload, const std::string& device) override;

  // The object of this context, made on the spot if need be. Empty: there is none, and the event
  // that asked for it ends with a log line.
  virtual std::shared_ptr<ESDAction> GetOrCreateAction(const std::string& action,
                                                       const std::string& context) = 0;
};
