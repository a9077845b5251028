#include "kelm/crypto/vasp_aes.h"
#include "kelm/crypto/vasp_md5.h"
#include "kelm/crypto/vasp_pbkdf2.h"
#include "kelm/crypto/vasp_sha1.h"
#include "kelm/crypto/vasp_sha2.h"
#include "tests/crypto/crypto_fixture.h"

namespace kelm::testing {
namespace {

/// The ciphertext of whole blocks without that of the padding, which must decrypt, too.
Data encryptBlocks(DataView key, DataView iv, DataView plain) {
  Data ciphertext = *VaspAES::aesEncryptData_WithBytesKey_withBytesIV(plain, key, iv);
  const auto decrypted = VaspAES::aesDecryptData_WithBytesKey_withBytesIV(ciphertext, key, iv);
  EXPECT_EQ(decrypted, Data(plain.begin(), plain.end()));
  EXPECT_EQ(ciphertext.size(), plain.size() + 16);
  ciphertext.resize(plain.size());
  return ciphertext;
}

/// What the library makes of the inputs of a vector: name, operation, inputs, expected bytes.
std::optional<Data> resultOf(const Row& row) {
  const std::string& operation = row.at(1);
  const auto input = [&row](std::size_t index) { return bytesOfColumn(row.at(2 + index)); };
  const auto number = [&row](std::size_t index) {
    return static_cast<std::uint32_t>(std::stoul(row.at(2 + index)));
  };
  if (operation == "md5") return VaspMD5::md5OfData(input(0));
  if (operation == "sha1") return VaspSha1::sha1ByteDigestForData(input(0));
  if (operation == "sha256") return VaspSha2::sha256ByteDigestForData(input(0));
  if (operation == "aes-cbc") return encryptBlocks(input(0), input(1), input(2));
  if (operation == "pbkdf2")
    return VaspPBKDF2::pbkdf2OfPasswordData_withSalt_expectingSize_performingRound(
        input(0), input(1), number(3), number(2));
  ADD_FAILURE() << "unknown operation " << operation;
  return std::nullopt;
}

TEST(PublishedVectors, EveryOneComesOutAsPublished) {
  for (const char* file : {"aes_cbc.txt", "digests.txt", "pbkdf2.txt"})
    for (const Row& row : rowsOf(file))
      EXPECT_EQ(resultOf(row), bytesOfColumn(row.back())) << row.front();
}

}  // namespace
}  // namespace kelm::testing
