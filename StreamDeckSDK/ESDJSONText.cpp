#include "StreamDeckSDK/ESDJSONText.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

using nlohmann::json;

namespace {

constexpr std::size_t kLongString = 32;  // bytes: a longer one is cheaper to leave out and put back

// A string of a text: where it ends, at its closing quote or with the text, and whether all of it
// is plain.
struct Extent {
  std::size_t end;
  bool isPlain;
};

// `begin` is the index after the opening quote. The index never goes back, so that the time doesn't
// depend on what the string holds.
Extent ExtentOf(std::string_view text, std::size_t begin) {
  std::size_t i = begin;
  while (text.size() - i >= kLongString && ESDJSONText::IsPlain(text.substr(i, kLongString))) {
    i += kLongString;
  }
  const std::size_t plainTo = i;
  while (i < text.size() && text[i] != '"') {
    i += text[i] == '\\' ? 2 : 1;  // an escaped quote doesn't end the string
  }
  i = std::min(i, text.size());
  return {i, i - plainTo < kLongString && ESDJSONText::IsPlain(text.substr(plainTo, i - plainTo))};
}

// A text in which empty strings take the place of the long plain ones, since the library would read
// an image character by character. It is valid if the whole text is.
struct Outline {
  struct Removed {
    std::size_t number;  // among all strings of the text
    std::string_view content;
  };

  std::string text;
  std::vector<Removed> removed;
};

Outline OutlineOf(std::string_view text) {
  Outline outline;
  std::size_t copied = 0;
  std::size_t number = 0;
  for (std::size_t quote = text.find('"'); quote != std::string_view::npos; ++number) {
    const std::size_t begin = quote + 1;
    const Extent extent = ExtentOf(text, begin);
    if (extent.isPlain && extent.end - begin > kLongString) {
      outline.removed.push_back({number, text.substr(begin, extent.end - begin)});
      outline.text += text.substr(copied, begin - copied);
      copied = extent.end;
    }
    quote = extent.end < text.size() ? text.find('"', extent.end + 1) : std::string_view::npos;
  }
  if (!outline.removed.empty()) outline.text += text.substr(copied);
  return outline;
}

// Builds the value from the parts that the library reports, and puts the missing strings back.
class Builder : public json::json_sax_t {
 public:
  explicit Builder(const std::vector<Outline::Removed>& removed)
      : mNext(removed.begin()), mEnd(removed.end()) {}

  json Take() { return std::move(mRoot); }

  bool null() override { return Add(nullptr); }
  bool boolean(bool value) override { return Add(value); }
  bool number_integer(json::number_integer_t value) override { return Add(value); }
  bool number_unsigned(json::number_unsigned_t value) override { return Add(value); }
  bool number_float(json::number_float_t value, const std::string& /*text*/) override {
    return Add(value);
  }
  bool string(std::string& text) override { return Add(Complete(text)); }
  bool binary(json::binary_t& /*bytes*/) override { return false; }  // no text holds any
  bool start_object(std::size_t /*size*/) override { return Open(json::object()); }
  bool key(std::string& text) override {
    mName = Complete(text);
    return true;
  }
  bool end_object() override { return Close(); }
  bool start_array(std::size_t /*size*/) override { return Open(json::array()); }
  bool end_array() override { return Close(); }
  bool parse_error(std::size_t /*at*/, const std::string& /*token*/,
                   const json::exception& /*error*/) override {
    return false;
  }

 private:
  std::string Complete(std::string& text) {
    const bool isRemoved = mNext != mEnd && mNext->number == mNumber;
    ++mNumber;
    return isRemoved ? std::string(mNext++->content) : std::move(text);
  }

  json& Put(json value) {
    if (mContainers.empty()) return mRoot = std::move(value);
    json& container = *mContainers.back();
    if (container.is_object()) return container[mName] = std::move(value);
    return container.emplace_back(std::move(value));
  }

  bool Add(json value) {
    Put(std::move(value));
    return true;
  }

  bool Open(json container) {
    if (mContainers.size() == ESDJSONText::kMaxDepth) {
      throw std::runtime_error("the JSON nests too deeply");
    }
    mContainers.push_back(&Put(std::move(container)));
    return true;
  }

  bool Close() {
    mContainers.pop_back();
    return true;
  }

  std::vector<Outline::Removed>::const_iterator mNext;
  std::vector<Outline::Removed>::const_iterator mEnd;
  std::size_t mNumber = 0;
  json mRoot;
  std::vector<json*> mContainers;  // that are being read, the innermost last
  std::string mName;               // of the member that comes next
};

json ReadText(const std::string& text, bool isAll) {
  const Outline outline = OutlineOf(text);
  Builder builder(outline.removed);
  const std::string& shorter = outline.removed.empty() ? text : outline.text;
  if (json::sax_parse(shorter, &builder, json::input_format_t::json, isAll)) return builder.Take();
  // The library alone parses it once more: its error tells where in the whole text the fault is.
  if (isAll) return json::parse(text);
  json first;
  std::istringstream(text) >> first;
  return first;
}

}  // namespace

json ESDJSONText::Read(const std::string& text) {
  return ReadText(text, true);
}

json ESDJSONText::ReadFirst(const std::string& text) {
  return ReadText(text, false);
}

// The loop has no early exit, so that compilers can check many characters at a time.
bool ESDJSONText::IsPlain(std::string_view text) {
  unsigned char special = 0;
  for (const char character : text) {
    const auto c = static_cast<unsigned char>(character);
    special |= static_cast<unsigned char>(static_cast<int>(c < ' ') | static_cast<int>(c > '~') |
                                          static_cast<int>(c == '"') | static_cast<int>(c == '\\'));
  }
  return special == 0;
}
