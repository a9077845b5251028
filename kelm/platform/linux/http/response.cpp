#include "kelm/platform/linux/http/response.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "kelm/base/ascii.h"

namespace kelm::platform::url_sessions {

namespace {

constexpr std::size_t kMaxHeadBytes = 512 * 1024;
constexpr std::size_t kMaxHeadLines = 1000;

constexpr std::size_t kUsualHeadBytes = 512;

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isSpace(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back()))
    text.remove_suffix(1);
  return text;
}

/// The text under a name that was set before, in whatever case.
std::string* findIgnoringCase(Dictionary& fields, std::string_view name) {
  for (const auto& [known, value] : fields)
    if (equalsIgnoringCase(known, name)) return fields.find(known)->get<std::string>();
  return nullptr;
}

}  // namespace

void ResponseHead::clear() {
  text_.clear();
  lines_ = 0;
  complete_ = false;
}

bool ResponseHead::addLine(std::string_view line) {
  if (complete_ && !isInterim()) return true;
  if (complete_) clear();
  if (++lines_ > kMaxHeadLines || text_.size() + line.size() > kMaxHeadBytes) return false;
  if (text_.empty()) text_.reserve(kUsualHeadBytes);
  const bool isEnd = line == "\r\n" || line == "\n";
  if (!isEnd && isSpace(line[0]) && !text_.empty()) {
    text_.resize(trimmed(text_).data() + trimmed(text_).size() - text_.data());
    text_ += ' ';
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
  }
  text_.append(line);
  complete_ = isEnd;
  return !complete_ || isInterim() || hasClearLength();
}

/// A status of 1xx, after which another head follows; 101 would switch protocols, which nobody asks
/// for.
bool ResponseHead::isInterim() const {
  const std::size_t blank = text_.find(' ');
  return blank != std::string::npos && blank + 1 < text_.size() && text_[blank + 1] == '1';
}

/// One length at most, in 63 bits (RFC 9110, section 8.6): who reads another one than a proxy did
/// takes one answer for two.
bool ResponseHead::hasClearLength() const {
  std::optional<std::int64_t> known;
  for (std::string_view rest : values("content-length")) {
    for (;;) {
      const std::size_t comma = std::min(rest.find(','), rest.size());
      const std::string_view digits = trimmed(rest.substr(0, comma));
      std::int64_t length = -1;
      const char* const end = digits.data() + digits.size();
      const auto [stop, problem] = std::from_chars(digits.data(), end, length);
      if (problem != std::errc() || stop != end || length < 0 || known.value_or(length) != length)
        return false;
      known = length;
      if (comma == rest.size()) break;
      rest.remove_prefix(comma + 1);
    }
  }
  return true;
}

template <class Visitor>
void ResponseHead::forEachField(const Visitor& visit) const {
  std::string_view rest = text_;
  rest.remove_prefix(std::min(rest.find('\n'), rest.size() - 1) +
                     !rest.empty());  // the status line
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size() - 1);
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    visit(trimmed(line.substr(0, colon)), trimmed(line.substr(colon + 1)));
  }
}

Dictionary ResponseHead::fields() const {
  Dictionary fields;
  forEachField([&](std::string_view name, std::string_view value) {
    if (std::string* const known = findIgnoringCase(fields, name))
      known->append(", ").append(value);
    else
      fields.set(name, value);
  });
  return fields;
}

std::vector<std::string_view> ResponseHead::values(std::string_view name) const {
  std::vector<std::string_view> values;
  forEachField([&](std::string_view field, std::string_view value) {
    if (equalsIgnoringCase(field, name)) values.push_back(value);
  });
  return values;
}

}  // namespace kelm::platform::url_sessions
