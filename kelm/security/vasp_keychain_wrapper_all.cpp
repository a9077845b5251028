#include <array>
#include <cstddef>
#include <span>
#include <utility>

#include "kelm/base/error.h"
#include "kelm/base/format.h"
#include "kelm/crypto/vasp_base64.h"
#include "kelm/platform/items/item_store.h"
#include "kelm/security/keychain_log.h"
#include "kelm/security/secret_answer.h"
#include "kelm/security/vasp_keychain_wrapper.h"

// The operations on all items of the application.
namespace kelm {

namespace {

constexpr std::array kItemClasses = {kSecClassGenericPassword, kSecClassInternetPassword,
                                     kSecClassCertificate, kSecClassKey, kSecClassIdentity};

platform::ItemStore& store() { return *platform::current<platform::ItemStore>(); }

Dictionary allItemsQuery(std::string_view itemClass) {
  Dictionary query;
  query.set(kSecReturnAttributes, true);
  query.set(kSecMatchLimit, kSecMatchLimitAll);
  query.set(kSecClass, itemClass);
  return query;
}

/// The items of an answer: those of a list, or the one that it is.
std::span<Value> itemsOf(Value& answer) {
  if (auto* list = answer.get<List>()) return *list;
  return answer.isNull() ? std::span<Value>() : std::span<Value>(&answer, 1);
}

/// Copies an attribute; false when the item has none.
bool copyAttribute(std::string_view key, const Dictionary& item, Dictionary& query) {
  const Value* value = item.find(key);
  if (value != nullptr) query.set(key, *value);
  return value != nullptr;
}

std::optional<std::string_view> resultName(std::int32_t status) {
  switch (status) {
    case item_status::kInteractionNotAllowed:
      return "errSecInteractionNotAllowed";
    case item_status::kItemNotFound:
      return "errSecItemNotFound";
    case item_status::kSuccess:
      return "errSecSuccess";
    default:
      return std::nullopt;
  }
}

Value shown(std::string_view key, const Value& value) {
  if (const auto* bytes = value.get<Data>())
    return bytes->empty() ? std::string("<<0 bytes>>")
                          : format("<<b64:%@>>", VaspBase64::base64OfData(*bytes));
  if (key == kSecAttrAccessible && value.text())
    return VaspKeychainWrapper::keyExtendedName(*value.text());
  return value;
}

/// What names an item in a migration. It ends at the first attribute that is missing.
Dictionary migrationQuery(const Dictionary& item) {
  Dictionary query;
  for (const std::string_view key :
       {kSecAttrService, kSecAttrAccount, kSecAttrGeneric, kSecAttrAccessGroup})
    if (!copyAttribute(key, item, query)) return query;
  query.set(kSecClass, kSecClassGenericPassword);
  return query;
}

/// Takes the secret out of the item.
bool migrate(Dictionary& item, std::string_view protection) {
  constexpr const char* kFrom =
      "+[VaspKeychainWrapper changeDataProtectionToEntriesWithQuery:usingProtection:]";
  Value* const secret = item.find(kSecValueData);
  SecretValue query(migrationQuery(item));
  Dictionary& added = *query->get<Dictionary>();
  // An item whose secret is not at hand is not removed: it could not be added again.
  std::int32_t status = secret != nullptr ? store().remove(added) : item_status::kParameter;
  if (status != item_status::kSuccess) {
    keychain_log::frontend(log_level::kError, kFrom,
                           "Error deleting entry to migrate dataprotection: %@",
                           VaspKeychainWrapper::osStatusToString(status));
    return false;
  }
  added.set(kSecValueData, std::exchange(*secret, Null()));
  added.set(kSecAttrAccessible, protection);
  status = store().add(added).status;
  if (status == item_status::kSuccess) return true;
  keychain_log::frontend(log_level::kError, kFrom,
                         "Error readding entry to migrate dataprotection: %@",
                         VaspKeychainWrapper::osStatusToString(status));
  return false;
}

struct Name {
  std::string_view constant;
  std::string_view name;
};

// In the order in which they are tried: some constants are the same text.
constexpr std::array kNames = {
    Name{kSecAttrAccessible, "kSecAttrAccessible"},
    Name{kSecAttrAccessControl, "kSecAttrAccessControl"},
    Name{kSecAttrAccessGroup, "kSecAttrAccessGroup"},
    Name{kSecAttrSynchronizable, "kSecAttrSynchronizable"},
    Name{kSecAttrSynchronizableAny, "kSecAttrSynchronizableAny"},
    Name{kSecAttrCreationDate, "kSecAttrCreationDate"},
    Name{kSecAttrModificationDate, "kSecAttrModificationDate"},
    Name{kSecAttrDescription, "kSecAttrDescription"},
    Name{kSecAttrComment, "kSecAttrComment"},
    Name{kSecAttrCreator, "kSecAttrCreator"},
    Name{kSecAttrType, "kSecAttrType"},
    Name{kSecAttrLabel, "kSecAttrLabel"},
    Name{kSecAttrAccount, "kSecAttrAccount"},
    Name{kSecAttrService, "kSecAttrService"},
    Name{kSecAttrGeneric, "kSecAttrGeneric"},
    Name{kSecAttrAuthenticationType, "kSecAttrAuthenticationType"},
    Name{kSecAttrKeyClass, "kSecAttrKeyClass"},
    Name{kSecValueData, "kSecValueData"},
    Name{kSecAttrAccessibleWhenUnlocked, "kSecAttrAccessibleWhenUnlocked"},
    Name{kSecAttrAccessibleAfterFirstUnlock, "kSecAttrAccessibleAfterFirstUnlock"},
    Name{kSecAttrAccessibleAlways, "kSecAttrAccessibleAlways"},
    Name{kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly,
         "kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly"},
    Name{kSecAttrAccessibleWhenUnlockedThisDeviceOnly,
         "kSecAttrAccessibleWhenUnlockedThisDeviceOnly"},
    Name{kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly,
         "kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly"},
    Name{kSecAttrAccessibleAlwaysThisDeviceOnly, "kSecAttrAccessibleAlwaysThisDeviceOnly"},
};

}  // namespace

void VaspKeychainWrapper::resetKeychain() {
  Dictionary all = allItemsQuery(kSecClassGenericPassword);
  all.set(kSecReturnData, true);
  all.set(kSecUseNoAuthenticationUI, true);
  platform::ItemAnswer answer = store().copyMatching(all);
  SecretValue found(std::move(answer.result));
  if (answer.status != item_status::kSuccess) return;
  for (const Value& entry : itemsOf(*found)) {
    const auto* item = entry.get<Dictionary>();
    Dictionary query;
    query.set(kSecClass, kSecClassGenericPassword);
    if (item == nullptr || !copyAttribute(kSecAttrService, *item, query) ||
        !copyAttribute(kSecAttrAccount, *item, query))
      continue;
    copyAttribute(kSecAttrAccessGroup, *item, query);
    copyAttribute(kSecAttrGeneric, *item, query);
    if (const std::int32_t status = store().remove(query))
      keychain_log::frontend(log_level::kWarn, "+[VaspKeychainWrapper resetKeychain]",
                             "Error %@ in resetKeychain for %@", status, query);
  }
}

std::vector<Dictionary> VaspKeychainWrapper::listAllValuesInKeychain() {
  constexpr const char* kFrom = "+[VaspKeychainWrapper listAllValuesInKeychain]";
  keychain_log::debug(kFrom, "Read listAllValuesInKeychain");
  std::vector<Dictionary> result;
  for (const std::string_view itemClass : kItemClasses) {
    Dictionary query = allItemsQuery(itemClass);
    query.set(kSecUseNoAuthenticationUI, true);
    platform::ItemAnswer answer = store().copyMatching(query);
    if (const auto name = resultName(answer.status))
      keychain_log::debug(kFrom, "Biometric items %@", *name);
    if (answer.status != item_status::kSuccess) continue;
    for (Value& entry : itemsOf(answer.result)) {
      auto* item = entry.get<Dictionary>();
      if (item == nullptr) continue;
      keychain_log::debug(kFrom, "item_ %@", *item);
      result.push_back(std::move(*item));
    }
  }
  return result;
}

std::vector<Dictionary> VaspKeychainWrapper::dump() {
  std::vector<Dictionary> result;
  for (const std::string_view itemClass : kItemClasses) {
    Dictionary query = allItemsQuery(itemClass);
    query.set(kSecReturnData, true);
    platform::ItemAnswer answer = store().copyMatching(query);
    SecretValue found(std::move(answer.result));
    if (answer.status != item_status::kSuccess) continue;
    for (const Value& entry : itemsOf(*found)) {
      const auto* item = entry.get<Dictionary>();
      if (item == nullptr) continue;
      Dictionary description;
      for (const auto& [key, value] : *item)
        description.set(keyExtendedName(key), shown(key, value));
      result.push_back(std::move(description));
    }
  }
  return result;
}

bool VaspKeychainWrapper::changeDataProtectionToEntriesWithQuery_usingProtection(
    const std::optional<Dictionary>& query, std::optional<std::string_view> protection) {
  if (!protection) return false;
  Dictionary all = allItemsQuery(kSecClassGenericPassword);
  all.set(kSecReturnData, true);
  all.set(kSecUseNoAuthenticationUI, true);
  if (query) all.addEntries(*query);
  platform::ItemAnswer answer = store().copyMatching(all);
  SecretValue found(std::move(answer.result));
  if (answer.status != item_status::kSuccess) return true;
  bool allMoved = true;
  for (Value& entry : itemsOf(*found)) {
    auto* item = entry.get<Dictionary>();
    if (item == nullptr || !migrate(*item, *protection)) allMoved = false;
  }
  return allMoved;
}

std::string VaspKeychainWrapper::keyExtendedName(std::string_view constant) {
  for (const Name& entry : kNames)
    if (entry.constant == constant) return std::string(entry.name);
  return std::string(constant);
}

std::string VaspKeychainWrapper::osStatusToString(std::int32_t status) {
  return describe(Error::make(platform::ItemStore::kStatusDomain, status,
                              platform::sentenceOfItemStatus(status)));
}

}  // namespace kelm
