#include "kelm/crypto/vasp_crypto_utils.h"

#include <bit>
#include <cstdlib>

#include "kelm/testing/test_platform.h"
#include "tests/crypto/crypto_fixture.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;

constexpr auto& bytesOfHex = VaspCryptoUtils::dataFromHexadecimalString;

TEST(Random, ComesFromTheSystemAndFromTheFallbackOnlyWhenThatRefuses) {
  TestPlatform services;
  const TestScope scope(services);
  EXPECT_THAT(VaspCryptoUtils::getRandom(3), ElementsAre(0, 1, 2));
  EXPECT_EQ(VaspCryptoUtils::getRandomUnsignedInt(),
            (std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{3, 4, 5, 6})));
  services.random->setRefuses(true);
  EXPECT_THAT(VaspCryptoUtils::getRandom(2), ElementsAre(255, 254));
  EXPECT_EQ(VaspCryptoUtils::getRandomUnsignedInt(),
            (std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{253, 252, 251, 250})));
  EXPECT_EQ(VaspCryptoUtils::getRandom(0), Data());
}

TEST(Random, OfThisSystemDoesNotRepeat) {
  EXPECT_NE(VaspCryptoUtils::getRandom(32), VaspCryptoUtils::getRandom(32));
}

TEST(Xor, WantsTwoInputsOfOneLength) {
  EXPECT_EQ(VaspCryptoUtils::xorData_withData(Data{1, 0xff}, Data{3, 0x0f}), (Data{2, 0xf0}));
  EXPECT_EQ(VaspCryptoUtils::xorData_withData(Data(), Data()), Data());
  EXPECT_EQ(VaspCryptoUtils::xorData_withData(Data{1}, Data{1, 2}), std::nullopt);
  EXPECT_EQ(VaspCryptoUtils::xorData_withData(Data{1}, std::nullopt), std::nullopt);
  EXPECT_EQ(VaspCryptoUtils::xorData_withData(std::nullopt, std::nullopt), std::nullopt);
}

TEST(Hexadecimal, BytesAreWrittenInLowerCase) {
  EXPECT_EQ(VaspCryptoUtils::hexadecimalStringOfData(Data{0x01, 0x9f, 0xa0, 0xff}), "019fa0ff");
  EXPECT_EQ(VaspCryptoUtils::hexadecimalStringOfData(std::nullopt), "");
}

TEST(Hexadecimal, EveryPairReadsAsStrtolReadsIt) {
  for (unsigned first = 0; first < 256; ++first) {
    for (unsigned second = 0; second < 256; ++second) {
      const char pair[] = {static_cast<char>(first), static_cast<char>(second), '\0'};
      const auto expected = static_cast<std::uint8_t>(std::strtol(pair, nullptr, 16));
      std::string text;  // the two UTF-16 units U+01xx, whose low bytes count
      for (const unsigned unit : {0x100 + first, 0x100 + second})
        text += {static_cast<char>(0xC0 | unit >> 6), static_cast<char>(0x80 | (unit & 0x3F))};
      ASSERT_EQ(bytesOfHex(text), Data{expected}) << first << ' ' << second;
      if (first >= 0x80 || second >= 0x80 || first == ' ' || second == ' ') continue;
      ASSERT_EQ(bytesOfHex(std::string_view(pair, 2)), Data{expected}) << first << ' ' << second;
    }
  }
}

TEST(Hexadecimal, BlanksGoAndAnOddNumberOfUnitsGetsAZero) {
  using Row = std::pair<std::string_view, Data>;
  const Row rows[] = {
      Row{"a bc", {0x0a, 0xbc}}, Row{"abc", {0x0a, 0xbc}}, Row{" A B ", {0xab}}, Row{"", {}},
      Row{"   ", {}}, Row{"1z", {0x01}}, Row{"zz", {0x00}}, Row{"z", {0x00}},
      Row{"12-3+4\t5", {0x12, 0xfd, 0x04, 0x05}}, Row{"0x1f", {0x00, 0x1f}},
      // U+0131, U+2131, U+0120 that is no blank, though its low byte is one
      Row{"\u0131\x32", {0x12}}, Row{"\u2131\x32", {0x12}}, Row{"\u0120\x37", {0x07}},
      // U+1C437: the units D831 and DC37; a malformed byte: the unit FFFD
      Row{"\U0001C437", {0x17}}, Row{"1\xFF", {0x01}}};
  for (const auto& [text, bytes] : rows)
    EXPECT_EQ(bytesOfHex(text), bytes) << text;
}

}  // namespace
}  // namespace kelm::testing
