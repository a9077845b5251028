#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/crypto/vasp_rsa.h"

namespace kelm {

/// Tells whether data was signed with the key of one certificate: PKCS#1 v1.5 with SHA-1 or with
/// SHA-256 (RFC 8017). Immutable and thread-safe. Never throws.
class KELM_API ZuSignChecker {
 public:
  /// `initWithPublicKey:` Base64 of a DER X.509 certificate, read as `VaspRSA` reads one. With an
  /// unusable one, which is logged there, every check is false.
  static ZuSignChecker initWithPublicKey(std::optional<std::string_view> base64Certificate);

  /// `isB64Sign:validForData:` The same with the signature as Base64.
  bool isB64Sign_validForData(std::optional<std::string_view> base64Signature,
                              std::optional<DataView> data) const;
  /// `isSign:validForData:` False, silent, for absent and for empty data or signature, too.
  bool isSign_validForData(std::optional<DataView> signature, std::optional<DataView> data) const;

 private:
  explicit ZuSignChecker(std::shared_ptr<const VaspRSA> rsa) : rsa_(std::move(rsa)) {}

  std::shared_ptr<const VaspRSA> rsa_;  // null without a usable certificate
};

}  // namespace kelm
