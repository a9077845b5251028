#include "kelm/storage/vasp_secure_file_handler.h"

#include <cerrno>

#include "kelm/base/error.h"
#include "kelm/crypto/vasp_aes.h"
#include "kelm/storage/kelm_data_encrypter.h"
#include "tests/storage/storage_fixture.h"
#include "tests/support/canary.h"

namespace kelm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::StartsWith;

const DataView kKey = bytesOf(kSecretKey);
const DataView kIV = bytesOf(kSecretIV);

struct SecureFixture : StorageFixture {
  SecureFixture() { secure.setAESKey_andIV(kKey, kIV); }
  VaspSecureFileHandler secure;
};

template <class Call>
std::string nameOfFailure(Call call) {
  try {
    call();
  } catch (const Exception& exception) {
    return exception.name() + "/" + exception.reason();
  }
  return "(none)";
}

TEST(VaspSecureFileHandler, FileIsTheBareCiphertextWithOnePaddingBlock) {
  SecureFixture f;
  for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 1024U, 100000U}) {
    Data plain(size);
    for (std::size_t i = 0; i < size; ++i)
      plain[i] = static_cast<std::uint8_t>(i * 7);
    ASSERT_TRUE(f.secure.storeNSData_withFullpath(plain, "/r/a"));
    const auto stored = f.files.readFile("/r/a");
    EXPECT_EQ(stored->size(), (size / 16 + 1) * 16);
    EXPECT_EQ(*stored, VaspAES::aesEncryptData_WithBytesKey_withBytesIV(plain, kKey, kIV));
    EXPECT_EQ(f.secure.readNSDataWithFullpath("/r/a"), plain);
  }
  EXPECT_TRUE(f.hasGlobalAttributes("/r/a"));
}

TEST(VaspSecureFileHandler, CiphertextThatIsNoWholeBlocksOrWronglyPaddedReadsAsNothing) {
  SecureFixture f;
  const Data block = *VaspAES::aesEncryptData_WithBytesKey_withBytesIV(bytesOf("x"), kKey, kIV);
  const std::string cut(textOf(DataView(block).first(15)));
  const std::string longer = std::string(textOf(block)) + "y";
  for (const std::string& stored : {std::string(), cut, longer, std::string("plain text")}) {
    f.put("/r/a", stored);
    EXPECT_EQ(f.secure.readNSDataWithFullpath("/r/a"), std::nullopt) << stored.size();
  }
  f.put("/r/a", textOf(block));
  f.secure.setAESKey_andIV(bytesOf("another key 0123"), kIV);
  EXPECT_NE(f.secure.readNSDataWithFullpath("/r/a"), dataOf("x"));
}

TEST(VaspSecureFileHandler, WithoutAKeyOnlyThePrimitivesRaise) {
  StorageFixture f;
  const VaspSecureFileHandler keyless;
  f.put("/r/a", "0123456789abcdef");
  const std::string failure = "aes key not ready/aes key not ready";
  EXPECT_EQ(nameOfFailure([&] { (void)keyless.readNSDataWithFullpath("/r/a"); }), failure);
  EXPECT_EQ(nameOfFailure([&] { (void)keyless.encryptNSData(bytesOf("x")); }), failure);
  EXPECT_EQ(nameOfFailure([&] { (void)keyless.decryptNSData(bytesOf("x")); }), failure);
  EXPECT_EQ(nameOfFailure([&] { keyless.storeNSData_withFullpath(bytesOf("x"), "/r/b"); }),
            failure);
  EXPECT_EQ(keyless.readNSDataWithFullpath("/r/none"), std::nullopt);
  EXPECT_EQ(keyless.readNSDataFromPath_(std::nullopt), std::nullopt);
  EXPECT_FALSE(keyless.storeNSData_toPath(std::nullopt, "/r/b"));
  EXPECT_FALSE(f.files.exists("/r/b"));
}

TEST(VaspSecureFileHandlerCopy, EncryptsThePlainSourceAndKeepsIt) {
  SecureFixture f;
  f.put("/r/plain", "hello");
  f.put("/r/x/old", "old");
  EXPECT_TRUE(f.secure.copyAndEncryptFileWithFullPath_toDestFullPath("/r/plain", "/r/x/old"));
  EXPECT_TRUE(f.secure.copyAndEncryptFileWithFullPath_toDestFullPath("/r/plain", "/r/y/new"));
  EXPECT_EQ(f.text("/r/plain"), "hello");
  EXPECT_EQ(f.secure.readNSStringWithFullpath("/r/x/old"), "hello");
  EXPECT_EQ(f.secure.readNSStringWithFullpath("/r/y/new"), "hello");
  EXPECT_TRUE(f.hasGlobalAttributes("/r/y/new"));
  EXPECT_THAT(f.lines(), IsEmpty());
}

TEST(VaspSecureFileHandlerCopy, FailureKeepsTheDestinationAndLogs) {
  SecureFixture f;
  f.put("/r/plain", "hello");
  f.put("/r/old", "old");
  EXPECT_FALSE(f.secure.copyAndEncryptFileWithFullPath_toDestFullPath("/r/none", "/r/old"));
  EXPECT_THAT(f.lines(), ElementsAre("WARN Cant writeToFile encrypted: (null)"));
  f.log.clear();
  f.files.failCall(3);  // read, exists, write
  EXPECT_FALSE(f.secure.copyAndEncryptFileWithFullPath_toDestFullPath("/r/plain", "/r/old"));
  EXPECT_THAT(f.lines(), ElementsAre(StartsWith("WARN Cant writeToFile encrypted: Error Domain")));
  EXPECT_FALSE(f.secure.copyAndEncryptFileWithFullPath_toDestFullPath("", "/r/old"));
  EXPECT_FALSE(f.secure.copyAndEncryptFileWithFullPath_toDestFullPath("/r/plain", std::nullopt));
  EXPECT_EQ(f.text("/r/old"), "old");
}

TEST(KelmDataEncrypter, SharedOneHasTheFixedKeyAndVector) {
  KelmDataEncrypter& shared = KelmDataEncrypter::sharedInstance();
  EXPECT_EQ(&shared, &KelmDataEncrypter::sharedInstance());
  EXPECT_EQ(shared.aesKey(), dataOf("p8Hd3sVf6Jc0Ya5G"));
  EXPECT_EQ(shared.aesIV(), dataOf("k4Rtz9Qm2Lw7Xb1N"));
  // What `openssl enc -aes-128-cbc` makes of it.
  const Data ciphertext = {0xa3, 0x6d, 0x04, 0xd8, 0xee, 0x08, 0xf7, 0xa4,
                           0x5b, 0x6d, 0x9d, 0x4b, 0x48, 0xbb, 0x49, 0x9b};
  EXPECT_EQ(shared.encrypt(bytesOf("account 1")), ciphertext);
  EXPECT_EQ(shared.decrypt(ciphertext), dataOf("account 1"));
}

}  // namespace
}  // namespace kelm::test
