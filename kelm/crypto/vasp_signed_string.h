#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/crypto/collection_bytes.h"

namespace kelm {

/// A text that exists only if it belongs to its checksum: Base64 of PBKDF2 (RFC 8018) over it with
/// HMAC-SHA-256, 32 bytes, 1024 rounds, under a salt that is signed with the key of a certificate.
/// Guards text that is compiled into an application against being altered there; whoever can
/// replace certificate and salt, too, or knows the salt and can replace checksums, passes. The
/// text is not hidden.
///
/// Immutable: threads may share one. It is moved, and copied by copyWithZone().
class KELM_API VaspSignedString {
 public:
  /// `setCers:` Base64 of the DER X.509 certificate. This and the other key material is set once
  /// for the process, before the first signed string; at any time, from any thread.
  static void setCers(std::optional<std::string_view> base64Certificate);
  /// `setCK1:` The first half of the salt: the halves' XOR is the salt.
  static void setCK1(std::optional<DataView> half);
  static void setCK1(const std::same_as<Value> auto& half) { setCK1(bytesOfValue(half)); }
  /// `setCK2:` The second half.
  static void setCK2(std::optional<DataView> half);
  static void setCK2(const std::same_as<Value> auto& half) { setCK2(bytesOfValue(half)); }
  /// `setCKS:` The signature over the salt: PKCS#1 v1.5 with SHA-256 or SHA-1 (RFC 8017).
  static void setCKS(std::optional<DataView> signature);
  static void setCKS(const std::same_as<Value> auto& signature) { setCKS(bytesOfValue(signature)); }

  /// `initWithString:checksum:` Never fails but by throwing the exception of
  /// `VaspLogger::logEventAndExit`, after one FATAL line, when a check does: of the key material,
  /// of the signature over the salt, of the text's checksum.
  static VaspSignedString initWithString_checksum(std::optional<std::string_view> text,
                                                  std::optional<std::string_view> checksum);
  VaspSignedString(VaspSignedString&&) noexcept = default;
  VaspSignedString& operator=(VaspSignedString&&) noexcept = default;

  /// `copyWithZone:` A copy that has been checked anew, against the key material of now.
  VaspSignedString copyWithZone() const;
  /// `length` In UTF-16 units.
  std::size_t length() const;
  /// `characterAtIndex:` The UTF-16 unit; 0 at the end and beyond.
  char16_t characterAtIndex(std::size_t index) const;
  /// The whole text, valid as long as this object.
  std::string_view text() const { return backingStore_; }

 private:
  VaspSignedString(std::string_view text, std::string_view checksum)
      : backingStore_(text), backingChk_(checksum) {}

  std::string backingStore_;
  std::string backingChk_;
};

}  // namespace kelm
