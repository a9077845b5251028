#include "kelm/queue/payload_name.h"

#include "kelm/base/format.h"

namespace kelm::payload_name {

std::string make(Date created, std::string_view queueId) {
  // To the microsecond, which a date resolves: 501 ms may be held as 500.9999.
  std::string name = format("%.3f", created.secondsSince1970 * 1000.0);
  name.resize(std::min(name.find_first_of(".,"), name.size()));
  name += kSeparator;
  name += queueId;
  name += kExtension;
  return name;
}

std::optional<std::string> queueIdOf(std::string_view path) {
  std::string_view name = path.substr(path.rfind('/') + 1);
  const std::size_t dot = name.rfind('.');
  if (dot != std::string_view::npos && dot > 0) name = name.substr(0, dot);
  const std::size_t separator = name.find(kSeparator);
  if (separator == std::string_view::npos) return std::nullopt;
  name.remove_prefix(separator + kSeparator.size());
  name = name.substr(0, name.find(kSeparator));
  if (name.empty()) return std::nullopt;
  return std::string(name);
}

bool staysInFolder(std::string_view queueId) {
  return queueId.find('\0') == std::string_view::npos &&
         queueId.find('/') == std::string_view::npos &&
         queueId.find("..") == std::string_view::npos;
}

}  // namespace kelm::payload_name
