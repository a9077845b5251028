#include "kelm/crypto/vasp_aes.h"

#include <algorithm>
#include <thread>

#include "tests/crypto/crypto_fixture.h"

namespace kelm::testing {
namespace {

constexpr auto& encrypt = VaspAES::aesEncryptData_WithBytesKey_withBytesIV;
constexpr auto& decrypt = VaspAES::aesDecryptData_WithBytesKey_withBytesIV;

const std::string kOrigin =
    "4 0x200004 +[VaspAES prvateAESOperation:withData:WithBytesKey:withBytesIV:] ";

TEST(VaspAES, ShortKeysAndVectorsAreFilledWithZerosLongVectorsCutAndOtherKeysRefused) {
  const LogCapture log;
  const Data plain = counted(33);
  std::vector<std::string> refused;
  for (std::size_t keyBytes = 0; keyBytes <= 64; ++keyBytes) {
    const Data key = counted(keyBytes, 3);
    if (keyBytes > 16 && keyBytes != 24 && keyBytes != 32) {
      EXPECT_EQ(encrypt(plain, key, counted(16)), std::nullopt);
      EXPECT_EQ(decrypt(plain, key, counted(0)), std::nullopt);
      refused.insert(refused.end(), 2,
                     kOrigin + "Error selecting AES key size (" + std::to_string(keyBytes) + ")");
      continue;
    }
    Data wholeKey = key;
    wholeKey.resize(std::max<std::size_t>(keyBytes, 16));
    for (std::size_t ivBytes = 0; ivBytes <= 64; ++ivBytes) {
      const Data iv = counted(ivBytes, 5);
      Data wholeIv = iv;
      wholeIv.resize(16);
      const auto ciphertext = encrypt(plain, key, iv);
      ASSERT_EQ(ciphertext, encrypt(plain, wholeKey, wholeIv)) << keyBytes << ' ' << ivBytes;
      ASSERT_EQ(decrypt(*ciphertext, key, iv), plain) << keyBytes << ' ' << ivBytes;
    }
  }
  EXPECT_EQ(recordsOf(log), refused);
}

TEST(VaspAES, EverySizeRoundTripsAndNoOtherLengthOrPaddingIsDecrypted) {
  const LogCapture log;
  const Data key = secretBytes("-key", 32);
  const Data iv = secretBytes("-iv", 16);
  for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 16384U, 100001U}) {
    const Data plain = secretBytes("-plain", size);
    const Data ciphertext = *encrypt(plain, key, iv);
    EXPECT_EQ(ciphertext.size(), (size / 16 + 1) * 16);
    EXPECT_EQ(decrypt(ciphertext, key, iv), plain) << size;
    EXPECT_EQ(decrypt(DataView(ciphertext).first(ciphertext.size() - 1), key, iv), std::nullopt);
  }
  EXPECT_EQ(decrypt(Data(), key, iv), std::nullopt);
  EXPECT_EQ(decrypt(Data(32), key, iv), std::nullopt);
  EXPECT_EQ(recordsOf(log), std::vector<std::string>(9, kOrigin + "AES Operation Error"));
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
}  // namespace kelm::testing
