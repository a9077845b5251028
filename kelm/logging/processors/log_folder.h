#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace kelm::logging {

/// The present milliseconds since 1970, as decimal text without a fraction.
std::string timeStamp();

/// Removes the oldest log files ("<digits>.txt", "CRITICAL_<digits>.txt") of a folder until at most
/// `files` of `bytes` together are left, counting `kept`, which stays. Failures are ignored.
void removeOldLogs(const std::string& folder, const std::string& kept,
                   std::optional<std::size_t> files, std::optional<std::uint64_t> bytes);

}  // namespace kelm::logging
