// The object of one context: empty operations for its events, and commands that go out for it.
//
// The members are set by the constructor and never change, so any thread may send
// commands through it. A command reports nothing; without a connection it is lost.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <utility>

class ESDConnectionManager;

class ESDAction {
 public:
  // `manager` is not owned and outlives the object.
  ESDAction(ESDConnectionManager* manager, std::string action, std::string context)
      : mAction(std::move(action)), mContext(std::move(context)), mESD(manager) {}
  ESDAction(const ESDAction&) = delete;
  ESDAction& operator=(const ESDAction&) = delete;
  virtual ~ESDAction() = default;

  virtual void DidReceiveSettings(const nlohmann::json& /*settings*/) {}
  virtual void KeyDown(const nlohmann::json& /*settings*/) {}
  virtual void KeyUp(const nlohmann::json& /*settings*/) {}
  virtual void DialUp(const nlohmann::json& /*settings*/) {}
  virtual void DialDown(const nlohmann::json& /*settings*/) {}
  virtual void SendToPlugin(const nlohmann::json& /*payload*/) {}
  virtual void WillAppear(const nlohmann::json& /*settings*/) {}
  // The ticks are a count; the direction is in the name.
  virtual void RotateClockwise(const nlohmann::json& /*settings*/, unsigned int /*ticks*/,
                               bool /*pressed*/) {}
  virtual void RotateCounterClockwise(const nlohmann::json& /*settings*/, unsigned int /*ticks*/,
                                      bool /*pressed*/) {}

  std::string GetAction() const { return mAction; }
  std::string GetContext() const { return mContext; }
  ESDConnectionManager* GetESD() const { return mESD; }

  // The connection's commands of the same names, for this context.
  void SetState(int state);
  void SetTitle(const std::string& title, int target, int state);
  void SetImage(const std::string& image, int target, int state);
  void SetSettings(const nlohmann::json& settings);
  void ShowAlert();
  void ShowOK();
  void SetFeedback(const nlohmann::json& feedback);
  void SetFeedbackLayout(const std::string& layout);
  void SendToPropertyInspector(const nlohmann::json& payload);

 private:
  std::string mAction;
  std::string mContext;
  ESDConnectionManager* mESD;  // not owned
};
