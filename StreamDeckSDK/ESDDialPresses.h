// Makes one press of the two forms in which hosts tell of a dial's press: "dialPress" with a member
// that says which way, and the pair "dialDown" and "dialUp". There are hosts that send one form,
// and hosts that send both, in any order.
#pragma once

#include <map>
#include <string>

// One thread.
class ESDDialPresses {
 public:
  enum class Form { Single, Pair };

  // Whether the event repeats the other form's report that this dial is pressed, or released.
  // Events of one form never count as repeated: a host that sends one form only is passed on as it
  // is.
  bool Repeats(const std::string& context, Form form, bool isPressed) {
    const auto last = mLast.find(context);
    if (last != mLast.end() && last->second.form != form && last->second.isPressed == isPressed) {
      return true;
    }
    mLast[context] = {form, isPressed};
    return false;
  }

  // The context is no longer on show.
  void Forget(const std::string& context) { mLast.erase(context); }

 private:
  struct Report {
    Form form;
    bool isPressed;
  };

  std::map<std::string, Report> mLast;  // the newest that wasn't a repetition, by context
};
