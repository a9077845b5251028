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

TEST(ZuStringEncoder, TextsOfAnyLengthComeBack) {
  std::string text;
  for (const std::size_t size : {0U, 1U, 100U, 5460U, 5461U, 5462U, 10922U, 30000U}) {
    while (text.size() < size)
      text += text.size() % 3 == 0 ? '%' : 'a';
    const auto encoded = encode(text);
    EXPECT_EQ(encoded->size(),
              size + 2 * static_cast<std::size_t>(std::count(text.begin(), text.end(), '%')));
    EXPECT_EQ(decode(encoded), text) << size;
  }
  EXPECT_EQ(encode("a b€𝄞"), "a%20b%E2%82%AC%F0%9D%84%9E");
  EXPECT_EQ(encodeForm("a b&c"), "a+b%26c");
  EXPECT_EQ(encodeForm("a+b  c"), "a%2Bb++c");
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

TEST(ZuStringEncoder, AbsentTextsAreAbsent) {
  EXPECT_EQ(encode(std::nullopt), std::nullopt);
  EXPECT_EQ(encodeForm(std::nullopt), std::nullopt);
  EXPECT_EQ(decode(std::nullopt), std::nullopt);
}

}  // namespace
}  // namespace kelm::test
