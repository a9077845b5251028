#include "kelm/device/internet_status.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/platform/file_system.h"

namespace kelm {

namespace {

constexpr std::uint64_t kUp = 1;
constexpr std::uint64_t kReject = 0x200;

struct RouteTable {
  const char* file;
  std::size_t interface, destination, prefix, flags;  // which word of a line
};
constexpr RouteTable kTables[] = {{"/proc/net/route", 0, 1, 7, 3},
                                  {"/proc/net/ipv6_route", 9, 0, 1, 8}};

std::vector<std::string> wordsOf(std::string_view line) {
  std::vector<std::string> words;
  for (std::size_t at = 0; at < line.size();) {
    const std::size_t from = line.find_first_not_of(" \t", at);
    if (from == line.npos) break;
    at = std::min(line.find_first_of(" \t", from), line.size());
    words.emplace_back(line.substr(from, at - from));
  }
  return words;
}

/// 0 when the line is no usable default route.
std::int64_t statusOfRoute(const RouteTable& table, const std::vector<std::string>& words) {
  if (words.size() <= std::max({table.interface, table.prefix, table.flags})) return 0;
  const bool isDefault = words[table.destination].find_first_not_of('0') == std::string::npos &&
                         words[table.prefix].find_first_not_of('0') == std::string::npos;
  const std::uint64_t flags = std::strtoull(words[table.flags].c_str(), nullptr, 16);
  const std::string& interface = words[table.interface];
  if (!isDefault || (flags & (kUp | kReject)) != kUp || interface == "lo") return 0;
  return interface.starts_with("wwan") ? 2 : 1;
}

}  // namespace

std::int64_t internetStatus() {
  std::int64_t best = 0;
  for (const RouteTable& table : kTables) {
    const auto content = platform::current<platform::FileSystem>()->readFile(table.file);
    std::string_view rest = content ? textOf(*content) : std::string_view();
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find('\n'), rest.size());
      const std::int64_t status = statusOfRoute(table, wordsOf(rest.substr(0, end)));
      if (status == 1) return 1;
      best = std::max(best, status);
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
  }
  return best;
}

}  // namespace kelm
