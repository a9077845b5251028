// link: kelm_crypto
// Ciphers, digests and key derivation beside OpenSSL as its manual shows it: algorithms by their
// usual names, a new context a call.

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "bench/support/pairs.h"
#include "kelm/crypto/vasp_aes.h"
#include "kelm/crypto/vasp_pbkdf2.h"
#include "kelm/crypto/vasp_sha1.h"
#include "kelm/crypto/vasp_sha2.h"

namespace {

using bench::add;

using benchmark::DoNotOptimize;
using benchmark::State;
using kelm::Data;

const Data kKey(16, 0x3c);
const Data kIV(16, 0x5a);

Data payload(std::size_t size) {
  Data bytes(size);
  for (std::size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<std::uint8_t>(i * 167 >> 3);
  return bytes;
}

Data cipherAsInTheManual(bool encrypting, const Data& data) {
  EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
  Data result(data.size() + 16);
  int first = 0;
  int last = 0;
  if (EVP_CipherInit_ex(context, EVP_aes_128_cbc(), nullptr, kKey.data(), kIV.data(),
                        encrypting ? 1 : 0) != 1 ||
      EVP_CipherUpdate(context, result.data(), &first, data.data(),
                       static_cast<int>(data.size())) != 1 ||
      EVP_CipherFinal_ex(context, result.data() + first, &last) != 1)
    std::abort();
  EVP_CIPHER_CTX_free(context);
  result.resize(static_cast<std::size_t>(first) + static_cast<std::size_t>(last));
  return result;
}

Data digestAsInTheManual(const EVP_MD* algorithm, const Data& data) {
  Data result(EVP_MAX_MD_SIZE);
  unsigned size = 0;
  if (EVP_Digest(data.data(), data.size(), result.data(), &size, algorithm, nullptr) != 1)
    std::abort();
  result.resize(size);
  return result;
}

Data deriveAsInTheManual(const Data& password, const Data& salt, int rounds) {
  Data key(32);
  if (PKCS5_PBKDF2_HMAC(reinterpret_cast<const char*>(password.data()),
                        static_cast<int>(password.size()), salt.data(),
                        static_cast<int>(salt.size()), rounds, EVP_sha256(), 32, key.data()) != 1)
    std::abort();
  return key;
}

template <class Ours, class Peer>
void addPair(const std::string& work, Ours ours, Peer peer) {
  if (*ours() != peer()) std::abort();
  bench::addPair(work, ours, peer);
}

void addCiphers(std::size_t size, const std::string& label) {
  constexpr auto& encrypt = kelm::VaspAES::aesEncryptData_WithBytesKey_withBytesIV;
  constexpr auto& decrypt = kelm::VaspAES::aesDecryptData_WithBytesKey_withBytesIV;
  const Data plain = payload(size);
  const Data ciphertext = cipherAsInTheManual(true, plain);
  addPair(
      "aes_encrypt_" + label, [plain] { return encrypt(plain, kKey, kIV); },
      [plain] { return cipherAsInTheManual(true, plain); });
  addPair(
      "aes_decrypt_" + label, [ciphertext] { return decrypt(ciphertext, kKey, kIV); },
      [ciphertext] { return cipherAsInTheManual(false, ciphertext); });
}

void addDigests(std::size_t size, const std::string& label) {
  const Data data = payload(size);
  addPair(
      "sha1_" + label, [data] { return kelm::VaspSha1::sha1ByteDigestForData(data); },
      [data] { return digestAsInTheManual(EVP_sha1(), data); });
  addPair(
      "sha256_" + label, [data] { return kelm::VaspSha2::sha256ByteDigestForData(data); },
      [data] { return digestAsInTheManual(EVP_sha256(), data); });
}

void addDerivation() {
  constexpr auto& derive =
      kelm::VaspPBKDF2::pbkdf2OfPasswordData_withSalt_expectingSize_performingRound;
  const Data password = payload(20);
  const Data salt = payload(16);
  addPair(
      "pbkdf2_1024_rounds", [=] { return derive(password, salt, 32, 1024); },
      [=] { return deriveAsInTheManual(password, salt, 1024); });
}

void addCurves() {
  for (std::size_t size = 16; size <= 1048576; size *= 16) {
    const Data data = payload(size);
    add("curve/aes_encrypt/" + std::to_string(size),
        [data] { return kelm::VaspAES::aesEncryptData_WithBytesKey_withBytesIV(data, kKey, kIV); });
    add("curve/sha256/" + std::to_string(size),
        [data] { return kelm::VaspSha2::sha256ByteDigestForData(data); });
  }
}

const bool kAdded = [] {
  addCiphers(100, "100B");
  addCiphers(1024, "1KiB");
  addCiphers(102400, "100KiB");
  addDigests(100, "100B");
  addDigests(1024, "1KiB");
  addDerivation();
  addCurves();
  return true;
}();

}  // namespace
