#include "StreamDeckSDK/ESDDialPresses.h"

bool ESDDialPresses::Repeats(const std::string& context, Form form, bool isPressed) {
  const auto found = mLast.find(context);
  if (found != mLast.end() && found->second.form != form && found->second.isPressed == isPressed) {
    return true;
  }
  mLast[context] = {form, isPressed};
  return false;
}
