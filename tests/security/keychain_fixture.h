#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kelm/base/describe.h"
#include "kelm/security/vasp_keychain_wrapper.h"
#include "kelm/testing/log_capture.h"
#include "kelm/testing/test_platform.h"
#include "tests/support/canary.h"

namespace kelm::testing {

const std::string kPin = secretText("-pin", 16);

/// A keychain in memory on a device with a passcode and fingers, and what is logged meanwhile.
struct KeychainFixture {
  KeychainFixture() { store.reportDeviceSecurity({true, dataOf("fingers")}); }
  ~KeychainFixture() { VaspKeychainWrapper::setQueryTranslationCallback({}); }

  /// Texts of the attributes of every password, with commas.
  std::string textsOfAll(const std::vector<std::string_view>& keys) {
    std::string out;
    for (const Value& item : query(kSecClassGenericPassword))
      if (!isMarker(*item.get<Dictionary>())) out += texts(*item.get<Dictionary>(), keys);
    return out;
  }
  static bool isMarker(const Dictionary& item) {
    const Value* service = item.find(kSecAttrService);
    return service != nullptr && service->text().value_or("").starts_with("PASSCODE_REMOVED");
  }
  /// True if the keychain was marked as in use.
  bool isMarked() {
    for (const Value& item : query(kSecClassGenericPassword))
      if (isMarker(*item.get<Dictionary>())) return true;
    return false;
  }
  /// Keeps the pin under a key; reads what is kept under "pin".
  bool keep(std::string_view key) {
    return keychain.storeString_withKey_returnStatus(kPin, key, &status);
  }
  std::optional<std::string> read() {
    return keychain.readStringWithKey_returnStatus("pin", &status);
  }
  List query(std::string_view itemClass) {
    const auto answer = store.copyMatching({{std::string(kSecClass), itemClass},
                                            {std::string(kSecReturnAttributes), true},
                                            {std::string(kSecMatchLimit), kSecMatchLimitAll}});
    store.takeCalls();
    const auto* list = answer.result.get<List>();
    return list != nullptr ? *list : List();
  }
  void put(std::string_view account, std::string_view secret, const Dictionary& more = {}) {
    Dictionary added = {{std::string(kSecClass), kSecClassGenericPassword},
                        {std::string(kSecAttrService), "tills"},
                        {std::string(kSecAttrAccount), account},
                        {std::string(kSecValueData), dataOf(secret)}};
    added.addEntries(more);
    ASSERT_EQ(store.add(added).status, 0);
    store.takeCalls();
  }
  /// The names of the calls since the last time of asking.
  std::string calls() {
    std::string names;
    for (const auto& call : store.takeCalls())
      names += (names.empty() ? "" : " ") + call.name;
    return names;
  }
  /// The lines so far that are not of level DEBUG, without the stack.
  std::vector<std::string> lines() {
    std::vector<std::string> lines = log.lines();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("DEBUG"); });
    return lines;
  }
  /// Texts of an item's attributes, with commas.
  static std::string texts(const Dictionary& item, const std::vector<std::string_view>& keys) {
    std::string out;
    for (const std::string_view key : keys)
      out += (item.contains(key) ? describe(*item.find(key)) : "-") + ',';
    return out;
  }

  TestPlatform services;
  MemoryItemStore& store = *services.itemStore;
  TestScope scope{services};
  LogCapture log;
  VaspKeychainWrapper keychain;
  static constexpr std::int32_t kUntouched = 12345;
  std::int32_t status = kUntouched;
};

inline constexpr auto& statusText = VaspKeychainWrapper::osStatusToString;

}  // namespace kelm::testing
