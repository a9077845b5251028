#include "kelm/crypto/zu_string_encoder.h"

#include "tests/crypto/crypto_fixture.h"

namespace kelm::testing {
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
  using Row = std::pair<const char*, std::string_view>;
  for (const auto& [text, decoded] :
       {Row{"a%20b", "a b"}, Row{"a+b", "a+b"}, Row{"%e2%82%AC", "€"}, Row{"%F0%9D%84%9E", "𝄞"},
        Row{"%2541", "%41"}, Row{"%00", std::string_view("\0", 1)}, Row{"%", "%"}, Row{"%4", "%4"},
        Row{"%zz%4z%z4", "%zz%4z%z4"}, Row{"%%41", "%A"}, Row{"%4%31", "%41"}})
    EXPECT_EQ(decode(text), decoded) << text;
  // Cut, broken, alone, overlong, half of a pair, beyond U+10FFFF, foreign.
  for (const char* wrong :
       {"%C3", "%C3x%A9", "%A9", "%C0%AF", "%ED%A0%80", "%F4%90%80%80", "x%FF", "\xFF"})
    EXPECT_EQ(decode(wrong), std::nullopt) << wrong;
}

}  // namespace
}  // namespace kelm::testing
