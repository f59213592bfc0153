// From text to JSON and back, without looking at each character of what is long and plain.
#include <cstring>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "StreamDeckSDK/EPLJSONUtils.h"

using nlohmann::json;

namespace {

constexpr std::size_t kLongString = 32;  // characters; with more, it pays to read it another way
constexpr std::size_t kRoom = 192;       // bytes that most texts to be written fit in

// The first object or array of a text.
struct Extent {
  bool tooDeep;
  std::size_t end;  // behind it, or the text's end if it isn't complete
};

// The index behind the string that begins at `i`, behind its opening quote. Long strings are the
// rule here, and hardly any holds a backslash: both are looked for many characters at a time.
std::size_t skipString(std::string_view text, std::size_t i) {
  const auto find = [&](char c, std::size_t from, std::size_t to) {
    const void* found = std::memchr(text.data() + from, c, to - from);
    return found == nullptr
               ? to
               : static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
  };
  while (i < text.size()) {
    const std::size_t quote = find('"', i, text.size());
    const std::size_t backslash = find('\\', i, quote);
    if (backslash == quote) return quote + 1;
    i = backslash + 2;  // whatever is escaped doesn't end the string
  }
  return text.size();
}

Extent measure(std::string_view text) {
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"') {
      i = skipString(text, i + 1) - 1;
    } else if (c == '{' || c == '[') {
      if (++depth > EPLJSONUtils::kMaxDepth) return {true, i};
    } else if (c == '}' || c == ']') {
      if (--depth <= 0) return {false, i + 1};
    }
  }
  return {false, text.size()};
}

// Whether JSON holds the characters as they are: ASCII with nothing to escape. There is no way out
// of the loop, so that compilers look at many of them at a time.
bool isPlain(std::string_view text) {
  unsigned char special = 0;
  for (const char character : text) {
    const auto c = static_cast<unsigned char>(character);
    special |= static_cast<unsigned char>(static_cast<int>(c < ' ') | static_cast<int>(c > '~') |
                                          static_cast<int>(c == '"') | static_cast<int>(c == '\\'));
  }
  return special == 0;
}

// A text less its long plain strings, of which empty ones are left: the library would read an image
// character by character. It is valid if the whole text is.
struct Outline {
  struct Removed {
    std::size_t number;  // among all strings of the text
    std::string_view content;
  };

  std::string text;
  std::vector<Removed> removed;
};

Outline outlineOf(std::string_view text) {
  Outline outline;
  std::size_t copied = 0;
  std::size_t number = 0;
  for (std::size_t quote = text.find('"'); quote != std::string_view::npos; ++number) {
    const std::size_t begin = quote + 1;
    const std::size_t behind = skipString(text, begin);
    const std::string_view content = text.substr(begin, behind - 1 - begin);
    if (content.size() > kLongString && isPlain(content)) {
      outline.removed.push_back({number, content});
      outline.text += text.substr(copied, begin - copied);
      copied = behind - 1;
    }
    quote = text.find('"', behind);
  }
  outline.text += text.substr(copied);
  return outline;
}

// Makes the value that the library tells of, with the strings that its text lacks.
class Builder : public json::json_sax_t {
 public:
  explicit Builder(const std::vector<Outline::Removed>& removed)
      : next(removed.begin()), end(removed.end()) {}

  json take() { return std::move(root); }

  bool null() override { return add(nullptr); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(json::number_integer_t value) override { return add(value); }
  bool number_unsigned(json::number_unsigned_t value) override { return add(value); }
  bool number_float(json::number_float_t value, const std::string& /*text*/) override {
    return add(value);
  }
  bool string(std::string& text) override { return add(complete(text)); }
  bool binary(json::binary_t& /*bytes*/) override { return false; }  // no text holds any
  bool start_object(std::size_t /*size*/) override { return open(json::object()); }
  bool key(std::string& text) override {
    name = complete(text);
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t /*size*/) override { return open(json::array()); }
  bool end_array() override { return close(); }
  bool parse_error(std::size_t /*at*/, const std::string& /*token*/,
                   const json::exception& /*error*/) override {
    return false;
  }

 private:
  std::string complete(std::string& text) {
    const bool isRemoved = next != end && next->number == number;
    ++number;
    return isRemoved ? std::string(next++->content) : std::move(text);
  }

  json& put(json value) {
    if (containers.empty()) return root = std::move(value);
    json& container = *containers.back();
    if (container.is_object()) return container[name] = std::move(value);
    return container.emplace_back(std::move(value));
  }

  bool add(json value) {
    put(std::move(value));
    return true;
  }

  bool open(json container) {
    containers.push_back(&put(std::move(container)));
    return true;
  }

  bool close() {
    containers.pop_back();
    return true;
  }

  std::vector<Outline::Removed>::const_iterator next;
  std::vector<Outline::Removed>::const_iterator end;
  std::size_t number = 0;
  json root;
  std::vector<json*> containers;  // that are being read, the innermost last
  std::string name;               // of the member that comes next
};

// Nothing if there is nothing to gain, or an error to be told of.
std::optional<json> parseOutline(std::string_view text) {
  if (text.size() <= kLongString) return std::nullopt;
  const Outline outline = outlineOf(text);
  if (outline.removed.empty()) return std::nullopt;
  Builder builder(outline.removed);
  if (!json::sax_parse(outline.text, &builder)) return std::nullopt;
  return builder.take();
}

void append(const json& value, std::string& text);

void appendString(const std::string& value, std::string& text) {
  if (isPlain(value)) {
    // With room for what closes the text: else an image would be copied once more.
    text.reserve(text.size() + value.size() + kRoom);
    text += '"';
    text += value;
    text += '"';
  } else {
    text += json(value).dump();
  }
}

void appendObject(const json& object, std::string& text) {
  char before = '{';
  for (const auto& member : object.items()) {
    text += before;
    appendString(member.key(), text);
    text += ':';
    append(member.value(), text);
    before = ',';
  }
  text += object.empty() ? "{}" : "}";
}

void appendArray(const json& array, std::string& text) {
  char before = '[';
  for (const json& element : array) {
    text += before;
    append(element, text);
    before = ',';
  }
  text += array.empty() ? "[]" : "]";
}

void append(const json& value, std::string& text) {
  switch (value.type()) {
    case json::value_t::object:
      return appendObject(value, text);
    case json::value_t::array:
      return appendArray(value, text);
    case json::value_t::string:
      return appendString(value.get_ref<const std::string&>(), text);
    case json::value_t::number_integer:
      text += std::to_string(value.get<json::number_integer_t>());
      return;
    default:
      text += value.dump();
  }
}

}  // namespace

bool EPLJSONUtils::IsTooDeep(const std::string& text) {
  return measure(text).tooDeep;
}

// The library reads a range of characters several times faster than a stream, but insists that it
// ends with the value. An object or array says where it ends. Anything else goes the slow way.
json EPLJSONUtils::ParseFirst(const std::string& text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start != std::string::npos && (text[start] == '{' || text[start] == '[')) {
    const std::string_view first(text.data(), measure(text).end);
    if (auto value = parseOutline(first)) return std::move(*value);
    return json::parse(first);
  }
  json value;
  std::istringstream(text) >> value;
  return value;
}

std::string EPLJSONUtils::Dump(const json& value) {
  std::string text;
  text.reserve(kRoom);
  append(value, text);
  return text;
}
