#include "kelm/platform/linux/url_sessions_response.h"

#include "kelm/platform/cookies.h"

namespace kelm::platform::url_sessions {

namespace {

constexpr std::size_t kMaxHeadBytes = 512 * 1024;
constexpr std::size_t kMaxHeadLines = 1000;

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
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
  std::vector<std::pair<std::string_view, std::string>> fields;
  forEachField([&](std::string_view name, std::string_view value) {
    for (auto& [known, joined] : fields) {
      if (!equalsIgnoringCase(known, name)) continue;
      joined.append(", ").append(value);
      return;
    }
    fields.emplace_back(name, value);
  });
  Dictionary dictionary;
  for (auto& [name, value] : fields)
    dictionary.set(name, std::move(value));
  return dictionary;
}

std::vector<std::string_view> ResponseHead::values(std::string_view name) const {
  std::vector<std::string_view> values;
  forEachField([&](std::string_view field, std::string_view value) {
    if (equalsIgnoringCase(field, name)) values.push_back(value);
  });
  return values;
}

}  // namespace kelm::platform::url_sessions
