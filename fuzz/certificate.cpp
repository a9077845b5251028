// link: kelm_crypto
// What is read as a certificate is one to the last byte, and its key works without a crash.

#include "fuzz/support/silence.h"
#include "fuzz/support/target.h"
#include "kelm/crypto/crypto_export_import_manager.h"
#include "kelm/crypto/vasp_rsa.h"

void kelm::fuzz::run(DataView input) {
  silenceLog();
  const auto rsa = VaspRSA::initWithPublicKey(input);
  const KeyReference key =
      CryptoExportImportManager().importPublicKeyReferenceFromDERCertificate(input);
  if (!rsa) return;
  require(key && rsa->publicKeyToDER());
  Data longer(input.begin(), input.end());
  longer.push_back(0);
  require(!VaspRSA::initWithPublicKey(longer));
  (void)rsa->encryptWithData(Data(11, 1));
  require(!rsa->check_withSign(input, Data(256, 1)));
}
