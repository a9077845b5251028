#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"

namespace kelm {

/// Percent-encoding (RFC 3986, section 2.1) of one component, in UTF-8. Each result is absent for
/// an absent text. Stateless and thread-safe. Never throws.
class KELM_API ZuStringEncoder {
 public:
  ZuStringEncoder() = delete;

  /// `urlEncodeString:` Every byte as "%" and two upper-case hexadecimal digits but ASCII letters,
  /// digits, "-", "_", "." and "*". Bytes that are not UTF-8 are encoded as they are.
  static std::optional<std::string> urlEncodeString(std::optional<std::string_view> text);
  /// `urlEncodeStringFormBody:` The same with "+" for a blank.
  static std::optional<std::string> urlEncodeStringFormBody(std::optional<std::string_view> text);
  /// `urlDecodeString:` The text with the byte for each "%" and two hexadecimal digits of either
  /// case; any other "%" stays, and so does "+". Absent when the result is not UTF-8.
  static std::optional<std::string> urlDecodeString(std::optional<std::string_view> text);
};

}  // namespace kelm
