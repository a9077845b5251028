#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

#include "kelm/crypto/crypto_key.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/crypto/vasp_rsa.h"
#include "tests/crypto/crypto_fixture.h"

namespace kelm::testing {

/// The bytes of a file of the folder data/rsa/.
inline Data fileOf(const std::string& name) {
  std::ifstream stream(KELM_TEST_DATA "/rsa/" + name, std::ios::binary);
  Data bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (bytes.empty()) throw std::runtime_error("no data in " + name);
  bytes.shrink_to_fit();
  return bytes;
}

inline std::string base64Of(DataView bytes) { return VaspBase64::base64OfData(bytes); }

/// The two halves of the one RSA key of data/rsa/, each by itself.
inline std::shared_ptr<VaspRSA> publicHalf() {
  return VaspRSA::initWithPublicKey(fileOf("certificate_rsa.der"));
}
inline std::shared_ptr<VaspRSA> privateHalf() {
  return VaspRSA::initWithSecKeyRefPrivateKey(
      rsaKeyOfPkcs1(fileOf("private_key.der"), KeyPart::Private));
}

}  // namespace kelm::testing
