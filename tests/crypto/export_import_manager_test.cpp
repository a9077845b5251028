#include "kelm/crypto/crypto_export_import_manager.h"

#include <openssl/crypto.h>
#include <openssl/x509.h>

#include "kelm/crypto/key_type.h"
#include "tests/crypto/rsa_fixture.h"

namespace kelm::testing {
namespace {

const CryptoExportImportManager kManager;

TEST(CryptoExportImportManager, LengthsTakeTheFewestBytes) {
  const std::tuple<std::size_t, std::size_t, std::string> rows[] = {
      {0, 0, "00"},
      {127, 1, "7f"},
      {128, 1, "8180"},
      {255, 1, "81ff"},
      {256, 2, "820100"},
      {65536, 3, "83010000"},
      {0xffffffff, 4, "84ffffffff"},
      {0x7fffffffffffffff, 8, "887fffffffffffffff"}};
  for (const auto& [length, needed, encoded] : rows) {
    EXPECT_EQ(kManager.bytesNeededForRepresentingInteger(static_cast<std::int64_t>(length)),
              needed);
    std::array<std::uint8_t, 9> buffer{};
    const std::size_t size = kManager.encodeASN1LengthParameter_buffer(length, buffer);
    EXPECT_EQ(Data(buffer.begin(), buffer.begin() + size), bytesOfColumn(encoded));
  }
  EXPECT_EQ(kManager.bytesNeededForRepresentingInteger(-1), 0U);
}

TEST(CryptoExportImportManager, RsaKeyExportsToWhatOpenSslWrites) {
  const Data exported = fileOf("public_key_info.der");
  EXPECT_EQ(kManager.exportPublicKeyToDER_keyType_keySize(fileOf("public_key.der"),
                                                          kSecAttrKeyTypeRSA, 2048),
            exported);
  EXPECT_EQ(kManager.exportRSAPublicKeyToDER_keyType_keySize(fileOf("public_key.der"), "", -1),
            exported);
  EXPECT_EQ(kManager.exportPublicKeyToPEM_keyType_keySize(fileOf("public_key.der"),
                                                          kSecAttrKeyTypeRSA, 0),
            kManager.PEMKeyFromDERKey(exported));
}

TEST(CryptoExportImportManager, CurvePointGetsTheHeaderOfTheSizeThatIsGiven) {
  // As OpenSSL reads it from the certificate, since no key of a curve is imported.
  const Data bytes = fileOf("certificate_ec.der");
  const unsigned char* at = bytes.data();
  X509* const certificate = d2i_X509(nullptr, &at, static_cast<long>(bytes.size()));
  const ASN1_BIT_STRING* const bits = X509_get0_pubkey_bitstr(certificate);
  const Data point(bits->data, bits->data + bits->length);
  ASSERT_EQ(point.size(), 65U);
  using Row = std::pair<std::int64_t, DataView>;
  for (const auto& [size, header] :
       {Row{256, kCryptoExportImportManagerSecp256r1header},
        Row{384, kCryptoExportImportManagerSecp384r1header},
        Row{521, kCryptoExportImportManagerSecp521r1header}, Row{255, DataView()}}) {
    Data expected(header.begin(), header.end());
    append(expected, point);
    EXPECT_EQ(kManager.exportPublicKeyToDER_keyType_keySize(point, kSecAttrKeyTypeEC, size),
              expected);
    EXPECT_EQ(kManager.exportECPublicKeyToPEM_keyType_keySize(point, "", size),
              kManager.PEMKeyFromDERKey(expected));
  }
  unsigned char* info = nullptr;
  const int size = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(certificate), &info);
  X509_free(certificate);
  EXPECT_EQ(kManager.exportECPublicKeyToDER_keyType_keySize(point, "", 256),
            Data(info, info + size));
  OPENSSL_free(info);
  EXPECT_EQ(kManager.exportPublicKeyToDER_keyType_keySize(Data{1}, "44", 256), std::nullopt);
  EXPECT_EQ(kManager.exportPublicKeyToPEM_keyType_keySize(Data{1}, "", 256), std::nullopt);
}

TEST(CryptoExportImportManager, PemBreaksAfterEach64Letters) {
  const std::string begin = "-----BEGIN PUBLIC KEY-----\n";
  const std::string end = "-----END PUBLIC KEY-----";
  EXPECT_EQ(kManager.PEMKeyFromDERKey({}), begin + end);
  EXPECT_EQ(kManager.PEMKeyFromDERKey(Data(48, 0)), begin + std::string(64, 'A') + "\n" + end);
  EXPECT_EQ(kManager.PEMKeyFromDERKey(Data(49, 0)),
            begin + std::string(64, 'A') + "\nAA==\n" + end);
}

TEST(CryptoExportImportManager, ImportRefusesWhatIsNoCertificateSilently) {
  const LogCapture log;
  for (const Data& wrong : {Data(), fileOf("public_key_info.der"), fileOf("certificate_ec.der")})
    EXPECT_EQ(kManager.importPublicKeyReferenceFromDERCertificate(wrong), nullptr);
  EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace kelm::testing
