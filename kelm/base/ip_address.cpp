#include "kelm/base/ip_address.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

#include "kelm/base/ascii.h"

namespace kelm {

namespace {

/// The four bytes as one number.
std::optional<std::uint32_t> ipv4Of(std::string_view text) {
  std::uint32_t address = 0;
  for (int i = 0; i < 4; ++i) {
    std::uint8_t byte = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), byte);
    const auto size = static_cast<std::size_t>(end - text.data());
    if (problem != std::errc() || (size > 1 && text[0] == '0')) return std::nullopt;
    address = address << 8 | byte;
    text.remove_prefix(size);
    if (i == 3) break;
    if (!text.starts_with('.')) return std::nullopt;
    text.remove_prefix(1);
  }
  return text.empty() ? std::optional(address) : std::nullopt;
}

constexpr std::size_t kGroups = 8;
using Groups = std::array<std::uint16_t, kGroups>;

/// Reads groups between colons into the front of `groups`; an IPv4 address may be the last. Returns
/// how many there are, absent if they are malformed or too many.
std::optional<std::size_t> readGroups(std::string_view text, Groups& groups) {
  std::size_t count = 0;
  while (!text.empty()) {
    const std::string_view group = text.substr(0, text.find(':'));
    if (group.find('.') != std::string_view::npos) {
      const auto address = ipv4Of(text);
      if (!address || count + 2 > kGroups) return std::nullopt;
      groups[count] = static_cast<std::uint16_t>(*address >> 16);
      groups[count + 1] = static_cast<std::uint16_t>(*address);
      return count + 2;
    }
    if (group.empty() || group.size() > 4 || count == kGroups) return std::nullopt;
    const auto [end, problem] =
        std::from_chars(group.data(), group.data() + group.size(), groups[count], 16);
    if (problem != std::errc() || end != group.data() + group.size()) return std::nullopt;
    ++count;
    if (group.size() == text.size()) break;
    text.remove_prefix(group.size() + 1);
    if (text.empty()) return std::nullopt;  // a colon at the end
  }
  return count;
}

std::optional<Groups> groupsOf(std::string_view text) {
  Groups groups{}, tail{};
  const std::size_t gap = text.find("::");
  const auto front = readGroups(text.substr(0, gap), groups);
  if (!front) return std::nullopt;
  if (gap == std::string_view::npos)
    return *front == kGroups ? std::optional(groups) : std::nullopt;
  if (text.substr(0, gap).find('.') != std::string_view::npos) return std::nullopt;
  const auto back = readGroups(text.substr(gap + 2), tail);
  if (!back || *front + *back >= kGroups) return std::nullopt;
  std::copy(tail.begin(), tail.begin() + static_cast<std::ptrdiff_t>(*back),
            groups.end() - static_cast<std::ptrdiff_t>(*back));
  return groups;
}

void appendHex(std::string& text, std::uint16_t group) {
  std::array<char, 4> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), group, 16).ptr;
  text.append(digits.data(), end);
}

struct Run {
  std::size_t start = kGroups;
  std::size_t size = 1;  // a single group of zeros is written as it is
};

/// The first of the longest runs of at least two zeros.
Run zerosOf(const Groups& groups) {
  Run longest;
  for (std::size_t i = 0, size = 0; i < kGroups; ++i) {
    size = groups[i] == 0 ? size + 1 : 0;
    if (size > longest.size) longest = {i + 1 - size, size};
  }
  return longest;
}

}  // namespace

bool isIpv4Address(std::string_view text) { return ipv4Of(text).has_value(); }

std::optional<std::string> canonicalIpv6Address(std::string_view text) {
  const auto groups = groupsOf(text);
  if (!groups) return std::nullopt;
  const Run zeros = zerosOf(*groups);
  const bool isMapped = zeros.start == 0 && zeros.size == 5 && (*groups)[5] == 0xFFFF;
  std::string result;
  for (std::size_t i = 0; i < kGroups; ++i) {
    if (i == zeros.start) {
      result += "::";
      i += zeros.size - 1;
      continue;
    }
    if (!result.empty() && !result.ends_with(':')) result += ':';
    if (isMapped && i == 6) {
      for (const int byte : {(*groups)[6] >> 8, (*groups)[6] & 0xFF, (*groups)[7] >> 8})
        result.append(std::to_string(byte)).append(".");
      return result.append(std::to_string((*groups)[7] & 0xFF));
    }
    appendHex(result, (*groups)[i]);
  }
  return result;
}

}  // namespace kelm
