#include "kelm/logging/processors/log_folder.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "kelm/base/describe.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/file_system.h"

namespace kelm::logging {

namespace {

using platform::FileSystem;

constexpr std::string_view kCritical = "CRITICAL_";
constexpr std::string_view kExtension = ".txt";

/// The milliseconds in the name of a log file; absent for other files, which are not ours to
/// remove.
std::optional<std::uint64_t> millisecondsOf(std::string_view name) {
  if (name.starts_with(kCritical)) name.remove_prefix(kCritical.size());
  if (!name.ends_with(kExtension)) return std::nullopt;
  name.remove_suffix(kExtension.size());
  const bool isNumber = std::ranges::all_of(name, [](char c) { return c >= '0' && c <= '9'; });
  if (name.empty() || name.size() > 15 || !isNumber) return std::nullopt;
  return std::stoull(std::string(name));
}

}  // namespace

std::string timeStamp() {
  const double now = platform::current<platform::Clock>()->now().secondsSince1970 * 1000.0;
  std::string text = describe(now);
  std::ranges::replace(text, ',', '.');
  return text.substr(0, text.find('.'));
}

void removeOldLogs(const std::string& folder, const std::string& kept,
                   std::optional<std::size_t> files, std::optional<std::uint64_t> bytes) {
  if (!files && !bytes) return;
  const auto& fileSystem = platform::current<FileSystem>();
  const auto entries = fileSystem->list(folder);
  if (!entries) return;
  std::vector<std::pair<std::uint64_t, std::string>> logs;
  for (const auto& entry : *entries) {
    const auto time = millisecondsOf(entry.name);
    if (time && entry.kind == platform::FileKind::Regular && folder + '/' + entry.name != kept)
      logs.emplace_back(*time, folder + '/' + entry.name);
  }
  std::ranges::sort(logs, std::greater());
  const auto sizeOf = [&](const std::string& path) {
    const auto status = fileSystem->status(path);
    return status ? status->size : 0;
  };
  std::size_t filesLeft = std::max<std::size_t>(files.value_or(logs.size() + 1), 1) - 1;
  std::uint64_t bytesLeft = bytes.value_or(std::numeric_limits<std::uint64_t>::max());
  bytesLeft -= std::min(bytesLeft, sizeOf(kept));
  bool isFull = false;
  for (const auto& [time, path] : logs) {
    const std::uint64_t size = sizeOf(path);
    isFull = isFull || filesLeft == 0 || size > bytesLeft;
    if (isFull) {
      static_cast<void>(fileSystem->remove(path));
      continue;
    }
    --filesLeft;
    bytesLeft -= size;
  }
}

}  // namespace kelm::logging
