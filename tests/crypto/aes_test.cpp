#include "kelm/crypto/vasp_aes.h"

#include <openssl/evp.h>

#include <memory>
#include <thread>

#include "tests/crypto/crypto_fixture.h"

namespace kelm::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto& encrypt = VaspAES::aesEncryptData_WithBytesKey_withBytesIV;
constexpr auto& decrypt = VaspAES::aesDecryptData_WithBytesKey_withBytesIV;

const std::string kCipherFailed =
    "4 0x200004 +[VaspAES prvateAESOperation:withData:WithBytesKey:withBytesIV:] AES Operation "
    "Error";

/// OpenSSL as its manual shows it, with key and vector completed by hand.
std::optional<Data> reference(bool encrypting, DataView data, DataView key, DataView iv) {
  Data wholeKey(key.begin(), key.end());
  if (wholeKey.size() < 16) wholeKey.resize(16);
  Data wholeIV(iv.begin(), iv.end());
  wholeIV.resize(16);
  const EVP_CIPHER* const cipher = wholeKey.size() == 16   ? EVP_aes_128_cbc()
                                   : wholeKey.size() == 24 ? EVP_aes_192_cbc()
                                                           : EVP_aes_256_cbc();
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
      EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free);
  Data result(data.size() + 16);
  int first = 0;
  int last = 0;
  if (EVP_CipherInit_ex(context.get(), cipher, nullptr, wholeKey.data(), wholeIV.data(),
                        encrypting ? 1 : 0) != 1 ||
      EVP_CipherUpdate(context.get(), result.data(), &first, data.data(),
                       static_cast<int>(data.size())) != 1 ||
      EVP_CipherFinal_ex(context.get(), result.data() + first, &last) != 1)
    return std::nullopt;
  result.resize(static_cast<std::size_t>(first + last));
  return result;
}

TEST(VaspAES, EveryKeyAndVectorLengthEncryptsAsTheReferenceOrIsRefused) {
  const LogCapture log;
  const Data plain = counted(33);
  std::vector<std::string> refused;
  for (std::size_t keyBytes = 0; keyBytes <= 64; ++keyBytes) {
    const Data key = counted(keyBytes, 3);
    if (keyBytes > 16 && keyBytes != 24 && keyBytes != 32) {
      EXPECT_EQ(encrypt(plain, key, counted(16)), std::nullopt);
      EXPECT_EQ(decrypt(plain, key, counted(0)), std::nullopt);
      const std::string line =
          "4 0x200004 +[VaspAES prvateAESOperation:withData:WithBytesKey:withBytesIV:] Error "
          "selecting AES key size (" +
          std::to_string(keyBytes) + ")";
      refused.insert(refused.end(), 2, line);
      continue;
    }
    for (std::size_t ivBytes = 0; ivBytes <= 64; ++ivBytes) {
      const Data iv = counted(ivBytes, 5);
      const auto ciphertext = encrypt(plain, key, iv);
      ASSERT_EQ(ciphertext, reference(true, plain, key, iv)) << keyBytes << ' ' << ivBytes;
      ASSERT_EQ(decrypt(*ciphertext, key, iv), plain) << keyBytes << ' ' << ivBytes;
    }
  }
  EXPECT_EQ(recordsOf(log), refused);
}

TEST(VaspAES, EverySizeRoundTripsAndDecryptsNoOtherLength) {
  const LogCapture log;
  const Data key = secretBytes("-key", 32);
  const Data iv = secretBytes("-iv", 16);
  std::vector<std::string> failures;
  for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 1023U, 16384U, 100001U}) {
    const Data plain = secretBytes("-plain", size);
    const Data ciphertext = *encrypt(plain, key, iv);
    EXPECT_EQ(ciphertext.size(), (size / 16 + 1) * 16);
    EXPECT_EQ(decrypt(ciphertext, key, iv), plain) << size;
    EXPECT_EQ(decrypt(DataView(ciphertext).first(ciphertext.size() - 1), key, iv), std::nullopt);
    failures.push_back(kCipherFailed);
  }
  EXPECT_EQ(decrypt(Data(), key, iv), std::nullopt);
  EXPECT_EQ(decrypt(counted(15), key, iv), std::nullopt);
  failures.insert(failures.end(), 2, kCipherFailed);
  EXPECT_EQ(recordsOf(log), failures);
}

TEST(VaspAES, EveryFlippedBitGivesNothingOrTheWrongBytesThatCbcGives) {
  const Data key = counted(24);
  const Data iv = counted(16, 9);
  const Data plain = counted(40);
  Data ciphertext = *encrypt(plain, key, iv);
  std::size_t accepted = 0;
  for (std::size_t bit = 0; bit < ciphertext.size() * 8; ++bit) {
    ciphertext[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    const auto result = decrypt(ciphertext, key, iv);
    EXPECT_EQ(result, reference(false, ciphertext, key, iv)) << bit;
    EXPECT_NE(result, plain) << bit;
    accepted += result ? 1 : 0;
    ciphertext[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
  }
  // Nothing tells of a flip in the first block, nor of most in the plain part of the second.
  EXPECT_GE(accepted, 16U * 8U + 8U * 8U);
}

TEST(VaspAES, ThreadsDoNotDisturbEachOther) {
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < 4; ++i)
    threads.emplace_back([i] {
      const Data key = counted(i % 2 == 0 ? 16 : 32, i);
      for (std::size_t size = 0; size < 200; ++size)
        EXPECT_EQ(decrypt(*encrypt(counted(size), key, key), key, key), counted(size));
    });
  for (std::thread& thread : threads)
    thread.join();
}

}  // namespace
}  // namespace kelm::test
