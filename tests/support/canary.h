#pragma once

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

#include "kelm/base/data.h"

namespace kelm::testing {

/// The mark in every secret that a test plants, then the forms in which it could show: as it is,
/// in hexadecimal, in Base64 where it begins at any byte of three. No line of a log may hold one:
/// LogCapture looks at each line that it gets, check_canaries.py at all that the suite prints.
inline constexpr std::string_view kCanaryForms[] = {"canary5e7", "63616e617279356537",
                                                    "y2fuyxj5nwu3", "nhbmfyetvln", "jyw5hcnk1zt"};

/// A secret of `size` bytes, which are to hold the mark and the name.
inline std::string secretText(std::string_view name, std::size_t size) {
  std::string secret = std::string(kCanaryForms[0]) + std::string(name);
  secret.resize(size, '.');
  return secret;
}
inline Data secretBytes(std::string_view name, std::size_t size) {
  return dataOf(secretText(name, size));
}

/// Of AES.
inline constexpr std::string_view kSecretKey = "canary5e7-key-16";
inline constexpr std::string_view kSecretIV = "canary5e7--iv-16";

/// True when a text holds the mark in any form, in capitals or not.
inline bool showsCanary(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return std::ranges::any_of(
      kCanaryForms, [&](std::string_view form) { return lower.find(form) != std::string::npos; });
}

}  // namespace kelm::testing
