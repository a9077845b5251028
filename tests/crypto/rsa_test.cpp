#include "kelm/crypto/vasp_rsa.h"

#include <tuple>

#include "kelm/crypto/crypto_export_import_manager.h"
#include "kelm/crypto/der.h"
#include "kelm/crypto/rsa_numbers.h"
#include "tests/crypto/rsa_fixture.h"

namespace kelm::testing {
namespace {

constexpr std::uint32_t kSha1 = VaspRSA::kSha1SignaturePadding;
constexpr std::uint32_t kSha256 = VaspRSA::kSha256SignaturePadding;
const DataView kText = bytesOf("signed text");

std::string line(const std::string& operation, const std::string& message) {
  return "3 0x200200 -[VaspRSA " + operation + "] " + message;
}

TEST(VaspRSA, OnlyOneWholeCertificateWithAServedRsaKeyIsRead) {
  Data longer = fileOf("certificate_rsa.der");
  longer.push_back(0);
  Data longForm = fileOf("certificate_rsa.der");  // of the outer length, one zero byte more
  longForm[1] = 0x83;
  longForm.insert(longForm.begin() + 2, 0);
  Data indefinite = fileOf("certificate_rsa.der");
  indefinite.erase(indefinite.begin() + 2, indefinite.begin() + 4);
  indefinite[1] = 0x80;
  append(indefinite, Data{0, 0});
  LogCapture log;
  const auto refusedWith = [&](const std::string& message,
                               std::initializer_list<std::optional<Data>> certificates) {
    for (const auto& certificate : certificates) {
      EXPECT_EQ(VaspRSA::initWithPublicKey(certificate), nullptr);
      EXPECT_EQ(takeRecords(log), Lines{line("initWithPublicKey:", message)});
    }
  };
  refusedWith("DER data is nil", {std::nullopt});
  refusedWith("DER data is invalid", {Data(), longer, longForm, indefinite,
                                      fileOf("public_key_info.der"), fileOf("public_key.der")});
  refusedWith(
      "Cant read public key from DER",
      {fileOf("certificate_ec.der"), fileOf("certificate_pss.der"), fileOf("certificate_zero.der"),
       fileOf("certificate_511.der"), fileOf("certificate_8193.der")});
  for (const char* const served : {"certificate_512.der", "certificate_8192.der"}) {
    const auto rsa = VaspRSA::initWithPublicKey(fileOf(served));
    ASSERT_TRUE(rsa) << served;
    EXPECT_TRUE(rsa->publicKey());
    EXPECT_FALSE(rsa->privateKey());
  }
  EXPECT_EQ(recordsOf(log), Lines());
}

TEST(VaspRSA, CertificateOrBundleCutAnywhereIsRefused) {
  const LogCapture log;
  for (const char* const file : {"certificate_rsa.der", "bundle_3des.p12"}) {
    const Data whole = fileOf(file);
    Data cut;  // of exactly its size, so that sanitizers see every read past its end
    for (std::size_t size = 0; size < whole.size(); cut.push_back(whole[size++])) {
      cut.shrink_to_fit();
      EXPECT_FALSE(publicKeyOfCertificate(cut)) << file << ' ' << size;
      EXPECT_FALSE(VaspRSA::initWithPrivateKey_withPassword(cut, "secret")) << file << ' ' << size;
    }
  }
}

TEST(VaspRSA, BundlesOfOldAndNewCiphersOpen) {
  const LogCapture log;
  using Row = std::pair<const char*, const char*>;
  for (const auto& [file, password] :
       {Row{"bundle_aes.p12", "secret"}, Row{"bundle_3des.p12", "secret"},
        Row{"bundle_rc2.p12", "secret"}, Row{"bundle_utf8_password.p12", "pässwörd"},
        Row{"bundle_empty_password.p12", ""}}) {
    const auto rsa = VaspRSA::initWithPrivateKey_withPassword(fileOf(file), password);
    ASSERT_TRUE(rsa) << file;
    EXPECT_FALSE(rsa->publicKey());
    EXPECT_EQ(rsa->sign_withPadding(kText, kSha256), fileOf("signature_sha256.bin"));
  }
  EXPECT_EQ(recordsOf(log), Lines());
}

TEST(VaspRSA, OtherBundlesAreRefusedWithOneMessage) {
  const Data good = fileOf("bundle_aes.p12");
  Data longer = good;
  longer.push_back(0);
  Data damaged = good;
  damaged[200] ^= 1;
  LogCapture log;
  const auto expectRefused = [&](const std::optional<Data>& bundle,
                                 const std::optional<std::string>& password,
                                 const std::string& message) {
    EXPECT_EQ(VaspRSA::initWithPrivateKey_withPassword(bundle, password), nullptr);
    EXPECT_EQ(takeRecords(log), Lines{line("initWithPrivateKey:withPassword:", message)});
  };
  for (const std::string& password :
       {secretText("-password", 24), std::string(), std::string("secret\0", 7)})
    expectRefused(good, password, "Can't read P12");
  for (const Data& bundle :
       {longer, damaged, Data(), fileOf("certificate_rsa.der"), fileOf("bundle_no_mac.p12"),
        fileOf("bundle_certificate_only.p12"), fileOf("bundle_key_only.p12"),
        fileOf("bundle_ec.p12"), fileOf("bundle_too_many_rounds.p12")})
    expectRefused(bundle, "secret", "Can't read P12");
  expectRefused(std::nullopt, std::nullopt, "P12 is nil");
  expectRefused(good, std::nullopt, "password is nil");
}

TEST(VaspRSA, EncryptedDataComesBackUpToTheRoomThatPaddingLeaves) {
  const auto rsa = publicHalf();
  const auto holder = privateHalf();
  const LogCapture log;
  for (const std::size_t size : {0U, 245U})
    EXPECT_EQ(holder->decryptWithData(rsa->encryptWithData(counted(size))), counted(size));
  EXPECT_EQ(holder->decryptWithData(*rsa->encryptWithData(std::nullopt)), Data());
  EXPECT_EQ(holder->decryptWithData(fileOf("encrypted_pkcs1.bin")), dataOf("signed text"));
  EXPECT_EQ(recordsOf(log), Lines());
}

TEST(VaspRSA, EachRefusalToEncryptOrDecryptHasItsMessage) {
  const auto rsa = publicHalf();
  const auto holder = privateHalf();
  const auto withoutSecret = VaspRSA::initWithSecKeyRefPrivateKey(rsa->publicKey());
  LogCapture log;
  const auto expectLine = [&](const std::optional<Data>& result, const std::string& operation,
                              const std::string& message) {
    EXPECT_EQ(result, std::nullopt);
    EXPECT_EQ(takeRecords(log), Lines{line(operation, message)});
  };
  const std::string encrypt = "encryptWithData:withPadding:";
  const std::string failed = "RSA encryption failure: -50";
  expectLine(holder->encryptWithData(kText), encrypt, "Cant encrypt without a public key");
  expectLine(rsa->encryptWithData(counted(257)), encrypt,
             "Cant encrypt 257 bytes, because the key is 256!");
  expectLine(rsa->encryptWithData(counted(246)), encrypt, failed);
  expectLine(rsa->encryptWithData_withPadding(kText, kSha1), encrypt, failed);
  const std::string decrypt = "decryptWithData:withPadding:";
  const std::string damaged = "RSA Cant decrypt, error: Unable to decode the provided data.";
  expectLine(rsa->decryptWithData(kText), decrypt, "Can't decrypt without a private key");
  expectLine(holder->decryptWithData(counted(257)), decrypt,
             "Cant decrypt 257 bytes, because the key is 256!");
  for (const Data& bytes : {counted(255), Data(), Data(256, 0xff), fileOf("encrypted_oaep.bin")})
    expectLine(holder->decryptWithData(bytes), decrypt, damaged);
  expectLine(holder->decryptWithData(std::nullopt), decrypt, damaged);
  const Data ciphertext = fileOf("encrypted_pkcs1.bin");
  expectLine(holder->decryptWithData_withPadding(ciphertext, 0), decrypt, damaged);
  expectLine(withoutSecret->decryptWithData(ciphertext), decrypt, damaged);
}

/// The PKCS#1 form of the numbers of data/rsa/ with one of them exchanged.
Data keyWith(std::size_t place, const Data& number, KeyPart part) {
  const std::size_t count = part == KeyPart::Public ? RsaNumbers::kOfPublicKey : RsaNumbers::kAll;
  auto numbers = rsaNumbersOf(fileOf("private_key.der"), RsaNumbers::kAll);
  if (!number.empty() || place == RsaNumbers::E) numbers->values[place] = number;
  return pkcs1Of(*numbers, count);
}

TEST(VaspRSA, KeysAgainstTheRuleAreNone) {
  EXPECT_TRUE(rsaKeyOfPkcs1(keyWith(RsaNumbers::E, {3}, KeyPart::Public), KeyPart::Public));
  for (const Data& exponent : {Data(), Data{1}, Data{2}, Data{1, 0, 0}, Data(257, 0xff)})
    EXPECT_FALSE(rsaKeyOfPkcs1(keyWith(RsaNumbers::E, exponent, KeyPart::Public), KeyPart::Public));
  for (const std::size_t bytes : {63U, 1025U})
    EXPECT_FALSE(
        rsaKeyOfPkcs1(keyWith(RsaNumbers::N, Data(bytes, 0xff), KeyPart::Public), KeyPart::Public));
  for (const char* file : {"certificate_even.der", "certificate_ec.der"})
    EXPECT_FALSE(publicKeyOfCertificate(fileOf(file))->get()) << file;
  EXPECT_TRUE(rsaKeyOfPkcs1(keyWith(RsaNumbers::N, {}, KeyPart::Private), KeyPart::Private));
  for (std::size_t place = 0; place < RsaNumbers::kAll; ++place) {
    Data changed = rsaNumbersOf(fileOf("private_key.der"), RsaNumbers::kAll)->values[place];
    changed.back() ^= 2;
    EXPECT_FALSE(rsaKeyOfPkcs1(keyWith(place, changed, KeyPart::Private), KeyPart::Private))
        << place;
  }
}

TEST(VaspRSA, CertificateWithALongerFormOfAnyLengthIsNone) {
  const Data der = fileOf("certificate_rsa.der");
  ASSERT_TRUE(isDer(der));
  std::size_t lengthened = 0;
  for (std::size_t at = 1; at + 1 < der.size(); ++at) {
    if (der[at] != 0x82) continue;
    Data changed = der;
    changed[at] = 0x83;
    changed.insert(changed.begin() + static_cast<std::ptrdiff_t>(at) + 1, 0);
    lengthened += 1;
    EXPECT_FALSE(isDer(changed)) << at;
  }
  EXPECT_GE(lengthened, 4U);
}

TEST(VaspRSA, SignaturesAreThoseOfOpenSslAndHoldForTheirPaddingAlone) {
  const auto holder = privateHalf();
  const auto rsa = publicHalf();
  const Data sha1 = fileOf("signature_sha1.bin");
  const Data sha256 = fileOf("signature_sha256.bin");
  const LogCapture log;
  EXPECT_EQ(holder->sign(kText), sha1);
  EXPECT_EQ(holder->sign_withPadding(kText, kSha256), sha256);
  EXPECT_EQ(holder->sign_withPadding(Value(dataOf("signed text")), kSha256), sha256);
  EXPECT_TRUE(rsa->check_withSign(kText, sha1));
  EXPECT_TRUE(rsa->check_withSign_withPadding(kText, sha256, kSha256));
  EXPECT_FALSE(rsa->check_withSign(kText, sha256));
  EXPECT_FALSE(rsa->check_withSign_withPadding(kText, sha1, kSha256));
  EXPECT_FALSE(rsa->check_withSign(bytesOf("signed texT"), sha1));
  EXPECT_FALSE(rsa->check_withSign(std::nullopt, sha1));
  EXPECT_FALSE(rsa->check_withSign(kText, std::nullopt));
  EXPECT_EQ(recordsOf(log), Lines());
}

TEST(VaspRSA, TheFirstReasonNotToSignOrCheckIsLogged) {
  const auto holder = privateHalf();
  const auto rsa = publicHalf();
  const auto unable = VaspRSA::initWithSecKeyRefPrivateKey(rsa->publicKey());
  const std::string operation = "sign:withPadding:";
  using Row = std::tuple<const VaspRSA&, std::optional<DataView>, std::uint32_t, const char*>;
  LogCapture log;
  for (const auto& [key, data, padding, message] :
       {Row{*rsa, std::nullopt, 1, "Cant sign without a private key"},
        Row{*holder, std::nullopt, 1, "Cant sign without a content"},
        Row{*holder, DataView(), 1, "Cant sign, padding not valid 1"},
        Row{*holder, kText, 4294967295U, "Cant sign, padding not valid 4294967295"},
        Row{*holder, DataView(), kSha1, "Cant sign, hashing not valid"},
        Row{*unable, kText, kSha256, "Sign generation error: -50"}}) {
    EXPECT_EQ(key.sign_withPadding(data, padding), std::nullopt);
    EXPECT_EQ(takeRecords(log), Lines{line(operation, message)});
  }
  EXPECT_EQ(holder->sign(Value(Null())), std::nullopt);
  EXPECT_FALSE(holder->check_withSign_withPadding(kText, std::nullopt, 1));
  EXPECT_FALSE(rsa->check_withSign_withPadding(std::nullopt, std::nullopt, 1));
  const std::string check = "check:withSign:withPadding:";
  EXPECT_EQ(recordsOf(log), (Lines{line(operation, "Cant sign without a content"),
                                   line(check, "Can't check sign without a public key"),
                                   line(check, "Padding not supported 1")}));
}

TEST(VaspRSA, ExportsArePkcs1AndSubjectPublicKeyInfo) {
  LogCapture log;
  EXPECT_EQ(VaspRSA::serializeSecKey(publicHalf()->publicKey()), fileOf("public_key.der"));
  EXPECT_EQ(VaspRSA::serializeSecKey(privateHalf()->privateKey()), fileOf("private_key.der"));
  EXPECT_EQ(publicHalf()->publicKeyToDER(), fileOf("public_key_info.der"));
  EXPECT_EQ(recordsOf(log), Lines());
  EXPECT_EQ(VaspRSA::serializeSecKey(nullptr), std::nullopt);
  EXPECT_EQ(privateHalf()->publicKeyToDER(), std::nullopt);
  EXPECT_EQ(recordsOf(log),
            (Lines{"2 0x200200 -[VaspRSA serializeSecKey:] serializeSecKey will return nil "
                   "because keyData is nil",
                   line("publicKeyToDER", "Public key is nil")}));
}

}  // namespace
}  // namespace kelm::testing
