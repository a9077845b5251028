#include "kelm/platform/items/item_query.h"

#include <algorithm>
#include <set>
#include <utility>

#include "kelm/base/wipe.h"

namespace kelm::platform {

namespace {

using namespace access_control_flag;

constexpr std::array kProtectionClasses = {
    kSecAttrAccessibleWhenUnlocked,
    kSecAttrAccessibleAfterFirstUnlock,
    kSecAttrAccessibleAlways,
    kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly,
    kSecAttrAccessibleWhenUnlockedThisDeviceOnly,
    kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly,
    kSecAttrAccessibleAlwaysThisDeviceOnly,
};

// What queries name most often comes first: a store may look items up by the first ones. A generic
// attribute counts too, so that what deletes an item by all its words makes room for it.
constexpr std::array kPasswordIdentity = {kSecAttrService, kSecAttrAccount, kSecAttrGeneric,
                                          kSecAttrAccessGroup, kSecAttrSynchronizable};
constexpr std::array kInternetPasswordIdentity = {
    kSecAttrServer,      kSecAttrAccount,        kSecAttrProtocol,
    kSecAttrPort,        kSecAttrPath,           kSecAttrAuthenticationType,
    kSecAttrAccessGroup, kSecAttrSynchronizable,
};
constexpr std::array kCertificateIdentity = {kSecAttrIssuer, kSecAttrSerialNumber,
                                             kSecAttrAccessGroup, kSecAttrSynchronizable};
constexpr std::array kKeyIdentity = {
    kSecAttrApplicationTag,   kSecAttrKeyType,     kSecAttrKeyClass,
    kSecAttrApplicationLabel, kSecAttrAccessGroup, kSecAttrSynchronizable,
};

bool isClass(std::string_view text) {
  return text == kSecClassGenericPassword || text == kSecClassInternetPassword ||
         text == kSecClassCertificate || text == kSecClassKey || text == kSecClassIdentity;
}

/// Sets `to` when the value is of the right kind.
template <class T>
bool take(const Value& value, T& to) {
  if (const auto* content = value.get<typename T::value_type>()) {
    to = *content;
    return true;
  }
  return false;
}

bool takeFlag(const Value& value, bool& to) {
  const std::optional<bool> flag = value.boolean();
  to = flag.value_or(false);
  return flag.has_value();
}

bool takeText(const Value& value, std::string& to) {
  const std::optional<std::string_view> text = value.text();
  to = text.value_or("");
  return text.has_value();
}

bool takeLimit(const Value& value, bool& all) {
  if (const std::optional<std::int64_t> number = value.integer()) {
    all = *number > 1;
    return *number > 0;
  }
  all = value.text() == kSecMatchLimitAll;
  return all || value.text() == kSecMatchLimitOne;
}

bool takeAccessControl(const Value& value, ItemRequest& request) {
  const auto* object = value.get<ObjectPointer>();
  const auto* control =
      object != nullptr ? dynamic_cast<const AccessControl*>(object->get()) : nullptr;
  if (control == nullptr) return false;
  request.accessFlags = control->flags();
  request.attributes.set(kSecAttrAccessible, control->protection());
  return true;
}

bool isPlain(const Value& value) {
  return (value.isNumber() && value.get<Decimal>() == nullptr) || value.text() ||
         value.get<Data>() != nullptr || value.get<Date>() != nullptr;
}

bool takeAttribute(const std::string& key, const Value& value, ItemRequest& request) {
  if (!isPlain(value)) return false;
  if (key == kSecAttrAccessible && !isProtectionClass(value.text().value_or(""))) return false;
  // Beside an access-control object its protection class counts.
  if (key == kSecAttrAccessible && request.accessFlags) return true;
  request.attributes.set(key, value);
  return true;
}

bool takeEntry(const std::string& key, const Value& value, ItemRequest& request) {
  if (key == kSecClass) return takeText(value, request.itemClass);
  if (key == kSecAttrAccessControl) return takeAccessControl(value, request);
  if (key == kSecValueData) return take(value, request.secret);
  if (key == kSecValuePersistentRef) return take(value, request.persistentReference);
  if (key == kSecMatchLimit) return takeLimit(value, request.wantsAll);
  if (key == kSecReturnData) return takeFlag(value, request.wantsData);
  if (key == kSecReturnAttributes) return takeFlag(value, request.wantsAttributes);
  if (key == kSecReturnRef) return takeFlag(value, request.wantsReference);
  if (key == kSecReturnPersistentRef) return takeFlag(value, request.wantsPersistentReference);
  if (key == kSecUseOperationPrompt) return takeText(value, request.prompt);
  if (key == kSecUseNoAuthenticationUI) {
    bool noUserInterface = false;
    if (!takeFlag(value, noUserInterface)) return false;
    request.mayAskUser = !noUserInterface;
    return true;
  }
  return takeAttribute(key, value, request);
}

bool isUnset(std::string_view key, const Value* value) {
  // An access group without a name is the application's own.
  return value == nullptr || (key == kSecAttrAccessGroup && value->text() == "");
}

/// What the user is to be asked before this item is read.
AuthenticationRequest demandOf(const StoredItem& item, const DeviceSecurity& security) {
  AuthenticationRequest demand;
  const std::uint32_t flags = item.accessFlags;
  const bool sameSet = security.biometricSet == item.biometricSet;
  demand.passcode = (flags & (kUserPresence | kDevicePasscode)) != 0;
  demand.biometry = (flags & (kUserPresence | kBiometryAny | kBiometryCurrentSet)) != 0;
  demand.needsBoth = demand.passcode && demand.biometry && (flags & (kOr | kUserPresence)) == 0;
  const bool hasPasscode = security.isPasscodeSet;
  const bool hasBiometry = security.biometricSet && ((flags & kBiometryCurrentSet) == 0 || sameSet);
  if (demand.needsBoth && !(hasPasscode && hasBiometry)) return {};
  demand.passcode = demand.passcode && hasPasscode;
  demand.biometry = demand.biometry && hasBiometry;
  return demand;
}

}  // namespace

StoredItem::~StoredItem() { wipe(secret); }

ItemRequest::~ItemRequest() {
  if (secret) wipe(*secret);
}

std::int32_t readItemRequest(const Dictionary& dictionary, ItemRequest& request) {
  request.attributes.reserve(dictionary.size());
  for (const Dictionary::Entry& entry : dictionary)
    if (!takeEntry(entry.key, entry.value, request)) return item_status::kParameter;
  if (request.itemClass.empty() && !request.attributes.empty())
    request.itemClass = kSecClassGenericPassword;
  const bool tooLarge = request.secret && request.secret->size() > kMostSecretBytes;
  return isClass(request.itemClass) && !tooLarge ? item_status::kSuccess : item_status::kParameter;
}

bool isProtectionClass(std::string_view text) {
  return std::find(kProtectionClasses.begin(), kProtectionClasses.end(), text) !=
         kProtectionClasses.end();
}

std::span<const std::string_view> protectionClasses() { return kProtectionClasses; }

std::span<const std::string_view> identifyingAttributes(std::string_view itemClass) {
  if (itemClass == kSecClassGenericPassword) return kPasswordIdentity;
  if (itemClass == kSecClassInternetPassword) return kInternetPasswordIdentity;
  if (itemClass == kSecClassKey) return kKeyIdentity;
  return kCertificateIdentity;
}

bool matches(const ItemRequest& query, const StoredItem& item) {
  return matches(query, item, [&](std::string_view key, const Value* value) {
    const Value* found = item.attributes.find(key);
    return found != nullptr && (value == nullptr || *found == *value);
  });
}

bool matches(const ItemRequest& query, const StoredItem& item, const HasAttribute& has) {
  if (query.itemClass != item.itemClass) return false;
  if (query.accessFlags && *query.accessFlags != item.accessFlags) return false;
  if (query.persistentReference && *query.persistentReference != item.persistentReference)
    return false;
  return std::all_of(
      query.attributes.begin(), query.attributes.end(), [&](const Dictionary::Entry& wanted) {
        if (isUnset(wanted.key, &wanted.value)) return !has(wanted.key, nullptr);
        if (wanted.key == kSecAttrSynchronizable && wanted.value == kSecAttrSynchronizableAny)
          return true;
        return has(wanted.key, &wanted.value);
      });
}

bool mayUseGroup(const ItemRequest& request,
                 const std::optional<std::vector<std::string>>& groups) {
  const Value* group = request.attributes.find(kSecAttrAccessGroup);
  if (!groups || isUnset(kSecAttrAccessGroup, group)) return true;
  return std::find(groups->begin(), groups->end(), group->text().value_or("")) != groups->end();
}

StoredItem itemOf(const ItemRequest& request, const DeviceSecurity& security, Date now) {
  StoredItem item;
  item.itemClass = request.itemClass;
  item.attributes = request.attributes;
  item.accessFlags = request.accessFlags.value_or(0);
  item.secret = request.secret.value_or(Data());
  if (isUnset(kSecAttrAccessGroup, item.attributes.find(kSecAttrAccessGroup)))
    item.attributes.remove(kSecAttrAccessGroup);
  if (item.accessFlags != 0) item.biometricSet = security.biometricSet;
  if (!item.attributes.contains(kSecAttrAccessible))
    item.attributes.set(kSecAttrAccessible, kSecAttrAccessibleWhenUnlocked);
  item.attributes.set(kSecAttrCreationDate, now);
  item.attributes.set(kSecAttrModificationDate, now);
  return item;
}

std::int32_t statusOfAdding(const StoredItem& item, const DeviceSecurity& security) {
  const Value* protection = item.attributes.find(kSecAttrAccessible);
  const bool needsPasscode =
      protection != nullptr && *protection == kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly;
  if (needsPasscode && !security.isPasscodeSet) return item_status::kAuthenticationFailed;
  if (item.accessFlags == 0) return item_status::kSuccess;
  const AuthenticationRequest demand = demandOf(item, security);
  return demand.passcode || demand.biometry ? item_status::kSuccess
                                            : item_status::kAuthenticationFailed;
}

bool isInvalidated(const StoredItem& item, const DeviceSecurity& security) {
  const Value* protection = item.attributes.find(kSecAttrAccessible);
  if (!security.isPasscodeSet && protection != nullptr &&
      *protection == kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly)
    return true;
  const bool needsCurrentSet = (item.accessFlags & kBiometryCurrentSet) != 0 &&
                               (item.accessFlags & (kOr | kUserPresence)) == 0;
  return needsCurrentSet && item.biometricSet != security.biometricSet;
}

bool demandsUser(std::span<const StoredItem> items) {
  return std::any_of(items.begin(), items.end(),
                     [](const StoredItem& item) { return item.accessFlags != 0; });
}

std::int32_t authenticateFor(const ItemRequest& query, std::vector<StoredItem>& items,
                             const DeviceSecurity& security,
                             const ItemAuthenticator& authenticator) {
  if (!query.wantsData && !query.wantsReference) return item_status::kSuccess;
  if (demandsUser(items) && (!query.mayAskUser || !authenticator)) {
    if (query.wantsAll)
      std::erase_if(items, [](const StoredItem& item) { return item.accessFlags != 0; });
    return query.wantsAll && !items.empty() ? item_status::kSuccess
                                            : item_status::kInteractionNotAllowed;
  }
  std::set<std::uint32_t> asked;
  for (const StoredItem& item : items) {
    if (item.accessFlags == 0 || asked.contains(item.accessFlags)) continue;
    AuthenticationRequest demand = demandOf(item, security);
    if (!demand.passcode && !demand.biometry) return item_status::kAuthenticationFailed;
    demand.prompt = query.prompt;
    if (const std::int32_t status = authenticator(demand)) return status;
    asked.insert(item.accessFlags);
  }
  return item_status::kSuccess;
}

namespace {

Value answerOfOne(const ItemRequest& query, const StoredItem& item) {
  if (!query.wantsAttributes) {
    const int forms =
        int{query.wantsData} + int{query.wantsReference} + int{query.wantsPersistentReference};
    if (forms == 0) return Null();
    if (forms == 1 && query.wantsData) return item.secret;
    if (forms == 1 && query.wantsReference) return std::make_shared<ItemReference>(item.secret);
    if (forms == 1) return item.persistentReference;
  }
  Dictionary answer;
  if (query.wantsAttributes) {
    answer = item.attributes;
    answer.set(kSecClass, item.itemClass);
    if (item.accessFlags != 0)
      answer.set(
          kSecAttrAccessControl,
          std::make_shared<AccessControl>(
              item.attributes.find(kSecAttrAccessible)->text().value_or(""), item.accessFlags));
  }
  if (query.wantsData) answer.set(kSecValueData, item.secret);
  if (query.wantsReference) answer.set(kSecValueRef, std::make_shared<ItemReference>(item.secret));
  if (query.wantsPersistentReference) answer.set(kSecValuePersistentRef, item.persistentReference);
  return answer;
}

}  // namespace

Value answerOf(const ItemRequest& query, std::span<const StoredItem> items) {
  if (!query.wantsAll) return answerOfOne(query, items.front());
  List answers;
  answers.reserve(items.size());
  for (const StoredItem& item : items)
    answers.push_back(answerOfOne(query, item));
  return answers;
}

}  // namespace kelm::platform
