// link: kelm_crypto

#include <cstdint>
#include <cstdlib>

#include "fuzz/support/silence.h"
#include "kelm/crypto/vasp_rsa.h"

using kelm::Data;
using kelm::DataView;
using kelm::VaspRSA;

/// A bundle that opens holds a private key and nothing else. Its MAC keeps mutations outside of the
/// content, so that is what is searched here.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  kelm::fuzz::silenceLog();
  const auto rsa = VaspRSA::initWithPrivateKey_withPassword(DataView(bytes, size), "secret");
  if (!rsa) return 0;
  if (!rsa->privateKey() || rsa->publicKey()) std::abort();
  (void)rsa->sign(Data(3, 1));
  return 0;
}
