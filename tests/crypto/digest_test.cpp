#include <cstdlib>
#include <memory>
#include <thread>

#include "kelm/crypto/vasp_md5.h"
#include "kelm/crypto/vasp_sha1.h"
#include "kelm/crypto/vasp_sha2.h"
#include "tests/crypto/crypto_fixture.h"

namespace kelm::testing {
namespace {

const DataView kAbc = bytesOf("abc");
const std::string kSha1OfAbc = "a9993e364706816aba3e25717850c26c9cd0d89d";
const std::string kSha256OfAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(VaspMD5, HexadecimalDigestIsUpperCaseAndStopsAtTheFirstZeroByte) {
  const Data zeroInside = {0x41, 0x00, 0x42};
  const std::string expected = "7FC56270E7A70FA81A5935B72EACBE29";
  EXPECT_EQ(hash_MD5("A"), expected);
  EXPECT_EQ(VaspMD5::md5DigiestOf("A"), expected);
  EXPECT_EQ(hash_MD5(std::string_view("A\0B", 3)), expected);
  EXPECT_EQ(hash_Data_MD5(zeroInside), expected);
  EXPECT_EQ(VaspMD5::md5DigiestOfData(zeroInside), expected);
  EXPECT_NE(VaspMD5::md5OfData(zeroInside), VaspMD5::md5OfData(Data{0x41}));
}

TEST(VaspSha1, FormsAreCutFromOneDigest) {
  const Data digest = bytesOfColumn(kSha1OfAbc);
  for (std::size_t count = 0; count <= 20; ++count)
    EXPECT_EQ(VaspSha1::sha1first_bytesDigestForData(count, kAbc),
              Data(digest.begin(), digest.begin() + static_cast<std::ptrdiff_t>(count)));
  EXPECT_EQ(VaspSha1::sha1first_bytesDigestForData(21, kAbc), std::nullopt);
  EXPECT_EQ(VaspSha1::sha1first_bytesDigestForData(SIZE_MAX, kAbc), std::nullopt);
  EXPECT_EQ(VaspSha1::sha1Hex20ByteStringDigestForData(kAbc), kSha1OfAbc);
  EXPECT_EQ(VaspSha1::sha1Hex8ByteStringDigestForData(kAbc), kSha1OfAbc.substr(0, 16));
  EXPECT_EQ(VaspSha2::sha256HexByteDigestForData(kAbc), kSha256OfAbc);
}

TEST(ShaDigests, NoBytesHaveNoDigest) {
  const Data empty;
  for (const std::optional<DataView> none :
       {std::optional<DataView>(), std::optional<DataView>(empty)}) {
    EXPECT_EQ(VaspSha1::sha1ByteDigestForData(none), std::nullopt);
    EXPECT_EQ(VaspSha1::sha1first_bytesDigestForData(0, none), std::nullopt);
    EXPECT_EQ(VaspSha1::sha1Hex20ByteStringDigestForData(none), std::nullopt);
    EXPECT_EQ(VaspSha1::sha1Hex8ByteStringDigestForData(none), std::nullopt);
    EXPECT_EQ(VaspSha2::sha256ByteDigestForData(none), std::nullopt);
    EXPECT_EQ(VaspSha2::sha256HexByteDigestForData(none), std::nullopt);
  }
}

TEST(ShaDigests, LengthsCountModulo32Bits) {
  // Zero pages that nobody touches but in the first: costs address space, no memory.
  constexpr std::size_t kSize = (std::size_t{1} << 32) + 5;
  const std::unique_ptr<void, decltype(&std::free)> zeros(std::calloc(kSize, 1), &std::free);
  if (!zeros) GTEST_SKIP() << "no 4 GiB of address space";
  const auto* const bytes = static_cast<const std::uint8_t*>(zeros.get());
  const Data five(5);
  EXPECT_EQ(VaspSha1::sha1ByteDigestForData(DataView(bytes, kSize)),
            VaspSha1::sha1ByteDigestForData(five));
  EXPECT_EQ(VaspSha2::sha256ByteDigestForData(DataView(bytes, kSize)),
            VaspSha2::sha256ByteDigestForData(five));
  EXPECT_EQ(VaspSha2::sha256HexByteDigestForData(DataView(bytes, kSize - 5)),
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

struct HashesWhenItsThreadEnds {
  ~HashesWhenItsThreadEnds() { *result = VaspSha1::sha1Hex20ByteStringDigestForData(kAbc); }
  std::optional<std::string>* result = nullptr;
};

TEST(ShaDigests, WorkInEveryThreadUntilItsVeryEnd) {
  std::vector<std::thread> threads;
  std::array<std::optional<std::string>, 4> atEnd;
  for (auto& result : atEnd)
    threads.emplace_back([&result] {
      thread_local HashesWhenItsThreadEnds tLast;  // made before the thread's first digest
      tLast.result = &result;
      for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(VaspSha2::sha256HexByteDigestForData(kAbc), kSha256OfAbc);
        EXPECT_EQ(VaspMD5::md5OfData(kAbc), bytesOfColumn("900150983cd24fb0d6963f7d28e17f72"));
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_THAT(atEnd, ::testing::Each(std::optional(kSha1OfAbc)));
}

}  // namespace
}  // namespace kelm::testing
