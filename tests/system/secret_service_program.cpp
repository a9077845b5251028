// The contract of item stores on a real keyring daemon, and what becomes of items while it is
// locked. To be run by with_keyring.

#include <sdbus-c++/sdbus-c++.h>

#include <cstdlib>
#include <map>
#include <stdexcept>
#include <thread>

#include "kelm/platform/items/secret_service.h"
#include "kelm/testing/test_platform.h"
#include "tests/platform/item_store_contract.h"

namespace kelm::testing {
namespace {

/// Each application has items of its own.
std::shared_ptr<platform::ItemStore> connect(const std::string& application) {
  const auto bundle = std::make_shared<MemoryBundle>();
  bundle->setIdentifier(application);
  const platform::ScopedService<platform::Bundle> scope(bundle);
  auto store = platform::connectSecretService();
  if (!store) throw std::runtime_error(describe(store.error()));
  return *store;
}

ItemStoreWorld inSecretService() {
  static int count = 0;
  const std::string application = "com.example.till" + std::to_string(++count);
  return {connect(application), [application] { return connect(application); }, nullptr};
}

INSTANTIATE_TEST_SUITE_P(Stores, ItemStoreContract,
                         ::testing::Values(ItemStoreMaker{"SecretService", inSecretService}),
                         ::testing::PrintToStringParamName());

/// The daemon's default collection, as a person would lock and unlock it.
class Collection {
 public:
  Collection() { on(*service_, "ReadAlias").withArguments("default").storeResultsTo(path_); }

  void lock() {
    std::vector<sdbus::ObjectPath> done;
    sdbus::ObjectPath prompt;
    on(*service_, "Lock").withArguments(std::vector{path_}).storeResultsTo(done, prompt);
    ASSERT_EQ(done.size(), 1U);
  }
  void unlock() {
    on(*service_, "UnlockWithMasterPassword",
       "org.gnome.keyring.InternalUnsupportedGuiltRiddenInterface")
        .withArguments(path_, sent(std::getenv("KEYRING_PASSWORD")));
  }
  /// Puts something else in place of the secret of an application's only item.
  void spoil(const std::string& application, const std::string& content) {
    std::vector<sdbus::ObjectPath> unlocked, locked;
    on(*service_, "SearchItems")
        .withArguments(std::map<std::string, std::string>{{"kelm.application", application}})
        .storeResultsTo(unlocked, locked);
    ASSERT_EQ(unlocked.size(), 1U);
    const auto item = sdbus::createProxy(*bus_, kDestination, unlocked[0]);
    on(*item, "SetSecret", "org.freedesktop.Secret.Item").withArguments(sent(content));
  }

 private:
  using Secret = sdbus::Struct<sdbus::ObjectPath, Data, Data, std::string>;

  static constexpr const char* kDestination = "org.freedesktop.secrets";

  /// A call, which is made when its arguments and the places of its results are known.
  static sdbus::MethodInvoker on(sdbus::IProxy& object, const std::string& method,
                                 const char* interface = "org.freedesktop.Secret.Service") {
    auto call = object.callMethod(method);
    call.onInterface(interface);
    return call;
  }
  Secret sent(const std::string& content) {
    sdbus::Variant answer;
    sdbus::ObjectPath session;
    on(*service_, "OpenSession")
        .withArguments("plain", sdbus::Variant(""))
        .storeResultsTo(answer, session);
    return {session, Data(), dataOf(content), "application/octet-stream"};
  }

  std::unique_ptr<sdbus::IConnection> bus_ = sdbus::createSessionBusConnection();
  std::unique_ptr<sdbus::IProxy> service_ =
      sdbus::createProxy(*bus_, kDestination, "/org/freedesktop/secrets");
  sdbus::ObjectPath path_;
};

TEST(SecretService, LockedItemsAreThereButNeedTheUser) {
  const auto store = connect("com.example.locked");
  const Dictionary anna = withSecret(password("anna"), kPassword);
  ASSERT_EQ(store->add(anna).status, 0);
  Collection collection;
  collection.lock();
  EXPECT_EQ(secretIn(*store, password("anna")), "-25308");
  EXPECT_EQ(secretIn(*store, password("bruno")), "-25300");
  EXPECT_EQ(store->add(anna).status, -25308);
  EXPECT_EQ(store->add(withSecret(password("carla"), kPassword)).status, -25308);
  EXPECT_EQ(store->remove(password("anna")), -25308);
  EXPECT_EQ(store->reportDeviceSecurity({true, {}}), -25308);
  EXPECT_EQ(secretIn(*store, password("bruno")), "-25308") << "a report is pending";
  collection.unlock();
  EXPECT_EQ(secretIn(*store, password("anna")), kPassword);
  const Dictionary bound =
      withControl(password("dora"), kSecAttrAccessibleAlways, access_control_flag::kDevicePasscode);
  EXPECT_EQ(store->add(bound).status, 0) << "the report has been written down";
}

TEST(SecretService, ItemsOfOtherApplicationsAndGroupsAreOutOfReach) {
  const auto store = connect("com.example.first");
  ASSERT_EQ(store->add(withSecret(password("anna"), kPassword)).status, 0);
  const auto other = connect("com.example.second");
  EXPECT_EQ(other->copyMatching(password("anna")).status, -25300);
  EXPECT_EQ(other->remove(password("anna")), -25300);
  const auto grouped = platform::connectSecretService({{"shared"}});
  ASSERT_TRUE(grouped);
  EXPECT_EQ((*grouped)->add(with(password("anna"), kSecAttrAccessGroup, "shared")).status, 0);
  EXPECT_EQ((*grouped)->add(with(password("anna"), kSecAttrAccessGroup, "foreign")).status, -25243);
}

TEST(SecretService, OfTwoProcessesThatAddAnItemAtOnceOneSucceeds) {
  const auto first = connect("com.example.race");
  const auto second = connect("com.example.race");
  for (int round = 0; round < 30; ++round) {
    const Dictionary item = withSecret(password("anna" + std::to_string(round)), kPassword);
    std::int32_t elsewhere = 0;
    std::thread thread([&] { elsewhere = second->add(item).status; });
    const std::int32_t here = first->add(item).status;
    thread.join();
    EXPECT_EQ(here + elsewhere, -25299) << here;
    EXPECT_EQ(secretIn(*first, item), kPassword);
  }
}

TEST(SecretService, ItemThatAnotherProgramSpoiltIsRefusedAndMakesRoomForANewOne) {
  const auto store = connect("com.example.spoilt");
  Collection collection;
  for (const std::string& content :
       {std::string(), std::string("genp"), std::string("genp\0\0\0\x09x", 9),
        std::string("genp\xff\xff\xff\xff", 8), std::string(200, 'x')}) {
    ASSERT_EQ(store->add(withSecret(password("anna"), kPassword)).status, 0);
    collection.spoil("com.example.spoilt", content);
    EXPECT_EQ(secretIn(*store, password("anna")), "-26275");
    EXPECT_EQ(store->add(withSecret(password("anna"), "new")).status, 0);
    EXPECT_EQ(secretIn(*store, password("anna")), "new");
    EXPECT_EQ(store->remove(password("anna")), 0);
  }
}

TEST(SecretService, WithoutAServiceThereIsAnErrorAndNoOtherStore) {
  const std::string address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere", 1);
  const auto store = platform::connectSecretService();
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
  ASSERT_FALSE(store);
  EXPECT_EQ(store.error().code, -25291);
}

}  // namespace
}  // namespace kelm::testing

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
