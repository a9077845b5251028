#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"

namespace kelm {

/// Base64 (RFC 4648, section 4) and the letters of its URL-safe alphabet. Stateless and
/// thread-safe. Never throws.
class KELM_API VaspBase64 {
 public:
  VaspBase64() = delete;

  /// `base64OfData:` Padded, on one line. Empty for empty and absent bytes.
  static std::string base64OfData(std::optional<DataView> bytes);
  /// `dataOfBase64String:` The bytes. Every character outside of the alphabet is skipped ("-" and
  /// "_" too); bits that the last letter has beyond the bytes are dropped. Absent, silent, when
  /// what remains is not groups of four, only the last of them padded, with "=" or "==". An absent
  /// text is absent and an empty one empty, each with one WARN line.
  static std::optional<Data> dataOfBase64String(std::optional<std::string_view> text);
  /// `base64StringToUrlSafeBase64String:` "-" for each "+" and "_" for each "/"; padding stays.
  /// Absent for an absent text.
  static std::optional<std::string> base64StringToUrlSafeBase64String(
      std::optional<std::string_view> text);
  /// `urlSafeBase64StringToBase64String:` "+" for each "-" and "/" for each "_"; missing padding is
  /// not added. Absent for an absent text.
  static std::optional<std::string> urlSafeBase64StringToBase64String(
      std::optional<std::string_view> text);
};

}  // namespace kelm
