#include "kelm/storage/vasp_secure_file_handler.h"

#include <functional>

#include "kelm/base/error.h"
#include "kelm/crypto/vasp_aes.h"
#include "tests/storage/storage_fixture.h"
#include "tests/support/canary.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;
using ::testing::ThrowsMessage;

const DataView kKey = bytesOf(kSecretKey);
const DataView kIV = bytesOf(kSecretIV);

struct SecureFixture : StorageFixture {
  SecureFixture() { secure.setAESKey_andIV(kKey, kIV); }
  VaspSecureFileHandler secure;
};

TEST(VaspSecureFileHandler, FileIsTheBareCiphertextAndAnythingElseReadsAsNothing) {
  SecureFixture f;
  for (const std::size_t size : {0U, 16U, 100000U}) {
    const Data plain(size, 7);
    ASSERT_TRUE(f.secure.storeNSData_withFullpath(plain, "/r/a"));
    EXPECT_EQ(*f.files.readFile("/r/a"),
              VaspAES::aesEncryptData_WithBytesKey_withBytesIV(plain, kKey, kIV));
    EXPECT_EQ(f.secure.readNSDataWithFullpath("/r/a"), plain);
  }
  EXPECT_TRUE(f.hasGlobalAttributes("/r/a"));
  for (const char* const foreign : {"", "plain text"}) {
    f.put("/r/a", foreign);
    EXPECT_EQ(f.secure.readNSDataWithFullpath("/r/a"), std::nullopt);
  }
}

TEST(VaspSecureFileHandler, WithoutAKeyOnlyThePrimitivesRaise) {
  StorageFixture f;
  const VaspSecureFileHandler keyless;
  f.put("/r/a", "0123456789abcdef");
  const std::function<void()> kCalls[] = {
      [&] { (void)keyless.readNSDataWithFullpath("/r/a"); },
      [&] { (void)keyless.encryptNSData(bytesOf("x")); },
      [&] { (void)keyless.decryptNSData(bytesOf("x")); },
      [&] { (void)keyless.storeNSData_withFullpath(bytesOf("x"), "/r/b"); }};
  for (const auto& call : kCalls)
    EXPECT_THAT(call, ThrowsMessage<Exception>("aes key not ready: aes key not ready"));
  EXPECT_EQ(keyless.readNSDataWithFullpath("/r/none"), std::nullopt);
  EXPECT_EQ(keyless.readNSDataFromPath_(std::nullopt), std::nullopt);
  EXPECT_FALSE(keyless.storeNSData_toPath(std::nullopt, "/r/b"));
  EXPECT_FALSE(f.files.exists("/r/b"));
}

TEST(VaspSecureFileHandlerCopy, EncryptsThePlainSourceAndKeepsIt) {
  SecureFixture f;
  f.put("/r/plain", "hello");
  f.put("/r/x/old", "old");
  for (const char* destination : {"/r/x/old", "/r/y/new"}) {
    EXPECT_TRUE(f.secure.copyAndEncryptFileWithFullPath_toDestFullPath("/r/plain", destination));
    EXPECT_EQ(f.secure.readNSStringWithFullpath(destination), "hello");
  }
  EXPECT_EQ(f.text("/r/plain"), "hello");
  EXPECT_TRUE(f.hasGlobalAttributes("/r/y/new"));
}

TEST(VaspSecureFileHandlerCopy, FailureKeepsTheDestinationAndLogs) {
  SecureFixture f;
  f.put("/r/plain", "hello");
  f.put("/r/old", "old");
  EXPECT_FALSE(f.secure.copyAndEncryptFileWithFullPath_toDestFullPath("/r/none", "/r/old"));
  f.files.failCall(3);  // read, exists, write
  EXPECT_FALSE(f.secure.copyAndEncryptFileWithFullPath_toDestFullPath("/r/plain", "/r/old"));
  EXPECT_THAT(f.lines(), ElementsAre("WARN Cant writeToFile encrypted: (null)",
                                     StartsWith("WARN Cant writeToFile encrypted: Error Domain")));
  EXPECT_FALSE(f.secure.copyAndEncryptFileWithFullPath_toDestFullPath("/r/plain", std::nullopt));
  EXPECT_EQ(f.text("/r/old"), "old");
}

}  // namespace
}  // namespace kelm::testing
