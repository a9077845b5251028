#include "kelm/crypto/vasp_base64.h"

#include <openssl/evp.h>

#include "tests/crypto/crypto_fixture.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;

std::optional<std::string> decoded(std::string_view text) {
  const auto bytes = VaspBase64::dataOfBase64String(text);
  return bytes ? std::optional<std::string>(textOf(*bytes)) : std::nullopt;
}

TEST(VaspBase64, EverySizeIsEncodedAsTheReferenceAndDecodedBack) {
  for (std::size_t size = 1; size < 200; ++size) {
    const Data bytes = counted(size, 200);
    std::string expected((size + 2) / 3 * 4 + 1, '\0');
    EVP_EncodeBlock(reinterpret_cast<unsigned char*>(expected.data()), bytes.data(),
                    static_cast<int>(size));
    expected.pop_back();
    ASSERT_EQ(VaspBase64::base64OfData(bytes), expected) << size;
    ASSERT_EQ(VaspBase64::dataOfBase64String(expected), bytes) << size;
  }
  EXPECT_EQ(VaspBase64::base64OfData(Data()) + VaspBase64::base64OfData(std::nullopt), "");
}

TEST(VaspBase64, PaddingMustCompleteTheLastGroupAndNothingFollowsIt) {
  for (const char* wrong : {"Q", "QQ", "QQ=", "QQ===", "QQ==QQ==", "QUI",
                            "QUI==", "QUJD=", "QUJD==", "QUJD====", "QUJDQ", "=",
                            "==", "====", "Q===", "Q=Q=", "QQ=Q", "=QUJD", "QUJD=QUJD"})
    EXPECT_EQ(decoded(wrong), std::nullopt) << wrong;
  using Row = std::pair<const char*, const char*>;
  for (const auto& [text, bytes] :  // first two of RFC 4648, then stray bits before the padding
       {Row{"Zm9vYg==", "foob"}, Row{"Zm9vYmE=", "fooba"}, Row{"QR==", "A"}, Row{"QUJ=", "AB"}})
    EXPECT_EQ(decoded(text), bytes) << text;
}

TEST(VaspBase64, EveryForeignByteIsSkippedWhereverItStands) {
  const std::string_view letters = "QUJDREVGQUI=";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (std::isalnum(byte) != 0 || c == '+' || c == '/' || c == '=') continue;
    for (std::size_t at = 0; at <= letters.size(); ++at) {
      std::string text(letters);
      text.insert(at, 1 + at % 5, c);
      ASSERT_EQ(decoded(text), "ABCDEFAB") << byte << " at " << at;
    }
  }
  EXPECT_EQ(decoded("*&^"), "");
}

TEST(VaspBase64, AbsentAndEmptyTextsDifferAndAreLogged) {
  const LogCapture log;
  EXPECT_EQ(VaspBase64::dataOfBase64String(std::nullopt), std::nullopt);
  EXPECT_EQ(VaspBase64::dataOfBase64String(""), Data());
  EXPECT_EQ(VaspBase64::dataOfBase64String("Q"), std::nullopt);
  const std::string head = "2 0x200800 +[VaspBase64 dataOfBase64String:] WARNING: ";
  EXPECT_THAT(recordsOf(log),
              ElementsAre(head + "DataOfBase64String -> nil Stirng returns nil data",
                          head + "DataOfBase64String -> empty Strings returns empty data"));
}

}  // namespace
}  // namespace kelm::testing
