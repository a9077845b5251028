#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/base/object.h"

namespace kelm {

/// One pinned certificate. Immutable: threads may share one.
class KELM_API VaspHTTPSCertificateModel final : public Object {
 public:
  /// `init` Disabled: always empty, since a pin needs its fingerprint.
  static std::shared_ptr<VaspHTTPSCertificateModel> init() { return nullptr; }
  /// `initWithFingerprint:forIndex:` `fingerprint`: the SHA-1 of the certificate's DER bytes as 40
  /// hexadecimal digits in either case, kept as it is given and not checked. `index`: where in the
  /// chain the host has seen it, 0 being the leaf; the checker ignores it.
  static std::shared_ptr<VaspHTTPSCertificateModel> initWithFingerprint_forIndex(
      std::string_view fingerprint, std::int64_t index);

  /// `fingerprint` As it was given.
  const std::string& fingerprint() const { return fingerPrint_; }
  /// `index`
  std::int64_t index() const { return index_; }
  /// `isEqual:` True for another pin of the same fingerprint and index.
  bool isEqual(const Object& other) const override;
  /// `isEqualToCertificatModel:` True if the indexes are equal and so are the fingerprints, in the
  /// same case.
  bool isEqualToCertificatModel(const VaspHTTPSCertificateModel& other) const;
  /// Equal for equal pins.
  std::size_t hash() const override;

  /// The fingerprint with its letters A to Z in lower case, as the checker compares it.
  const std::string& comparedText() const { return comparedText_; }
  /// A hash of that text.
  std::size_t comparedHash() const { return comparedHash_; }

 private:
  VaspHTTPSCertificateModel(std::string_view fingerprint, std::int64_t index);

  std::string fingerPrint_;
  std::int64_t index_;
  std::string comparedText_;  ///< made once, so that a check of many pins only compares
  std::size_t comparedHash_;
};

}  // namespace kelm
