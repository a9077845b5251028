#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/error.h"
#include "kelm/base/export.h"
#include "kelm/base/value.h"
#include "kelm/crypto/vasp_crypted_config_file_payload.h"

namespace kelm {

/// Opens configuration files that are encrypted with AES-CBC and signed with RSA: a JSON object
/// whose "data" is the ciphertext in Base64; inside, a JSON object, or the member "kelm" of one,
/// with "configuration" and "signature" (PKCS#1 v1.5 with SHA-256 over the canonical text, in
/// Base64). Nobody but the holder of the private key can change a value; the keys of the
/// configuration, the kinds of its values and the places of ";" are not signed, and an older file
/// is as good as a newer one. A configuration without any value never opens. Immutable and
/// thread-safe. Never throws.
class KELM_API VaspCryptedConfigFilePayloadReader {
 public:
  static constexpr std::int64_t kUnreadableFile = 1;
  static constexpr std::int64_t kUndecryptableContent = 2;
  static constexpr std::int64_t kMalformedContent = 3;
  static constexpr std::int64_t kInvalidSignature = 4;

  /// `initWithConfigurationErrorDomain:` The domain of all errors.
  static VaspCryptedConfigFilePayloadReader initWithConfigurationErrorDomain(std::string domain);

  /// `configurationFromCyptedFileAtPath:withB64PublicKey:withB64IV:withB64Key:withError:` The
  /// checked configuration. The signer's DER X.509 certificate, the vector and the key (up to 16,
  /// 24 or 32 bytes) are Base64. Absent, with `error` set unless it is null: 1 for a file that is
  /// empty or cannot be read; 2 when the file is no JSON object with decryptable "data"; 3 when
  /// what it holds is no JSON; 4 for a wrong signature or an unusable certificate. `error` is
  /// untouched on success.
  std::optional<VaspCryptedConfigFilePayload>
  configurationFromCyptedFileAtPath_withB64PublicKey_withB64IV_withB64Key_withError(
      const std::string& path, std::optional<std::string_view> base64Certificate,
      std::optional<std::string_view> base64IV, std::optional<std::string_view> base64Key,
      std::optional<Error>* error) const;

  /// `getConfigurationErrorWithCode:` Holds the caller's stack, a line a list entry, under
  /// "stack_trace".
  Error getConfigurationErrorWithCode(std::int64_t code) const;
  /// `makePayload:` The values of the canonical text in its order: those of a dictionary by the
  /// UTF-16 units of their keys; a bool as "true" or "false", all others as they are.
  List makePayload(const Value& configuration) const;
  /// `makePayloadFromObject:inArray:` Appends the values of a dictionary.
  void makePayloadFromObject_inArray(const Dictionary& object, List& values) const;
  /// `makePayloadFromArray:inArray:` Appends the values of a list.
  void makePayloadFromArray_inArray(const List& array, List& values) const;
  /// `makePayloadGeneric:inArray:` Appends the values of any kind.
  void makePayloadGeneric_inArray(const Value& value, List& values) const;
  /// `isNSNumberANdWrappingBool:` True for a bool, false for the numbers 0 and 1.
  bool isNSNumberANdWrappingBool(const Value& value) const;

 private:
  explicit VaspCryptedConfigFilePayloadReader(std::string domain) : domain_(std::move(domain)) {}

  std::string domain_;
};

}  // namespace kelm
