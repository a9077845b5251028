#include "kelm/crypto/vasp_gzip.h"

#include <zlib.h>

#include <random>

#include "tests/crypto/crypto_fixture.h"

namespace kelm::testing {
namespace {

using ::testing::IsEmpty;

/// Between head and tail, what one call of zlib compresses.
Data reference(DataView bytes) {
  uLongf size = compressBound(bytes.size());
  Data result(size);
  EXPECT_EQ(compress(result.data(), &size, bytes.data(), bytes.size()), Z_OK);
  return Data(result.begin() + 2, result.begin() + static_cast<std::ptrdiff_t>(size) - 4);
}

Data randomBytes(std::size_t size) {
  std::minstd_rand generator(7);
  Data bytes(size);
  for (std::uint8_t& byte : bytes)
    byte = static_cast<std::uint8_t>(generator() >> 8);
  return bytes;
}

TEST(VaspGzip, WritesTheBytesThatOneCallOfZlibWritesAndReadsThemBack) {
  for (const std::size_t size : {1U, 2U, 3U, 100U, 16383U, 16384U, 16385U, 100000U, 1000000U}) {
    for (const Data& bytes : {Data(size, 'x'), randomBytes(size)}) {
      const auto compressed = VaspGzip::gzipDeflate(bytes);
      ASSERT_EQ(Data(compressed->begin() + 10, compressed->end() - 8), reference(bytes)) << size;
      ASSERT_EQ(VaspGzip::gzipInflate(*compressed), bytes) << size;
    }
  }
}

TEST(VaspGzip, StreamsOfOtherProgramsGiveTheirFirstMemberOrNothing) {
  const LogCapture log;
  for (const Row& row : rowsOf("gzip_streams.txt")) {
    const auto expected =
        row.at(2) == "absent" ? std::nullopt : std::optional(bytesOfColumn(row.at(2)));
    EXPECT_EQ(VaspGzip::gzipInflate(bytesOfColumn(row.at(1))), expected) << row.at(0);
  }
  EXPECT_THAT(recordsOf(log), IsEmpty());
}

TEST(VaspGzip, StreamCutAtAnyByteGivesNothing) {
  for (const Data& bytes : {Data(70000, 'x'), randomBytes(300)}) {
    const Data stream = *VaspGzip::gzipDeflate(bytes);
    for (std::size_t size = 1; size < stream.size(); ++size)
      ASSERT_EQ(VaspGzip::gzipInflate(DataView(stream).first(size)), std::nullopt) << size;
  }
}

TEST(VaspGzip, ContentAThousandTimesLargerThanItsStreamComesOutWhole) {
  const Data bytes(std::size_t{64} << 20, 0);
  const Data stream = *VaspGzip::gzipDeflate(bytes);
  EXPECT_LT(stream.size() * 1000, bytes.size());
  EXPECT_TRUE(VaspGzip::gzipInflate(stream) == bytes);
}

}  // namespace
}  // namespace kelm::testing
