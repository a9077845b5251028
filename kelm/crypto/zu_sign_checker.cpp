#include "kelm/crypto/zu_sign_checker.h"

#include "kelm/crypto/rsa_operations.h"
#include "kelm/crypto/vasp_base64.h"

namespace kelm {

ZuSignChecker ZuSignChecker::initWithPublicKey(std::optional<std::string_view> base64Certificate) {
  return ZuSignChecker(
      VaspRSA::initWithPublicKey(VaspBase64::dataOfBase64String(base64Certificate)));
}

bool ZuSignChecker::isB64Sign_validForData(std::optional<std::string_view> base64Signature,
                                           std::optional<DataView> data) const {
  if (!data || !base64Signature || base64Signature->empty()) return false;
  const std::optional<Data> signature = VaspBase64::dataOfBase64String(base64Signature);
  return signature && !signature->empty() && isSign_validForData(*signature, data);
}

bool ZuSignChecker::isSign_validForData(std::optional<DataView> signature,
                                        std::optional<DataView> data) const {
  if (!data || !signature || signature->empty() || !rsa_) return false;
  // The same answer as two checks, for one operation with the key.
  return rsaIsSignedWithEither(*rsa_->publicKey(), *data, *signature);
}

}  // namespace kelm
