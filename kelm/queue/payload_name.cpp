#include "kelm/queue/payload_name.h"

#include <cmath>

#include "kelm/base/format.h"

namespace kelm::payload_name {

std::string make(Date created, std::string_view queueId) {
  // Cut, not rounded: the last millisecond whose own date is not later. The product alone may fall
  // on either side of it.
  double milliseconds = std::floor(created.secondsSince1970 * 1000.0);
  if ((milliseconds + 1) / 1000.0 <= created.secondsSince1970) ++milliseconds;
  if (milliseconds / 1000.0 > created.secondsSince1970) --milliseconds;
  std::string name = format("%.0f", milliseconds);
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
