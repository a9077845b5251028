#include <algorithm>
#include <cmath>

#include "kelm/base/civil_time.h"
#include "kelm/base/coding/base64.h"
#include "kelm/base/coding/property_list.h"
#include "kelm/base/coding/xml_text.h"
#include "kelm/base/describe.h"
#include "kelm/base/format.h"
#include "kelm/base/utf16.h"

namespace kelm {
namespace {

/// Appends a text as XML content; false when XML cannot hold it.
bool appendContent(std::string& out, std::string_view text) {
  if (!isXmlText(text)) return false;
  std::size_t plain = 0;  // start of what is not written yet
  for (std::size_t at = 0; at < text.size(); ++at) {
    std::string_view entity;
    switch (text[at]) {
      case '&':
        entity = "&amp;";
        break;
      case '<':
        entity = "&lt;";
        break;
      case '>':
        entity = "&gt;";
        break;
      case '\r':
        entity = "&#13;";
        break;  // a bare one would be read as "\n"
      default:
        continue;
    }
    out.append(text, plain, at - plain).append(entity);
    plain = at + 1;
  }
  out.append(text, plain);
  return true;
}

std::string textOfReal(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number > 0 ? "inf" : "-inf";
  return number == 0 && std::signbit(number) ? "-0" : shortestText(number);
}

/// Every member is false when a property list cannot hold the value.
class Writer {
 public:
  explicit Writer(std::string& out) : out_(out) {}

  bool write(const Value& value) {
    return std::visit([this](const auto& content) { return put(content); }, value.storage());
  }

 private:
  bool put(const Null&) { return false; }
  bool put(const ObjectPointer&) { return false; }
  bool put(bool value) { return line(value ? "<true/>" : "<false/>"); }
  bool put(std::int64_t number) { return line(format("<integer>%lld</integer>", number)); }
  bool put(std::uint64_t number) { return line(format("<integer>%llu</integer>", number)); }
  bool put(double number) { return line(format("<real>%s</real>", textOfReal(number))); }
  bool put(const Decimal& number) { return line(format("<real>%s</real>", number.text())); }
  bool put(const std::string& text) { return element("string", text); }
  bool put(const Data& data) {
    indent();
    out_ += "<data>";
    appendBase64(out_, data);
    out_ += "</data>\n";
    return true;
  }
  bool put(Date date) {
    const double seconds = std::floor(date.secondsSince1970);
    if (!(std::abs(seconds) < 1e12)) return false;
    const CivilTime c = civilTime(static_cast<std::int64_t>(seconds));
    if (c.year < 0 || c.year > 9999) return false;
    return line(format("<date>%04lld-%02d-%02dT%02d:%02d:%02dZ</date>", c.year, c.month, c.day,
                       c.hour, c.minute, c.second));
  }
  bool put(const List& list) {
    return collection("array", list, [this](const Value& item) { return write(item); });
  }
  bool put(const Dictionary& dictionary) {
    return collection("dict", dictionary, [this](const Dictionary::Entry& entry) {
      return element("key", entry.key) && write(entry.value);
    });
  }

  template <class Items, class Put>
  bool collection(std::string_view name, const Items& items, Put putItem) {
    if (depth_ == kPropertyListMaxDepth) return false;
    if (items.begin() == items.end()) return line(format("<%s/>", name));
    line(format("<%s>", name));
    ++depth_;
    for (const auto& item : items)
      if (!putItem(item)) return false;
    --depth_;
    return line(format("</%s>", name));
  }
  bool element(std::string_view name, std::string_view text) {
    indent();
    out_.append("<").append(name) += '>';
    if (!appendContent(out_, text)) return false;
    out_.append("</").append(name).append(">\n");
    return true;
  }
  bool line(std::string_view text) {
    indent();
    out_.append(text) += '\n';
    return true;
  }
  void indent() { out_.append(static_cast<std::size_t>(depth_), '\t'); }

  std::string& out_;
  int depth_ = 0;
};

}  // namespace

bool isXmlText(std::string_view text) {
  if (!isValidUtf8(text)) return false;
  for (const std::string_view noncharacter : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"})
    if (text.find(noncharacter) != text.npos) return false;
  return std::all_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r';
  });
}

std::optional<std::string> writePropertyList(const Value& value) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
  if (!Writer(out).write(value)) return {};
  return out += "</plist>\n";
}

}  // namespace kelm
