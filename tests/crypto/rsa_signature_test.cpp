#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <memory>
#include <vector>

#include "kelm/crypto/vasp_rsa_key_util.h"
#include "kelm/crypto/vasp_sha2.h"
#include "kelm/crypto/zu_sign_checker.h"
#include "tests/crypto/rsa_fixture.h"

namespace kelm::testing {
namespace {

constexpr std::uint32_t kSha256 = VaspRSA::kSha256SignaturePadding;
constexpr std::size_t kBlockBytes = 256;
const DataView kText = bytesOf("signed text");
const Data kSha256Info = bytesOfColumn("3031300d060960864801650304020105000420");

/// The block to the power of the private exponent, whatever it holds.
Data signatureOf(const Data& block) {
  const std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)> context(
      EVP_PKEY_CTX_new(privateHalf()->privateKey()->native.get(), nullptr), EVP_PKEY_CTX_free);
  Data result(kBlockBytes);
  std::size_t size = result.size();
  EXPECT_EQ(EVP_PKEY_sign_init(context.get()), 1);
  EXPECT_EQ(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING), 1);
  EXPECT_EQ(EVP_PKEY_sign(context.get(), result.data(), &size, block.data(), block.size()), 1);
  return result;
}

/// Start, 0xff as often as there is room, the rest.
Data block(const std::string& start, const Data& rest) {
  Data bytes = bytesOfColumn(start);
  bytes.resize(kBlockBytes - rest.size(), 0xff);
  append(bytes, rest);
  return bytes;
}

Data joined(std::initializer_list<Data> parts) {
  Data all;
  for (const Data& part : parts)
    append(all, part);
  return all;
}

const ZuSignChecker& checker() {
  static const auto* const kChecker =
      new ZuSignChecker(ZuSignChecker::initWithPublicKey(base64Of(fileOf("certificate_rsa.der"))));
  return *kChecker;
}

TEST(RsaVectors, PublishedExamplesVerifyAndDecrypt) {
  const std::vector<Row> rows = rowsOf("rsa_pkcs1.txt");
  const auto column = [&](std::size_t row, std::size_t index) {
    return bytesOfColumn(rows.at(row).at(index));
  };
  const Data der =
      *VaspRSAKeyUtil::generateRSAPublicKeyWithModulus_exponent(column(0, 2), column(0, 3));
  const auto rsa = VaspRSA::initWithSecKeyRefPublicKey(rsaKeyOfPkcs1(der, KeyPart::Public));
  EXPECT_TRUE(rsa->check_withSign_withPadding(column(0, 4), column(0, 5), kSha256));
  const auto holder =
      VaspRSA::initWithSecKeyRefPrivateKey(rsaKeyOfPkcs1(column(1, 2), KeyPart::Private));
  EXPECT_EQ(holder->decryptWithData(column(1, 3)), column(1, 4));
}

TEST(RsaForgeries, OnlyTheOneEncodingOfADigestIsASignature) {
  const Data digest = *VaspSha2::sha256ByteDigestForData(kText);
  const Data info = joined({kSha256Info, digest});
  const Data withoutNull = joined({bytesOfColumn("302f300b06096086480165030402010420"), digest});
  const Data longLength =
      joined({bytesOfColumn("308131300d060960864801650304020105000420"), digest});
  const auto check = [](const Data& content, bool holds, const char* reason) {
    const Data signature = signatureOf(content);
    EXPECT_EQ(publicHalf()->check_withSign_withPadding(kText, signature, kSha256), holds) << reason;
    EXPECT_EQ(checker().isSign_validForData(signature, kText), holds) << reason;
  };
  check(block("0001", joined({{0}, info})), true, "the encoding itself");
  check(block("0002", joined({{0}, info})), false, "another block type");
  check(block("0001", joined({{0}, withoutNull})), false, "no NULL parameters");
  check(block("0001", joined({{0}, longLength})), false, "a length in long form");
  check(block("0001", joined({{0}, digest})), false, "no identifier");
  check(block("0001", joined({{0}, info, Data(1, 0)})), false, "a byte after it");
  check(joined({bytesOfColumn("0001ffffffffffffffff00"), info, Data(194, 0x5a)}), false,
        "garbage in place of padding");
  check(joined({bytesOfColumn("0001"), Data(202, 0xfe), {0}, info}), false, "other padding bytes");
  check(block("0001", info), false, "no end of the padding");
  check(Data(kBlockBytes, 0), false, "zero");
}

TEST(ZuSignChecker, AcceptsSha1AndSha256OverTheDataAndNothingElseSilently) {
  const LogCapture log;
  for (const char* const file : {"signature_sha1.bin", "signature_sha256.bin"}) {
    EXPECT_TRUE(checker().isSign_validForData(fileOf(file), kText));
    EXPECT_TRUE(checker().isB64Sign_validForData(base64Of(fileOf(file)), kText));
    EXPECT_FALSE(checker().isSign_validForData(fileOf(file), bytesOf("other text")));
  }
  EXPECT_FALSE(checker().isSign_validForData(fileOf("signature_sha512.bin"), kText));
  const Data sha1 = fileOf("signature_sha1.bin");
  Data flipped = sha1, longer = sha1;
  flipped.back() ^= 1;
  longer.insert(longer.begin(), 0);
  for (const Data& forged : {flipped, longer, Data(sha1.begin(), sha1.end() - 1)})
    EXPECT_FALSE(checker().isSign_validForData(forged, kText));
  for (const std::optional<DataView> none : {std::optional<DataView>(), std::optional(DataView())})
    EXPECT_FALSE(checker().isSign_validForData(none, kText) ||
                 checker().isSign_validForData(sha1, none) ||
                 checker().isB64Sign_validForData(base64Of(sha1), none));
  for (const std::optional<std::string_view> none :
       {std::optional<std::string_view>(), {""}, {"-"}})
    EXPECT_FALSE(checker().isB64Sign_validForData(none, kText));
  EXPECT_EQ(recordsOf(log), Lines());
}

TEST(ZuSignChecker, WithoutAUsableCertificateEveryCheckIsFalse) {
  const LogCapture log;
  const auto rejecting = ZuSignChecker::initWithPublicKey(base64Of(fileOf("public_key_info.der")));
  EXPECT_EQ(log.lines(), Lines{"ERROR DER data is invalid"});
  EXPECT_FALSE(rejecting.isSign_validForData(fileOf("signature_sha1.bin"), kText));
  EXPECT_EQ(log.lines().size(), 1U);
}

}  // namespace
}  // namespace kelm::testing
