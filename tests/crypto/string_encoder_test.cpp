#include "kelm/crypto/zu_string_encoder.h"

#include "tests/crypto/crypto_fixture.h"

namespace kelm::test {
namespace {

constexpr auto& encode = ZuStringEncoder::urlEncodeString;
constexpr auto& encodeForm = ZuStringEncoder::urlEncodeStringFormBody;
constexpr auto& decode = ZuStringEncoder::urlDecodeString;

TEST(ZuStringEncoder, OfAllBytesOnlyLettersDigitsAndFourSignsStay) {
  const std::string_view kept =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.*";
  for (int byte = 0; byte < 256; ++byte) {
    const std::string one(1, static_cast<char>(byte));
    char escape[4];
    std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned>(byte));
    const std::string expected = kept.find(one) != std::string_view::npos ? one : escape;
    EXPECT_EQ(encode(one), expected) << byte;
    EXPECT_EQ(encodeForm(one), byte == ' ' ? "+" : expected) << byte;
    EXPECT_EQ(decode(expected), byte < 0x80 ? std::optional(one) : std::nullopt) << byte;
  }
}

TEST(ZuStringEncoder, DecodingTakesWholeEscapesAndWantsUtf8) {
  const struct {
    std::string_view text;
    std::optional<std::string_view> decoded;
  } rows[] = {
      {"a%20b", "a b"},
      {"a+b", "a+b"},
      {"%e2%82%AC", "€"},
      {"%F0%9D%84%9E", "𝄞"},
      {"%2541", "%41"},
      {"%00", std::string_view("\0", 1)},
      {"%", "%"},
      {"%4", "%4"},
      {"%zz%4z%z4", "%zz%4z%z4"},
      {"%%41", "%A"},
      {"%4%31", "%41"},
      {"%C3", std::nullopt},           // cut sequence
      {"%C3x%A9", std::nullopt},       // broken sequence
      {"%A9", std::nullopt},           // continuation alone
      {"%C0%AF", std::nullopt},        // overlong "/"
      {"%ED%A0%80", std::nullopt},     // surrogate
      {"%F4%90%80%80", std::nullopt},  // beyond U+10FFFF
      {"x%FF", std::nullopt},
      {"\xFF", std::nullopt},
  };
  for (const auto& row : rows)
    EXPECT_EQ(decode(row.text), row.decoded) << row.text;
}

}  // namespace
}  // namespace kelm::test
