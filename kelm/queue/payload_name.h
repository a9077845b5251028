#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/date.h"

namespace kelm::payload_name {

inline constexpr std::string_view kSeparator = "___";
inline constexpr std::string_view kExtension = ".dat";

/// "<whole milliseconds since 1970>___<queue ID>.dat"
std::string make(Date created, std::string_view queueId);
/// The queue ID in the name of a payload file: the second of the pieces between "___". Absent
/// when the name has no such piece or an empty one.
std::optional<std::string> queueIdOf(std::string_view path);
/// Whether a file of this queue ID lies in the folder and nowhere else.
bool staysInFolder(std::string_view queueId);

}  // namespace kelm::payload_name
