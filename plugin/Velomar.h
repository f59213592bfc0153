// The plug-in: the model of what the Stream Deck application shows, the handling of its events, and
// the way of the simulator's messages to a key or a dial.
//
// Two threads call. The main thread makes the calls of ESDBasePlugin, one at a time. The link
// thread makes those of the section "From the link". The model, `devices` and `actions`, is read
// and changed under one mutex; no command goes out and nothing slow happens under it. Messages that
// tell of the model are posted under it, in one step with the change: a replay then never tells of
// a context after its "Hide Context". Only "Add Context" is posted after its change, after the
// reset that may come first, so that a context may be told twice and none is missed. The queue's
// mutex is taken inside the model's and never the other way round.
//
// To post a message is to push it onto the link's jsonQueue. It waits there while the link is down,
// and is dropped if there is no link at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "StreamDeckSDK/ESDPlugin.h"
#include "plugin/Action.h"
#include "plugin/Model.h"

class Velomar : public ESDPlugin {
 public:
  static Velomar* pInstance;

  // The one instance, made by the first call, which comes before any other thread runs. It may be
  // deleted once the link thread has ended.
  static Velomar* getInstance();
  ~Velomar() override;

  // From the Stream Deck application. A payload of the wrong form raises the JSON library's error:
  // the steps before the error stay done, and the others are left out.
  void DidReceiveGlobalSettings(const nlohmann::json& payload) override;
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
  void TouchTabForAction(const std::string& action, const std::string& context,
                         const nlohmann::json& payload, const std::string& device) override;
  void WillAppearForAction(const std::string& action, const std::string& context,
                           const nlohmann::json& payload, const std::string& device) override;
  void WillDisappearForAction(const std::string& action, const std::string& context,
                              const nlohmann::json& payload, const std::string& device) override;
  void DeviceDidConnect(const std::string& device, const nlohmann::json& info) override;
  void SystemDidWakeUp() override;
  void SendToPlugin(const std::string& action, const std::string& context,
                    const nlohmann::json& payload, const std::string& device) override;

  // The context's action, made if the identifier is this plug-in's own; else empty.
  std::shared_ptr<ESDAction> GetOrCreateAction(const std::string& action,
                                               const std::string& context) override;

  // From the link. A context that isn't on show is no error: nothing happens.

  // Posts one group that tells the simulator everything that there is, and forgets all images.
  void resendAll();

  // Blanks every context. The model stays as it is.
  void resetAllContexts();

  // Blanks one context. From the main thread too.
  void resetContext(std::string context);

  // Shows an image. With data it is kept under its id and written to its file; without, the kept
  // one is shown, if there is any.
  void updateImage(std::string context, std::uint32_t id, std::string base64);

  void setTitle(std::string context, std::string title);

  // Selects a layout, the default one for an empty UUID. With data its file is written first. A
  // UUID of more than 486 bytes does nothing.
  void setLayout(std::string context, std::string uuid, std::string base64);

  void identKey(std::string context);
  void alertKey(std::string context);

 private:
  // A context that has just appeared.
  struct Added {
    SDContext record;
    bool startsBlank = false;
  };

  Velomar() = default;

  std::shared_ptr<Action> findAction(const std::string& context);
  bool addDevice(const std::string& device);
  std::optional<Added> addContext(const std::string& context, const nlohmann::json& payload,
                                  const std::string& device);
  bool isOnShow(const std::string& context) const;
  std::size_t listModel(std::vector<nlohmann::json>& messages) const;
  void blank(Action& action, const std::string& context);

  std::map<std::string, SDDevice> devices;                 // guarded by modelMutex
  std::map<std::string, std::shared_ptr<Action>> actions;  // guarded by modelMutex
  std::map<std::int32_t, std::string> imageCache;          // link thread only

  // True from resetAllContexts to the next resendAll. The link still reads as connected while the
  // reset runs, so a context that appears in between has to know that it must start blank.
  bool screenIsReset = false;  // guarded by modelMutex
  std::mutex modelMutex;
};
