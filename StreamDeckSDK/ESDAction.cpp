#include "StreamDeckSDK/ESDAction.h"

#include "StreamDeckSDK/ESDConnectionManager.h"

void ESDAction::SetState(int state) {
  mESD->SetState(state, mContext);
}

void ESDAction::SetTitle(const std::string& title, int target, int state) {
  mESD->SetTitle(title, mContext, target, state);
}

void ESDAction::SetImage(const std::string& image, int target, int state) {
  mESD->SetImage(image, mContext, target, state);
}

void ESDAction::SetSettings(const nlohmann::json& settings) {
  mESD->SetSettings(settings, mContext);
}

void ESDAction::ShowAlert() {
  mESD->ShowAlertForContext(mContext);
}

void ESDAction::ShowOK() {
  mESD->ShowOKForContext(mContext);
}

void ESDAction::SetFeedback(const nlohmann::json& feedback) {
  mESD->SetFeedback(feedback, mContext);
}

void ESDAction::SetFeedbackLayout(const std::string& layout) {
  mESD->SetFeedbackLayout(layout, mContext);
}

void ESDAction::SendToPropertyInspector(const nlohmann::json& payload) {
  mESD->SendToPropertyInspector(mAction, mContext, payload);
}
