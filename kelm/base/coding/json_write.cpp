#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "kelm/base/coding/json.h"
#include "kelm/base/describe.h"
#include "kelm/base/utf16.h"

namespace kelm {
namespace {

/// What stands for a byte that must not stand in a text itself.
std::string_view escaped(char c, char (&buffer)[6]) {
  switch (c) {
    case '"':
      return "\\\"";
    case '\\':
      return "\\\\";
    case '/':
      return "\\/";
    case '\b':
      return "\\b";
    case '\f':
      return "\\f";
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      break;
  }
  const auto byte = static_cast<unsigned char>(c);
  constexpr char kDigits[] = "0123456789abcdef";
  const char text[] = {'\\', 'u', '0', '0', kDigits[byte >> 4], kDigits[byte & 15]};
  std::copy(std::begin(text), std::end(text), buffer);
  return {buffer, sizeof buffer};
}

constexpr std::array<bool, 256> kMustEscape = [] {
  std::array<bool, 256> must{};
  for (std::size_t c = 0; c < 0x20; ++c)
    must[c] = true;
  for (const unsigned char c : {'"', '\\', '/'})
    must[c] = true;
  return must;
}();

/// Every member is false when the value cannot be JSON.
class Writer {
 public:
  Writer(std::string& out, bool isPretty) : out_(out), isPretty_(isPretty) {}

  bool write(const Value& value) {
    return std::visit([this](const auto& content) { return put(content); }, value.storage());
  }

 private:
  bool put(const Null&) { return raw("null"); }
  bool put(bool value) { return raw(value ? "true" : "false"); }
  bool put(std::int64_t number) { return integer(number); }
  bool put(std::uint64_t number) { return integer(number); }
  bool put(double number) { return std::isfinite(number) && raw(shortestText(number)); }
  bool put(const Decimal& number) { return raw(number.text()); }
  bool put(const std::string& text) {
    if (!isValidUtf8(text)) return false;
    out_ += '"';
    char buffer[6];
    std::size_t plain = 0;  // start of what is not written yet
    for (std::size_t at = 0; at < text.size(); ++at) {
      if (!kMustEscape[static_cast<unsigned char>(text[at])]) continue;
      out_.append(text, plain, at - plain).append(escaped(text[at], buffer));
      plain = at + 1;
    }
    out_.append(text, plain) += '"';
    return true;
  }
  bool put(const List& list) {
    return collection('[', ']', list, [this](const Value& item) { return write(item); });
  }
  bool put(const Dictionary& dictionary) {
    return collection('{', '}', dictionary, [this](const Dictionary::Entry& entry) {
      if (!put(entry.key)) return false;
      raw(isPretty_ ? " : " : ":");
      return write(entry.value);
    });
  }
  bool put(const Data&) { return false; }
  bool put(const Date&) { return false; }
  bool put(const ObjectPointer&) { return false; }

  template <class Items, class Put>
  bool collection(char opening, char closing, const Items& items, Put putItem) {
    if (depth_ == kJsonMaxDepth) return false;
    ++depth_;
    out_ += opening;
    bool isFirst = true;
    for (const auto& item : items) {
      if (!isFirst) out_ += ',';
      isFirst = false;
      newLine();
      if (!putItem(item)) return false;
    }
    --depth_;
    if (!isFirst) newLine();
    out_ += closing;
    return true;
  }
  void newLine() {
    if (isPretty_) (out_ += '\n').append(2 * static_cast<std::size_t>(depth_), ' ');
  }
  bool raw(std::string_view text) {
    out_ += text;
    return true;
  }
  template <class T>
  bool integer(T number) {
    char buffer[24];
    return raw({buffer, std::to_chars(buffer, buffer + sizeof buffer, number).ptr});
  }

  std::string& out_;
  const bool isPretty_;
  int depth_ = 0;
};

}  // namespace

std::optional<std::string> writeJson(const Value& value, JsonStyle style) {
  if (!value.get<List>() && !value.get<Dictionary>()) return {};
  std::string out;
  if (!Writer(out, style == JsonStyle::Pretty).write(value)) return {};
  return out;
}

}  // namespace kelm
