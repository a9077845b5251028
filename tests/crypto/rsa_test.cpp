#include "kelm/crypto/vasp_rsa.h"

#include <functional>

#include "kelm/crypto/crypto_export_import_manager.h"
#include "tests/crypto/rsa_fixture.h"

namespace kelm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint32_t kSha1 = VaspRSA::kSha1SignaturePadding;
constexpr std::uint32_t kSha256 = VaspRSA::kSha256SignaturePadding;
const DataView kText = bytesOf("signed text");

std::string line(const std::string& operation, const std::string& message) {
  return "3 0x200200 -[VaspRSA " + operation + "] " + message;
}

KeyReference ecKey() {
  return CryptoExportImportManager().importPublicKeyReferenceFromDERCertificate(
      fileOf("certificate_ec.der"));
}

TEST(VaspRSA, OnlyOneWholeCertificateWithAServedRsaKeyIsRead) {
  const std::string operation = "initWithPublicKey:";
  Data longer = fileOf("certificate_rsa.der");
  longer.push_back(0);
  Data longForm = fileOf("certificate_rsa.der");  // of the outer length, one zero byte more
  longForm[1] = 0x83;
  longForm.insert(longForm.begin() + 2, 0);
  Data indefinite = fileOf("certificate_rsa.der");
  indefinite.erase(indefinite.begin() + 2, indefinite.begin() + 4);
  indefinite[1] = 0x80;
  append(indefinite, Data{0, 0});
  const std::string invalid = line(operation, "DER data is invalid");
  const std::string unreadable = line(operation, "Cant read public key from DER");
  const struct {
    std::optional<Data> der;
    std::string message;
  } rows[] = {
      {std::nullopt, line(operation, "DER data is nil")},
      {Data(), invalid},
      {longer, invalid},
      {longForm, invalid},
      {indefinite, invalid},
      {fileOf("public_key_info.der"), invalid},
      {fileOf("public_key.der"), invalid},
      {fileOf("certificate_ec.der"), unreadable},
      {fileOf("certificate_pss.der"), unreadable},
      {fileOf("certificate_zero.der"), unreadable},
      {fileOf("certificate_511.der"), unreadable},
      {fileOf("certificate_8193.der"), unreadable},
  };
  LogCapture log;
  for (const auto& row : rows) {
    EXPECT_EQ(VaspRSA::initWithPublicKey(row.der), nullptr);
    EXPECT_THAT(recordsOf(log), ElementsAre(row.message));
    log.clear();
  }
  for (const char* const served :
       {"certificate_rsa.der", "certificate_512.der", "certificate_8192.der"}) {
    const auto rsa = VaspRSA::initWithPublicKey(fileOf(served));
    ASSERT_TRUE(rsa) << served;
    EXPECT_TRUE(rsa->publicKey());
    EXPECT_FALSE(rsa->privateKey());
  }
  EXPECT_THAT(recordsOf(log), IsEmpty());
}

TEST(VaspRSA, CertificateOrBundleCutAnywhereIsRefused) {
  const LogCapture log;
  const auto eachCut = [](const Data& whole, std::size_t step, auto isRead) {
    for (std::size_t size = 0; size < whole.size(); size += step) {
      Data cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      cut.shrink_to_fit();
      EXPECT_FALSE(isRead(cut)) << size;
    }
  };
  eachCut(fileOf("certificate_rsa.der"), 1,
          [](const Data& cut) { return publicKeyOfCertificate(cut).has_value(); });
  eachCut(fileOf("bundle_3des.p12"), 1, [](const Data& cut) {
    return VaspRSA::initWithPrivateKey_withPassword(cut, "secret") != nullptr;
  });
}

TEST(VaspRSA, BundlesOfOldAndNewCiphersOpen) {
  const struct {
    std::string file;
    std::string password;
  } rows[] = {{"aes", "secret"},
              {"3des", "secret"},
              {"rc2", "secret"},
              {"utf8_password", "pässwörd"},
              {"empty_password", ""}};
  const LogCapture log;
  for (const auto& row : rows) {
    const auto rsa = VaspRSA::initWithPrivateKey_withPassword(fileOf("bundle_" + row.file + ".p12"),
                                                              row.password);
    ASSERT_TRUE(rsa) << row.file;
    EXPECT_FALSE(rsa->publicKey());
    EXPECT_EQ(rsa->sign_withPadding(kText, kSha256), fileOf("signature_sha256.bin"));
  }
  EXPECT_THAT(recordsOf(log), IsEmpty());
}

TEST(VaspRSA, OtherBundlesAreRefusedWithOneMessage) {
  const Data good = fileOf("bundle_aes.p12");
  Data longer = good;
  longer.push_back(0);
  Data damaged = good;
  damaged[200] ^= 1;
  const struct {
    Data bundle;
    std::string password;
  } rows[] = {
      {good, secretText("-password", 24)},
      {good, ""},
      {good, std::string("secret\0", 7)},
      {longer, "secret"},
      {damaged, "secret"},
      {Data(), "secret"},
      {fileOf("certificate_rsa.der"), "secret"},
      {fileOf("bundle_no_mac.p12"), "secret"},
      {fileOf("bundle_certificate_only.p12"), "secret"},
      {fileOf("bundle_key_only.p12"), "secret"},
      {fileOf("bundle_ec.p12"), "secret"},
      {fileOf("bundle_too_many_rounds.p12"), "secret"},
  };
  const std::string operation = "initWithPrivateKey:withPassword:";
  LogCapture log;
  for (const auto& row : rows) {
    EXPECT_EQ(VaspRSA::initWithPrivateKey_withPassword(row.bundle, row.password), nullptr);
    EXPECT_THAT(recordsOf(log), ElementsAre(line(operation, "Can't read P12")));
    log.clear();
  }
  EXPECT_EQ(VaspRSA::initWithPrivateKey_withPassword(std::nullopt, std::nullopt), nullptr);
  EXPECT_EQ(VaspRSA::initWithPrivateKey_withPassword(good, std::nullopt), nullptr);
  EXPECT_THAT(recordsOf(log),
              ElementsAre(line(operation, "P12 is nil"), line(operation, "password is nil")));
}

TEST(VaspRSA, EncryptedDataComesBackUpToTheRoomThatPaddingLeaves) {
  const auto rsa = publicHalf();
  const auto holder = privateHalf();
  LogCapture log;
  for (const std::size_t size : {0U, 1U, 245U}) {
    const auto ciphertext = rsa->encryptWithData(counted(size));
    ASSERT_TRUE(ciphertext);
    EXPECT_EQ(ciphertext->size(), 256U);
    EXPECT_EQ(holder->decryptWithData(*ciphertext), counted(size));
  }
  EXPECT_EQ(holder->decryptWithData(*rsa->encryptWithData(std::nullopt)), Data());
  EXPECT_EQ(holder->decryptWithData(fileOf("encrypted_pkcs1.bin")), dataOf("signed text"));
  EXPECT_THAT(recordsOf(log), IsEmpty());
  for (const std::size_t size : {246U, 256U}) {
    EXPECT_EQ(rsa->encryptWithData(counted(size)), std::nullopt);
    EXPECT_THAT(recordsOf(log),
                ElementsAre(line("encryptWithData:withPadding:", "RSA encryption failure: -50")));
    log.clear();
  }
}

TEST(VaspRSA, EachRefusalToEncryptOrDecryptHasItsMessage) {
  const auto rsa = publicHalf();
  const auto holder = privateHalf();
  const auto curve = VaspRSA::initWithSecKeyRefPublicKey(ecKey());
  const auto withoutSecret = VaspRSA::initWithSecKeyRefPrivateKey(rsa->publicKey());
  const std::string encrypt = "encryptWithData:withPadding:";
  const std::string decrypt = "decryptWithData:withPadding:";
  const std::string damaged =
      line(decrypt, "RSA Cant decrypt, error: Unable to decode the provided data.");
  const Data ciphertext = fileOf("encrypted_pkcs1.bin");
  const struct {
    std::function<std::optional<Data>()> call;
    std::string message;
  } rows[] = {
      {[&] { return holder->encryptWithData(kText); },
       line(encrypt, "Cant encrypt without a public key")},
      {[&] { return rsa->encryptWithData(counted(257)); },
       line(encrypt, "Cant encrypt 257 bytes, because the key is 256!")},
      {[&] { return rsa->encryptWithData_withPadding(kText, kSha1); },
       line(encrypt, "RSA encryption failure: -50")},
      {[&] { return curve->encryptWithData(kText); }, line(encrypt, "RSA encryption failure: -50")},
      {[&] { return rsa->decryptWithData(kText); },
       line(decrypt, "Can't decrypt without a private key")},
      {[&] { return holder->decryptWithData(counted(257)); },
       line(decrypt, "Cant decrypt 257 bytes, because the key is 256!")},
      {[&] { return holder->decryptWithData(counted(255)); }, damaged},
      {[&] { return holder->decryptWithData(std::nullopt); }, damaged},
      {[&] { return holder->decryptWithData(Data(256, 0xff)); }, damaged},
      {[&] { return holder->decryptWithData(fileOf("encrypted_oaep.bin")); }, damaged},
      {[&] { return holder->decryptWithData_withPadding(ciphertext, 0); }, damaged},
      {[&] { return withoutSecret->decryptWithData(ciphertext); }, damaged},
  };
  LogCapture log;
  for (const auto& row : rows) {
    EXPECT_EQ(row.call(), std::nullopt);
    EXPECT_THAT(recordsOf(log), ElementsAre(row.message));
    log.clear();
  }
}

TEST(VaspRSA, SignaturesAreThoseOfOpenSslAndHoldForTheirPaddingAlone) {
  const auto holder = privateHalf();
  const auto rsa = publicHalf();
  const Data sha1 = fileOf("signature_sha1.bin");
  const Data sha256 = fileOf("signature_sha256.bin");
  const LogCapture log;
  EXPECT_EQ(holder->sign(kText), sha1);
  EXPECT_EQ(holder->sign_withPadding(kText, kSha1), sha1);
  EXPECT_EQ(holder->sign_withPadding(kText, kSha256), sha256);
  EXPECT_EQ(holder->sign_withPadding(Value(dataOf("signed text")), kSha256), sha256);
  EXPECT_TRUE(rsa->check_withSign(kText, sha1));
  EXPECT_TRUE(rsa->check_withSign_withPadding(kText, sha256, kSha256));
  EXPECT_FALSE(rsa->check_withSign(kText, sha256));
  EXPECT_FALSE(rsa->check_withSign_withPadding(kText, sha1, kSha256));
  EXPECT_FALSE(rsa->check_withSign(bytesOf("signed texT"), sha1));
  EXPECT_FALSE(rsa->check_withSign(DataView(), sha1));
  EXPECT_FALSE(rsa->check_withSign(std::nullopt, sha1));
  EXPECT_FALSE(rsa->check_withSign(kText, std::nullopt));
  EXPECT_THAT(recordsOf(log), IsEmpty());
}

TEST(VaspRSA, TheFirstReasonNotToSignOrCheckIsLogged) {
  const auto holder = privateHalf();
  const auto rsa = publicHalf();
  const auto unable = VaspRSA::initWithSecKeyRefPrivateKey(rsa->publicKey());
  const std::string operation = "sign:withPadding:";
  const struct {
    const VaspRSA& rsa;
    std::optional<DataView> data;
    std::uint32_t padding;
    std::string message;
  } rows[] = {
      {*rsa, std::nullopt, 1, "Cant sign without a private key"},
      {*holder, std::nullopt, 1, "Cant sign without a content"},
      {*holder, DataView(), 1, "Cant sign, padding not valid 1"},
      {*holder, kText, 4294967295U, "Cant sign, padding not valid 4294967295"},
      {*holder, DataView(), kSha1, "Cant sign, hashing not valid"},
      {*unable, kText, kSha256, "Sign generation error: -50"},
  };
  LogCapture log;
  for (const auto& row : rows) {
    EXPECT_EQ(row.rsa.sign_withPadding(row.data, row.padding), std::nullopt);
    EXPECT_THAT(recordsOf(log), ElementsAre(line(operation, row.message)));
    log.clear();
  }
  EXPECT_EQ(holder->sign(Value(Null())), std::nullopt);
  EXPECT_FALSE(holder->check_withSign_withPadding(kText, std::nullopt, 1));
  EXPECT_FALSE(rsa->check_withSign_withPadding(std::nullopt, std::nullopt, 1));
  const std::string check = "check:withSign:withPadding:";
  EXPECT_THAT(recordsOf(log), ElementsAre(line(operation, "Cant sign without a content"),
                                          line(check, "Can't check sign without a public key"),
                                          line(check, "Padding not supported 1")));
}

TEST(VaspRSA, KeysOutsideOfArithmeticOnlyFail) {
  const LogCapture log;
  const auto even = VaspRSA::initWithPublicKey(fileOf("certificate_even.der"));
  ASSERT_TRUE(even);
  EXPECT_EQ(even->encryptWithData(kText), std::nullopt);
  EXPECT_FALSE(even->check_withSign(kText, counted(128)));
  const auto curve = VaspRSA::initWithSecKeyRefPublicKey(ecKey());
  EXPECT_FALSE(curve->check_withSign(kText, counted(72)));
}

TEST(VaspRSA, ExportsArePkcs1AndSubjectPublicKeyInfo) {
  LogCapture log;
  EXPECT_EQ(VaspRSA::serializeSecKey(publicHalf()->publicKey()), fileOf("public_key.der"));
  EXPECT_EQ(VaspRSA::serializeSecKey(privateHalf()->privateKey()), fileOf("private_key.der"));
  EXPECT_EQ(publicHalf()->publicKeyToDER(), fileOf("public_key_info.der"));
  EXPECT_THAT(recordsOf(log), IsEmpty());
  EXPECT_EQ(VaspRSA::serializeSecKey(nullptr), std::nullopt);
  EXPECT_EQ(privateHalf()->publicKeyToDER(), std::nullopt);
  EXPECT_THAT(recordsOf(log),
              ElementsAre("2 0x200200 -[VaspRSA serializeSecKey:] serializeSecKey will return nil "
                          "because keyData is nil",
                          line("publicKeyToDER", "Public key is nil")));
}

}  // namespace
}  // namespace kelm::test
