#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "kelm/device/vasp_watch_util.h"
#include "kelm/device/zu_apple_pay_bridge.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {
namespace {

using platform::Pass;
using platform::PassType;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Bridges : public ::testing::Test {
 protected:
  std::vector<std::string> titles(std::string_view query) {
    std::vector<std::string> found;
    for (const Pass& pass : bridge.availableVirtualizedCardsWithSuffix(query))
      found.push_back(pass.title);
    return found;
  }
  /// Asks on another thread, while this one drives the clock.
  bool hasWatchPaired(VaspWatchUtil& util) {
    std::atomic<bool> done{false};
    bool answer = false;
    std::jthread caller([&] {
      answer = util.hasWatchPaired();
      done = true;
    });
    while (!done)
      services.dispatcher->advance(std::chrono::milliseconds(100));
    caller.join();
    return answer;
  }

  TestPlatform services;
  TestScope scope{services};
  ZuApplePayBridge& bridge = ZuApplePayBridge::sharedInstance();
};

TEST_F(Bridges, CardsMatchByTheShorterOfBothSuffixes) {
  services.wallet->kept = {
      {PassType::Payment, true, "\xE2\x80\xA2\xE2\x80\xA2 1234", "https://a", "masked"},
      {PassType::Payment, true, "1235", {}, "other"},
      {PassType::Payment, true, {}, {}, "no suffix"},
      {PassType::Payment, true, "", {}, "empty suffix"},
      {PassType::Payment, false, "1234", {}, "no payment pass"},
      {PassType::Barcode, true, "1234", {}, "ticket"},
      {PassType::Payment, true, "99 1234 x", {}, "longer"},
  };
  EXPECT_THAT(titles("1234"), ElementsAre("masked", "longer"));
  EXPECT_THAT(titles("34"), ElementsAre("masked", "longer"));
  EXPECT_THAT(titles("5551234"), ElementsAre("masked"));
  EXPECT_THAT(titles("12345"), IsEmpty());
  EXPECT_THAT(titles(""), ElementsAre("masked", "other", "longer"));
}

TEST_F(Bridges, FirstCardWithAPageIsOpenedAndABlankQueryMeansAll) {
  EXPECT_FALSE(bridge.openCardInfoInAppleWalletForFirstCardWithSuffix({}));
  services.wallet->kept = {{PassType::Payment, true, {}, {}, "no page"},
                           {PassType::Payment, true, {}, "page://1", "no suffix"},
                           {PassType::Payment, true, "34", "page://2", "card"}};
  services.urlOpener->succeeds = false;
  EXPECT_TRUE(bridge.openCardInfoInAppleWalletForFirstCardWithSuffix("   "));
  EXPECT_TRUE(bridge.openCardInfoInAppleWalletForFirstCardWithSuffix({}));
  EXPECT_TRUE(bridge.openCardInfoInAppleWalletForFirstCardWithSuffix("1234"));
  EXPECT_FALSE(bridge.openCardInfoInAppleWalletForFirstCardWithSuffix("1234 "));
  EXPECT_FALSE(bridge.openCardInfoInAppleWallet(services.wallet->kept[0]));
  EXPECT_FALSE(bridge.openAppleWallet());
  services.urlOpener->succeeds = true;
  EXPECT_TRUE(bridge.openAppleWallet());
  EXPECT_THAT(services.urlOpener->opened,
              ElementsAre("page://1", "page://1", "page://2", "shoebox://", "shoebox://"));
  bridge.openCardSetupInAppleWallet();
  EXPECT_EQ(services.wallet->setupsOpened, 1);
}

TEST_F(Bridges, WatchSessionHasNineWaitsToBecomeActive) {
  const struct {
    bool supported, paired;
    int reads;  // the first before any wait
    bool answer;
  } kRows[] = {
      {true, true, 1, true},   {true, true, 10, true},
      {true, true, 11, false}, {true, false, 1, false},
      {false, true, 1, false}, {true, true, MemoryWatchSession::kNever, false},
  };
  for (const auto& row : kRows) {
    services.watchSession->supported = row.supported;
    services.watchSession->paired = row.paired;
    services.watchSession->readsUntilActivated = row.reads;
    VaspWatchUtil util;
    EXPECT_EQ(hasWatchPaired(util), row.answer) << row.reads;
    // The answer is kept, and so is one after a time-out.
    services.watchSession->supported = services.watchSession->paired = !row.answer;
    services.watchSession->readsUntilActivated = 1;
    EXPECT_EQ(util.hasWatchPaired(), row.answer);
  }
  EXPECT_NE(std::dynamic_pointer_cast<WCSessionStubDelegate>(services.watchSession->delegate()),
            nullptr);
}

}  // namespace
}  // namespace kelm::testing
