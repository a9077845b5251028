// link: kelm_crypto
// A bundle that opens holds a private key and nothing else. Its MAC keeps mutations outside of the
// content, so that is what is searched here.

#include "fuzz/support/silence.h"
#include "fuzz/support/target.h"
#include "kelm/crypto/vasp_rsa.h"

void kelm::fuzz::run(DataView input) {
  silenceLog();
  const auto rsa = VaspRSA::initWithPrivateKey_withPassword(input, "secret");
  if (!rsa) return;
  require(rsa->privateKey() && !rsa->publicKey());
  (void)rsa->sign(Data(3, 1));
}
