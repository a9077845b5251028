#include "kelm/base/describe.h"

#include <double-conversion/double-to-string.h>

#include <cmath>

#include "kelm/base/civil_time.h"

namespace kelm {
namespace {

constexpr int kMaxDepth = 512;

/// How deep descriptions of this thread are nested, those that objects make included.
class Nesting {
 public:
  Nesting() { ++depth_; }
  ~Nesting() { --depth_; }
  Nesting(const Nesting&) = delete;
  Nesting& operator=(const Nesting&) = delete;
  bool tooDeep() const { return depth_ > kMaxDepth; }

 private:
  static thread_local int depth_;
};
thread_local int Nesting::depth_ = 0;

void appendPadded(std::string& out, std::int64_t number, std::size_t digits) {
  if (number < 0) out += '-';
  const std::string text =
      std::to_string(number < 0 ? -static_cast<std::uint64_t>(number) : number);
  if (text.size() < digits) out.append(digits - text.size(), '0');
  out += text;
}

void appendHex(std::string& out, DataView bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  for (const std::uint8_t byte : bytes) {
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
}

void appendValue(std::string& out, const Value& value, std::size_t level);

void appendList(std::string& out, const List& list, std::size_t level) {
  const std::string margin(4 * level, ' ');
  out += '(';
  for (std::size_t i = 0; i < list.size(); ++i) {
    out.append(i == 0 ? "\n    " : ",\n    ").append(margin);
    appendValue(out, list[i], level + 1);
  }
  out.append("\n").append(margin) += ')';
}

void appendDictionary(std::string& out, const Dictionary& dictionary, std::size_t level) {
  const std::string margin(4 * level, ' ');
  out += "{\n";
  for (const Dictionary::Entry& entry : dictionary) {
    out.append(margin).append("    ").append(entry.key).append(" = ");
    appendValue(out, entry.value, level + 1);
    out += ";\n";
  }
  out.append(margin) += '}';
}

struct Describer {
  std::string& out;
  std::size_t level;

  void operator()(const Null&) const { out += "<null>"; }
  void operator()(const std::string& text) const { out += text; }
  void operator()(const List& list) const { appendList(out, list, level); }
  void operator()(const Dictionary& dictionary) const { appendDictionary(out, dictionary, level); }
  template <class T>
  void operator()(const T& other) const {
    out += describe(other);
  }
};

void appendValue(std::string& out, const Value& value, std::size_t level) {
  const Nesting nesting;
  if (nesting.tooDeep())
    out += "...";
  else
    std::visit(Describer{out, level}, value.storage());
}

}  // namespace

std::string describe(std::string_view text) { return std::string(text); }
std::string describe(bool value) { return value ? "1" : "0"; }
std::string describe(std::int64_t number) { return std::to_string(number); }
std::string describe(std::uint64_t number) { return std::to_string(number); }
std::string describe(double number) { return shortestText(number); }
std::string describe(const Decimal& number) { return number.text(); }

std::string describe(DataView data) {
  std::string out = "{length = " + std::to_string(data.size()) + ", bytes = 0x";
  if (data.size() <= 24) {
    appendHex(out, data);
  } else {
    appendHex(out, data.first(16));
    out += " ... ";
    appendHex(out, data.last(8));
  }
  return out += '}';
}

std::string describe(Date date) {
  const double seconds = std::floor(date.secondsSince1970);
  if (!(std::abs(seconds) <= 1e17)) return shortestText(seconds) + " seconds since 1970";
  const CivilTime civil = civilTime(static_cast<std::int64_t>(seconds));
  std::string out;
  appendPadded(out, civil.year, 4);
  for (const auto& [separator, field] :
       {std::pair('-', civil.month), std::pair('-', civil.day), std::pair(' ', civil.hour),
        std::pair(':', civil.minute), std::pair(':', civil.second)}) {
    out += separator;
    appendPadded(out, field, 2);
  }
  return out += " +0000";
}

std::string describe(const List& list) {
  std::string out;
  appendList(out, list, 0);
  return out;
}

std::string describe(const Dictionary& dictionary) {
  std::string out;
  appendDictionary(out, dictionary, 0);
  return out;
}

std::string describe(const Value& value) { return describe(value, 0); }
std::string describe(const Value& value, std::size_t level) {
  std::string out;
  appendValue(out, value, level);
  return out;
}

std::string describe(const Error& error) {
  std::string out = "Error Domain=" + error.domain + " Code=" + std::to_string(error.code) + " \"" +
                    error.localizedDescription() + '"';
  std::string_view separator = " UserInfo={";
  for (const Dictionary::Entry& entry : error.userInfo) {
    if (entry.key == Error::kSentenceKey) continue;
    out.append(separator).append(entry.key).append("=").append(describe(entry.value));
    separator = ", ";
  }
  return separator == ", " ? out += '}' : out;
}

std::string describe(const std::exception& exception) { return exception.what(); }

std::string describe(const Object& object) {
  const Nesting nesting;
  return nesting.tooDeep() ? "..." : object.description();
}

std::string shortestText(double number) {
  using double_conversion::DoubleToStringConverter;
  char buffer[DoubleToStringConverter::kMaxCharsEcmaScriptShortest + 1];
  double_conversion::StringBuilder builder(buffer, sizeof buffer);
  DoubleToStringConverter::EcmaScriptConverter().ToShortest(number, &builder);
  const int length = builder.position();
  builder.Finalize();
  return std::string(buffer, static_cast<std::size_t>(length));
}

}  // namespace kelm
