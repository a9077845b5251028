#include "kelm/network/vasp_https_certificate_model.h"

#include <functional>

namespace kelm {

namespace {

std::string inLowerCase(std::string_view text) {
  std::string lower(text);
  for (char& letter : lower)
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  return lower;
}

}  // namespace

VaspHTTPSCertificateModel::VaspHTTPSCertificateModel(std::string_view fingerprint,
                                                     std::int64_t index)
    : fingerPrint_(fingerprint),
      index_(index),
      comparedText_(inLowerCase(fingerprint)),
      comparedHash_(std::hash<std::string_view>()(comparedText_)) {}

std::shared_ptr<VaspHTTPSCertificateModel> VaspHTTPSCertificateModel::initWithFingerprint_forIndex(
    std::string_view fingerprint, std::int64_t index) {
  return std::shared_ptr<VaspHTTPSCertificateModel>(
      new VaspHTTPSCertificateModel(fingerprint, index));
}

bool VaspHTTPSCertificateModel::isEqual(const Object& other) const {
  const auto* const model = dynamic_cast<const VaspHTTPSCertificateModel*>(&other);
  return model != nullptr && isEqualToCertificatModel(*model);
}

bool VaspHTTPSCertificateModel::isEqualToCertificatModel(
    const VaspHTTPSCertificateModel& other) const {
  return index_ == other.index_ && fingerPrint_ == other.fingerPrint_;
}

std::size_t VaspHTTPSCertificateModel::hash() const { return comparedHash_; }

}  // namespace kelm
