#include "kelm/security/vasp_touch_id_manager.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "kelm/base/format.h"
#include "kelm/security/vasp_passcode_util.h"
#include "tests/security/keychain_fixture.h"

namespace kelm::testing {
namespace {

using namespace std::chrono_literals;
using Manager = VaspTouchIDManager;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// A device that can be changed, and a manager that has not asked it yet.
struct DeviceFixture : KeychainFixture {
  DeviceFixture() { Manager::load(), Manager::resetCache(); }
  ~DeviceFixture() { Manager::resetCache(); }

  void become(bool passcode, std::optional<std::string> fingers) {
    store.reportDeviceSecurity(
        {passcode, fingers ? std::optional(dataOf(*fingers)) : std::nullopt});
    Manager::resetCache();
  }
  std::string changes() {
    std::string text = Manager::wasFingersChanged() ? "fingers " : "- ";
    return text + (Manager::wasPasscodeResetted() ? "passcode" : "-");
  }
  std::string markers() {
    std::string text;
    for (const Value& item : query(kSecClassGenericPassword)) {
      std::string account(item.get<Dictionary>()->find(kSecAttrAccount)->text().value_or(""));
      text += account.substr(account.find('.')) + ' ';
    }
    return text;
  }

  MemoryLocalAuthentication& device = *services.localAuthentication;
};

TEST(VaspTouchIDManager, EachStateOfTheDeviceGivesItsAnswers) {
  struct Row {
    platform::AuthenticationAbility biometrics, owner;
    BiometryType type;
    const char* answers;  // passcode status, hardware, face, enrolled, method
  };
  constexpr auto kTouch = BiometryType::Touch;
  for (const Row& row : {
           Row{{true, 0}, {true, 0}, kTouch, "1 1 0 1 touchid"},
           Row{{true, 0}, {true, 0}, BiometryType::Face, "1 1 1 1 touchid"},
           Row{{false, -7}, {true, 0}, kTouch, "1 1 0 0 passcode"},
           Row{{false, -8}, {true, 0}, kTouch, "1 1 0 1 touchid"},
           Row{{false, -6}, {true, 0}, BiometryType::None, "1 0 0 0 passcode"},
           Row{{false, -5}, {false, -5}, kTouch, "0 1 0 1 none"},
           Row{{false, -6}, {false, 0}, BiometryType::None, "2 0 0 0 none"},
           Row{{false, 0}, {false, -1}, BiometryType::None, "0 0 0 0 none"},
       }) {
    DeviceFixture f;
    f.device.setAbilities(row.biometrics, row.owner);
    f.device.setBiometryType(row.type);
    const Dictionary all = Manager::dump();
    const std::string answers = format("%d %d %d %d %@", VaspPasscodeUtil().passcodeStatus(),
                                       int{*all.find("is_touchid_available")->boolean()},
                                       int{*all.find("is_faceid_available")->boolean()},
                                       int{*all.find("is_fingerprint_enrolled")->boolean()},
                                       *all.find("device_protection_method"));
    EXPECT_EQ(answers, row.answers);
    EXPECT_EQ(*all.find("is_passcode_enrolled")->boolean(), answers[0] == '1');
    const std::vector<std::string> lockout = {
        "DEBUG isTouchIDAvailableInDevice -> TRUE (kLAErrorTouchIDLockout)"};
    EXPECT_EQ(f.log.lines(), row.biometrics.error == -8 ? lockout : std::vector<std::string>());
    // All is kept but "not enrolled" without hardware, until the host loses the user.
    const int questions = f.device.questions();
    Manager::dump();
    EXPECT_EQ(f.device.questions(), questions);
    f.services.notificationCenter->post(
        {.name = std::string(platform::Application::kWillResignActive),
         .sender = {},
         .userInfo = {}});
    Manager::dump();
    EXPECT_GT(f.device.questions(), questions);
  }
}

TEST(VaspTouchIDManager, ChangesAreSeenOnceMarkedAndOnlyWhenTheyHappened) {
  DeviceFixture f;
  EXPECT_EQ(f.changes(), "- -");
  EXPECT_EQ(f.markers(),
            ".fingersetchanged.key .fingersetchanged_flag.key .passcodeset.key "
            ".passcodeset_flag.key ");
  f.become(true, "fingers");
  EXPECT_EQ(f.changes(), "- -");
  f.become(true, "others");
  EXPECT_EQ(f.changes(), "fingers -");
  f.become(false, "others");
  EXPECT_EQ(f.changes(), "fingers passcode");
  EXPECT_EQ(f.changes(), "fingers passcode");
  Manager::markKeychainAsInUse();
  EXPECT_EQ(f.changes(), "- -");
  EXPECT_THAT(
      f.log.lines(),
      ::testing::Contains("DEBUG PasscodeResetted mask\nFlag stored with 'when unlocked' exist:Y\n"
                          "Flag stored with 'when passcode' exist:N"));
}

TEST(VaspTouchIDManager, MarkingTriesTwiceAndLeavesNoHalfPair) {
  struct Row {
    bool passcode;
    std::optional<std::string> fingers;
    std::vector<std::int32_t> statuses;
    const char* markers;
    std::size_t rounds;  // of access controls
  };
  const char* const all =
      ".fingersetchanged.key .fingersetchanged_flag.key .passcodeset.key .passcodeset_flag.key ";
  for (const Row& row :
       {Row{true, "f", {}, all, 1},
        Row{false, "f", {}, ".fingersetchanged.key .fingersetchanged_flag.key ", 2},
        Row{true, {}, {}, ".passcodeset.key .passcodeset_flag.key ", 2}, Row{false, {}, {}, "", 2},
        Row{true, "f", {-50}, all, 2},                    // no access control at first
        Row{true, "f", {0, 0, -36}, all, 2},              // no biometric marker
        Row{true, "f", {0, 0, 0, 0, -36}, all, 2},        // no biometric flag
        Row{true, "f", {0, 0, 0, 0, 0, 0, -36}, all, 2},  // no passcode marker
        Row{true, "f", {0, 0, 0, 0, 0, 0, 0, 0, -36}, all, 2}}) {
    DeviceFixture f;
    f.become(row.passcode, row.fingers);
    for (const std::int32_t status : row.statuses)
      f.store.answerNext({status});
    Manager::markKeychainAsInUse();
    const std::string calls = f.calls();
    std::size_t rounds = 0;
    for (std::size_t at = 0; (at = calls.find("createAccessControl", at)) != calls.npos; ++at)
      ++rounds;
    EXPECT_EQ(rounds, row.rounds) << calls;
    EXPECT_EQ(f.markers(), row.markers);
    for (const Value& item : f.query(kSecClassGenericPassword))
      EXPECT_EQ(f.texts(*item.get<Dictionary>(), {kSecAttrService}),
                "PASSCODE_REMOVED_DETECTOR_KEYCHAIN.service,");
  }
}

TEST(VaspTouchIDManager, LockedDataAreWaitedForAtMostFifteenSeconds) {
  DeviceFixture f;
  EXPECT_FALSE(Manager::wasPasscodeResetted());
  f.become(false, {});
  const auto start = f.services.clock->monotonicNanoseconds();
  const auto waited = [&] {
    return std::chrono::nanoseconds(f.services.clock->monotonicNanoseconds() - start);
  };
  f.device.setProtectedDataAvailable(false);
  EXPECT_FALSE(Manager::wasPasscodeResetted());  // and that is not kept
  EXPECT_EQ(waited(), 15s);
  EXPECT_TRUE(Manager::isKeychainSecureStoreAvailable());
  EXPECT_EQ(waited(), 30s);
  f.services.clock->onSleep([&] {
    if (waited() >= 32300ms) f.device.setProtectedDataAvailable(true);
  });
  EXPECT_TRUE(Manager::wasPasscodeResetted());
  EXPECT_EQ(waited(), 32300ms);
  f.services.clock->onSleep({});
  EXPECT_FALSE(
      Manager::isKeychainSecureStoreAvailable());  // no passcode: nothing can be bound to it
  f.become(true, {});
  EXPECT_TRUE(Manager::isKeychainSecureStoreAvailable());
  f.device.setAbilities({false, -6}, {true, 0});
  Manager::resetCache();
  EXPECT_FALSE(Manager::isKeychainSecureStoreAvailable());
}

struct Delegate : VaspTouchIDAuthenticationDelegate {
  explicit Delegate(std::string& told) : outcome(told) {}
  std::optional<std::string> touchIDfallbackButtonDescription() override { return fallback; }
  std::optional<std::string> touchIDRequestReasonDescription() override { return reason; }
  void userAuthenticationWithTouchIDSuccess() override { outcome += "success "; }
  void userAuthenticationWithTouchIDFailed() override { outcome += "failed "; }
  void userAuthenticationWithTouchIDNotAvailable() override { outcome += "unavailable "; }
  std::optional<std::string> fallback, reason;
  std::string& outcome;
};

TEST(VaspTouchIDManager, OutcomesReachTheDelegateOnTheMainThread) {
  DeviceFixture f;
  f.services.bundle->setInfo("strings", Dictionary{{"refund", "Refund 5 EUR"}});
  std::string outcome;
  auto plain = std::make_shared<Delegate>(outcome);
  auto named = std::make_shared<Delegate>(outcome);
  named->fallback = "no-such-key";
  named->reason = "refund";
  Manager::authenticateUserWithDelegate(std::exchange(plain, nullptr));  // kept until the reply
  Manager::authenticateUserWithDelegate(named);
  const auto first = f.device.takeEvaluation();
  const auto second = f.device.takeEvaluation();
  EXPECT_EQ(first.question.reason, "Non-optional reason");
  EXPECT_EQ(first.question.fallbackTitle, std::nullopt);
  EXPECT_EQ(second.question.reason, "Refund 5 EUR");
  EXPECT_EQ(second.question.fallbackTitle, "no-such-key");
  first.reply(0);
  second.reply(-2);
  EXPECT_EQ(outcome, "");
  f.services.dispatcher->runUntilIdle();
  EXPECT_EQ(outcome, "success failed ");
  f.device.setAbilities({false, -8}, {true, 0});
  Manager::authenticateUserWithDelegate(named);
  EXPECT_EQ(outcome, "success failed unavailable ");
  EXPECT_THAT(f.log.lines(),
              ElementsAre("DEBUG Authenticating user", "DEBUG Authenticating user",
                          "DEBUG Cattura eseguita!", "DEBUG User authentication successful",
                          "DEBUG Cattura eseguita!", "DEBUG User authentication failed",
                          "DEBUG TouchID not available, cant autenticate"));
  EXPECT_EQ(f.log.records().front().aspect, 0x4000000);
}

}  // namespace
}  // namespace kelm::testing
