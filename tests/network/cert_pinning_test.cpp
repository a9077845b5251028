// Which chains a list of pins accepts, and what is logged about the others.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kelm/network/kelm_cert_pinning_checker.h"
#include "kelm/testing/log_capture.h"

namespace kelm::testing {
namespace {

using Checker = KelmCertPinningChecker;
using Model = VaspHTTPSCertificateModel;
using Models = std::vector<std::shared_ptr<Model>>;
using platform::ServerTrust;

// FIPS 180 examples: the fingerprints of the bytes "abc" and of "a".
constexpr const char* kOfAbc = "a9993e364706816aba3e25717850c26c9cd0d89d";
constexpr const char* kOfA = "86f7e437faa5a7fce15d1ddcb9eaeaea377667b8";

class CertPinning : public ::testing::Test {
 protected:
  ~CertPinning() override { Checker::addListOfValidCerts(std::nullopt); }

  static Models pins(std::initializer_list<std::string_view> fingerprints) {
    Models models;
    for (const std::string_view text : fingerprints)
      models.push_back(Model::initWithFingerprint_forIndex(text, 0));
    return models;
  }
  bool accepts(const Models& whitelist) const {
    return Checker::isCertificatePinningValidUsingWhitelist_andCurrentList(whitelist, &trust);
  }

  LogCapture log;
  const ServerTrust trust{"shop", {{'a'}, {}, {'a', 'b', 'c'}, {'a'}}, true, ""};
};

TEST_F(CertPinning, OneMatchAnywhereInEitherListIsEnough) {
  const struct {
    const char* name;
    Models whitelist, always;
    bool accepted;
  } table[] = {
      {"leaf", pins({kOfA}), {}, true},
      {"root alone, after another, in upper case",
       pins({"00", "A9993E364706816ABA3E25717850C26C9CD0D89D"}),
       {},
       true},
      {"always valid besides a list without a match", pins({"00"}), pins({kOfAbc}), true},
      {"always valid without a list", {}, pins({kOfAbc}), false},
      {"null model", {nullptr}, pins({kOfAbc}), true},
      {"with separators", pins({"a9:99:3e"}), {}, false},
  };
  for (const auto& row : table) {
    Checker::addListOfValidCerts(row.always);
    EXPECT_EQ(accepts(row.whitelist), row.accepted) << row.name;
  }
}

TEST_F(CertPinning, MismatchAloneIsLoggedWithTheChainsFingerprintsOnce) {
  EXPECT_FALSE(accepts({}));
  EXPECT_FALSE(Checker::isCertificatePinningValidUsingWhitelist_andCurrentList(pins({kOfA}), {}));
  EXPECT_FALSE(
      Checker::isCertificatePinningValidUsingWhitelist_andCurrentList(std::nullopt, &trust));
  const ServerTrust bare;
  EXPECT_FALSE(
      Checker::isCertificatePinningValidUsingWhitelist_andCurrentList(pins({kOfA}), &bare));
  EXPECT_THAT(log.records(), ::testing::IsEmpty());
  EXPECT_FALSE(accepts(pins({"00"})));
  const auto records = log.records();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].level, 1U);
  EXPECT_EQ(records[0].aspect, 0x200100);
  EXPECT_EQ(records[0].message, "CERTIFICATE PINNING CANNOT VALIDATE CHAIN: {(\n    " +
                                    std::string(kOfA) + ",\n    " + kOfAbc + "\n)}");
}

TEST_F(CertPinning, ComparisonTakesTheChainAsItIsAndAlwaysValidPinsAlone) {
  const auto compares = [](const std::optional<Models>& whitelist, const char* fingerprint) {
    return Checker::_isCertificatePinningValidUsingWhitelist_andCurrentList(
        whitelist, std::vector<std::string>{fingerprint});
  };
  EXPECT_FALSE(compares(std::nullopt, "ab"));
  EXPECT_FALSE(Checker::_isCertificatePinningValidUsingWhitelist_andCurrentList(pins({"ab"}), {}));
  EXPECT_THAT(log.records(), ::testing::IsEmpty());
  Checker::addListOfValidCerts(pins({"AB"}));
  EXPECT_TRUE(compares(std::nullopt, "ab"));
  EXPECT_FALSE(compares(std::nullopt, "AB"));
}

TEST(HTTPSCertificateModel, EqualOnlyWithTheSameIndexAndTheSameCase) {
  EXPECT_EQ(Model::init(), nullptr);
  const auto model = Model::initWithFingerprint_forIndex("aB", 2);
  EXPECT_EQ(model->fingerprint(), "aB");
  EXPECT_EQ(model->index(), 2);
  EXPECT_TRUE(model->isEqual(*Model::initWithFingerprint_forIndex("aB", 2)));
  EXPECT_FALSE(model->isEqual(*Model::initWithFingerprint_forIndex("aB", 1)));
  EXPECT_FALSE(model->isEqual(*Model::initWithFingerprint_forIndex("ab", 2)));
  EXPECT_FALSE(model->isEqual(Object()));
}

}  // namespace
}  // namespace kelm::testing
