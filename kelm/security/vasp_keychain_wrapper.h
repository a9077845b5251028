#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/base/value.h"

namespace kelm {

/// Keeps small secrets in the platform's item store, one generic password a key. An object says how
/// its items are named and protected; the class-level operations act on all of the application's.
///
/// Every failure is false or absent, and `returnStatus`, where it is given, receives the status of
/// the last call on the store (0: success, -25300: not there, -25308: needs the user, who must not
/// be asked, -25243: foreign access group, and others of `item_status`); without such a call it
/// stays as it was. Lines are logged about keys and queries, never about secrets. Nothing throws.
/// Thread-safe, but a store of one key is a deletion and an addition, between which the key has no
/// value. Reading a protected item blocks on the user: not for the main thread.
class KELM_API VaspKeychainWrapper {
 public:
  /// Receives the query of a read and 0; its result is asked instead.
  using QueryTranslation = std::function<Dictionary(const Dictionary& query, std::int32_t number)>;
  using Key = std::optional<std::string_view>;
  using Text = std::optional<std::string>;

  VaspKeychainWrapper() = default;
  VaspKeychainWrapper(const VaspKeychainWrapper&) = delete;
  VaspKeychainWrapper& operator=(const VaspKeychainWrapper&) = delete;

  /// `keychainAccessGroup` Named by every query unless absent or empty.
  Text keychainAccessGroup() const;
  void setKeychainAccessGroup(Text group);
  /// `service` Becomes "kelm_service" when a query is built while it is absent or empty.
  Text service() const;
  void setService(Text service);
  /// `account` Becomes "kelm_account" likewise.
  Text account() const;
  void setAccount(Text account);
  /// `keychainInvalidateMode` 0 and 3: items are readable after the first unlock; others: only
  /// while a passcode is set. 2 and 3: a change of the enrolled biometrics takes items away.
  std::int32_t keychainInvalidateMode() const;
  void setKeychainInvalidateMode(std::int32_t mode);
  /// `keychainAuthMode` What reading demands. 0: nothing; 1: biometry; 2: the passcode; 3: either;
  /// others: the user's presence. With 0 the other mode does not count.
  std::int32_t keychainAuthMode() const;
  void setKeychainAuthMode(std::int32_t mode);
  /// `touchIDReasonDescription` The key, in the application's main string table, of what the user
  /// reads when asked.
  Text touchIDReasonDescription() const;
  void setTouchIDReasonDescription(Text key);
  /// `legacyServiceAndAccountNamesMode` The key is part of the service's name, not the account's.
  bool legacyServiceAndAccountNamesMode() const;
  void setLegacyServiceAndAccountNamesMode(bool legacy);

  /// `store:withKey:returnStatus:` Replaces the value of a key. False, with one ERROR line, for
  /// absent bytes and an absent or empty key; with one WARN line for a refusal of the store, and
  /// then the key has no value. Repeats itself as long as the store finds a duplicate that it can
  /// delete.
  bool store_withKey_returnStatus(std::optional<DataView> bytes, Key key,
                                  std::int32_t* returnStatus = nullptr);
  /// `storeString:withKey:returnStatus:` The same with the UTF-8 bytes of a text.
  bool storeString_withKey_returnStatus(std::optional<std::string_view> text, Key key,
                                        std::int32_t* returnStatus = nullptr);
  /// `readWithKey:returnStatus:` Absent when the key has no value or the user did not open it; with
  /// one ERROR line for an absent or empty key. The bytes are the caller's to wipe.
  std::optional<Data> readWithKey_returnStatus(Key key, std::int32_t* returnStatus = nullptr);
  /// `readStringWithKey:returnStatus:` The same as text; absent also when it is not UTF-8.
  std::optional<std::string> readStringWithKey_returnStatus(Key key,
                                                            std::int32_t* returnStatus = nullptr);
  /// `existKey:returnStatus:` True also for what only the user could open; nobody is asked.
  bool existKey_returnStatus(Key key, std::int32_t* returnStatus = nullptr);
  /// `deleteWithKey:returnStatus:` True also when the key had no value. Nobody is asked.
  bool deleteWithKey_returnStatus(Key key, std::int32_t* returnStatus = nullptr);
  /// `cleanallKeysWithReturnStatus:` Deletes everything of this service (in legacy mode: of the
  /// service without a key, with one FATAL line). True also when there was nothing.
  bool cleanallKeysWithReturnStatus(std::int32_t* returnStatus = nullptr);

  /// `getQueryBaseWithKey:` Class, service, account and generic attribute of a key's item, and the
  /// access group.
  Dictionary getQueryBaseWithKey(std::string_view key);
  /// `getSelectAllEntriesQuery` Class, service and access group of all items.
  Dictionary getSelectAllEntriesQuery();
  /// `addSecurityPropertiesForQuery:` Adds how an item is protected. False, with one ERROR line and
  /// the query unchanged, when the platform makes no access control of it.
  bool addSecurityPropertiesForQuery(Dictionary& query) const;

  /// `setQueryTranslationCallback:` Replaces the process-wide callback; an empty one clears it.
  static void setQueryTranslationCallback(QueryTranslation callback);
  /// `resetKeychain` Deletes every generic password that has an account and a service; protected
  /// items stay when the store may not read them unasked. One WARN line for each that stays.
  static void resetKeychain();
  /// `listAllValuesInKeychain` The attributes of every item of every class, as dictionaries.
  static std::vector<Dictionary> listAllValuesInKeychain();
  /// `dump` Every item as a dictionary with readable names, secrets in Base64: for the diagnosis of
  /// test devices alone.
  static std::vector<Dictionary> dump();
  /// `changeDataProtectionToEntriesWithQuery:usingProtection:` Deletes and adds again, with another
  /// protection class, every generic password that the query finds (absent: every one), and that
  /// the store may read unasked. False without a class, or with an ERROR line for each item that
  /// was not migrated; one that cannot be added again is lost. True when nothing is found.
  static bool changeDataProtectionToEntriesWithQuery_usingProtection(
      const std::optional<Dictionary>& query, std::optional<std::string_view> protection);
  /// `keyExtendedName:` "kSecAttrAccount" for that constant, and so on; others as they are.
  static std::string keyExtendedName(std::string_view constant);
  /// `osStatusToString:` A status as the description of an error.
  static std::string osStatusToString(std::int32_t status);

 private:
  struct Settings {
    Text accessGroup;
    Text service;
    Text account;
    std::int32_t invalidateMode = 0;
    std::int32_t authMode = 0;
    Text reason;
    bool legacyNames = false;
  };
  Settings settings() const;
  template <class T>
  void set(T Settings::*field, T value);
  bool addItem(DataView bytes, std::string_view key, std::int32_t& status);

  mutable Mutex mutex_;
  Settings settings_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm
