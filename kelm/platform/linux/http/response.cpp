#include "kelm/platform/linux/http/response.h"

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
  if (line.starts_with("HTTP/")) clear();
  if (++lines_ > kMaxHeadLines || text_.size() + line.size() > kMaxHeadBytes) return false;
  if (text_.empty()) text_.reserve(kUsualHeadBytes);
  text_.append(line);
  complete_ = complete_ || trimmed(line).empty();
  return true;
}

template <class Visitor>
void ResponseHead::forEachField(const Visitor& visit) const {
  std::string_view rest = text_;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size() - 1);
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || line.starts_with("HTTP/")) continue;
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
