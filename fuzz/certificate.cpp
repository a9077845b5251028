// link: kelm_crypto

#include <cstdint>
#include <cstdlib>

#include "fuzz/support/silence.h"
#include "kelm/crypto/crypto_export_import_manager.h"
#include "kelm/crypto/vasp_rsa.h"

using kelm::Data;
using kelm::DataView;
using kelm::VaspRSA;

/// What is read as a certificate is one to the last byte, and its key works without a crash.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  kelm::fuzz::silenceLog();
  const DataView input(bytes, size);
  const auto rsa = VaspRSA::initWithPublicKey(input);
  const kelm::KeyReference key =
      kelm::CryptoExportImportManager().importPublicKeyReferenceFromDERCertificate(input);
  if (!rsa) return 0;
  if (!key || !rsa->publicKeyToDER()) std::abort();
  Data longer(bytes, bytes + size);
  longer.push_back(0);
  if (VaspRSA::initWithPublicKey(longer)) std::abort();
  (void)rsa->encryptWithData(Data(11, 1));
  if (rsa->check_withSign(input, Data(256, 1))) std::abort();
  return 0;
}
