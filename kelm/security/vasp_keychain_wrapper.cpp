#include "kelm/security/vasp_keychain_wrapper.h"

#include <memory>
#include <utility>

#include "kelm/base/format.h"
#include "kelm/base/utf8.h"
#include "kelm/base/wipe.h"
#include "kelm/platform/bundle.h"
#include "kelm/platform/items/item_store.h"
#include "kelm/security/keychain_log.h"
#include "kelm/security/secret_answer.h"
#include "kelm/security/vasp_touch_id_manager.h"

namespace kelm {

namespace {

constexpr std::string_view kDefaultService = "kelm_service";
constexpr std::string_view kDefaultAccount = "kelm_account";

struct Translation {
  Mutex mutex;
  VaspKeychainWrapper::QueryTranslation callback KELM_GUARDED_BY(mutex);
};

Translation& translation() {
  static Translation& instance = *new Translation;
  return instance;
}

platform::ItemStore& store() { return *platform::current<platform::ItemStore>(); }

bool isEmpty(const VaspKeychainWrapper::Key& key) { return !key || key->empty(); }

void report(std::int32_t status, std::int32_t* returnStatus) {
  if (returnStatus != nullptr) *returnStatus = status;
}

bool isGone(std::int32_t status) {
  return status == item_status::kSuccess || status == item_status::kItemNotFound;
}

void setDefault(std::optional<std::string>& name, std::string_view value) {
  if (!name || name->empty()) name = value;
}

void addAccessGroup(Dictionary& query, const std::optional<std::string>& group) {
  if (group && !group->empty()) query.set(kSecAttrAccessGroup, *group);
}

std::string_view protectionOf(std::int32_t invalidateMode) {
  return invalidateMode == 0 || invalidateMode == 3
             ? kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly
             : kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly;
}

std::uint32_t flagsOf(std::int32_t authMode, std::int32_t invalidateMode) {
  using namespace access_control_flag;
  const bool endsWithTheSet = invalidateMode == 2 || invalidateMode == 3;
  const std::uint32_t biometry = endsWithTheSet ? kBiometryCurrentSet : kBiometryAny;
  switch (authMode) {
    case 1:
      return biometry;
    case 2:
      return kDevicePasscode;
    case 3:
      return kOr | kDevicePasscode | biometry;
    default:
      return kUserPresence;
  }
}

bool isUtf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

}  // namespace

VaspKeychainWrapper::Settings VaspKeychainWrapper::settings() const {
  const Lock lock(mutex_);
  return settings_;
}

template <class T>
void VaspKeychainWrapper::set(T Settings::*field, T value) {
  const Lock lock(mutex_);
  std::swap(settings_.*field, value);
}

VaspKeychainWrapper::Text VaspKeychainWrapper::keychainAccessGroup() const {
  return settings().accessGroup;
}

void VaspKeychainWrapper::setKeychainAccessGroup(Text group) {
  set(&Settings::accessGroup, std::move(group));
}

VaspKeychainWrapper::Text VaspKeychainWrapper::service() const { return settings().service; }

void VaspKeychainWrapper::setService(Text service) { set(&Settings::service, std::move(service)); }

VaspKeychainWrapper::Text VaspKeychainWrapper::account() const { return settings().account; }

void VaspKeychainWrapper::setAccount(Text account) { set(&Settings::account, std::move(account)); }

std::int32_t VaspKeychainWrapper::keychainInvalidateMode() const {
  return settings().invalidateMode;
}

void VaspKeychainWrapper::setKeychainInvalidateMode(std::int32_t mode) {
  set(&Settings::invalidateMode, mode);
}

std::int32_t VaspKeychainWrapper::keychainAuthMode() const { return settings().authMode; }

void VaspKeychainWrapper::setKeychainAuthMode(std::int32_t mode) { set(&Settings::authMode, mode); }

VaspKeychainWrapper::Text VaspKeychainWrapper::touchIDReasonDescription() const {
  return settings().reason;
}

void VaspKeychainWrapper::setTouchIDReasonDescription(Text key) {
  set(&Settings::reason, std::move(key));
}

bool VaspKeychainWrapper::legacyServiceAndAccountNamesMode() const {
  return settings().legacyNames;
}

void VaspKeychainWrapper::setLegacyServiceAndAccountNamesMode(bool mode) {
  set(&Settings::legacyNames, mode);
}

Dictionary VaspKeychainWrapper::getQueryBaseWithKey(std::string_view key) {
  const Lock lock(mutex_);
  setDefault(settings_.service, kDefaultService);
  setDefault(settings_.account, kDefaultAccount);
  std::string service = *settings_.service;
  std::string account = *settings_.account;
  std::string& withKey = settings_.legacyNames ? service : account;
  withKey = format("%@_%@", withKey, key);
  Dictionary query;
  query.set(kSecAttrService, std::move(service));
  query.set(kSecAttrAccount, std::move(account));
  query.set(kSecAttrGeneric, key);
  query.set(kSecClass, kSecClassGenericPassword);
  addAccessGroup(query, settings_.accessGroup);
  return query;
}

Dictionary VaspKeychainWrapper::getSelectAllEntriesQuery() {
  if (legacyServiceAndAccountNamesMode())
    keychain_log::frontend(
        log_level::kFatal, "-[VaspKeychainWrapper getSelectAllEntriesQuery]",
        "getSelectAllEntriesQuery not compatible with legacyServiceAndAccountNamesMode");
  const Lock lock(mutex_);
  setDefault(settings_.service, kDefaultService);
  Dictionary query;
  query.set(kSecClass, kSecClassGenericPassword);
  query.set(kSecAttrService, *settings_.service);
  addAccessGroup(query, settings_.accessGroup);
  return query;
}

bool VaspKeychainWrapper::addSecurityPropertiesForQuery(Dictionary& query) const {
  const Settings mode = settings();
  if (mode.authMode == 0) {
    query.set(kSecAttrAccessible, kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly);
    return true;
  }
  auto control = store().createAccessControl(protectionOf(mode.invalidateMode),
                                             flagsOf(mode.authMode, mode.invalidateMode));
  if (!control) {
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kError, log_aspect::kTouchId | log_aspect::kFrontend,
        "-[VaspKeychainWrapper addSecurityPropertiesForQuery:]",
        "Error creating access control rules %@", control.error());
    return false;
  }
  query.set(kSecAttrAccessControl, *control);
  return true;
}

/// One round of a store: false where no access control could be made, and nothing was added.
bool VaspKeychainWrapper::addItem(DataView bytes, std::string_view key, std::int32_t& status) {
  if (keychainAuthMode() != 0) VaspTouchIDManager::markKeychainAsInUse();
  deleteWithKey_returnStatus(key);
  SecretValue query(getQueryBaseWithKey(key));
  Dictionary& item = *query->get<Dictionary>();
  item.set(kSecValueData, Data(bytes.begin(), bytes.end()));
  if (!addSecurityPropertiesForQuery(item)) return false;
  status = store().add(item).status;
  return true;
}

bool VaspKeychainWrapper::store_withKey_returnStatus(std::optional<DataView> bytes, Key key,
                                                     std::int32_t* returnStatus) {
  constexpr const char* kFrom = "-[VaspKeychainWrapper store:withKey:returnStatus:]";
  if (!bytes || isEmpty(key)) {
    keychain_log::frontend(log_level::kError, kFrom, "Error keychain writing with key:%@", key);
    return false;
  }
  std::int32_t status = item_status::kSuccess;
  do {
    if (!addItem(*bytes, *key, status)) return false;
  } while (status == item_status::kDuplicateItem && deleteWithKey_returnStatus(key));
  report(status, returnStatus);
  if (status == item_status::kSuccess) return true;
  const std::string sentence = osStatusToString(status);
  if (status == item_status::kNoAccessForItem)
    keychain_log::frontend(
        log_level::kError, kFrom,
        "Error keychain writing with key:%@\nStatus:%@\n"
        "Il codice di errore -25243 viene mandato quando viene chiesto una entry con un kag senza "
        "averne i diritti di accesso, se succede verificare che il kag sia ben settato su "
        "capability, entitlement e come property interna di questa classe. Attenzione che la "
        "property deve essere del tipo <app_prefix><bundleid>.<qualcosa es: keychainshare>",
        *key, sentence);
  keychain_log::frontend(log_level::kWarn, kFrom, "%@",
                         format("Error keychain writing with key:%@\nStatus:%@", *key, sentence));
  return false;
}

bool VaspKeychainWrapper::storeString_withKey_returnStatus(std::optional<std::string_view> text,
                                                           Key key, std::int32_t* returnStatus) {
  return store_withKey_returnStatus(text ? std::optional(bytesOf(*text)) : std::nullopt, key,
                                    returnStatus);
}

std::optional<Data> VaspKeychainWrapper::readWithKey_returnStatus(Key key,
                                                                  std::int32_t* returnStatus) {
  if (isEmpty(key)) {
    keychain_log::frontend(log_level::kError, "-[VaspKeychainWrapper readWithKey:returnStatus:]",
                           "Error keychain reading with key:%@", key);
    return std::nullopt;
  }
  Dictionary query = getQueryBaseWithKey(*key);
  query.set(kSecMatchLimit, kSecMatchLimitOne);
  query.set(kSecReturnData, true);
  if (const Text reason = touchIDReasonDescription())
    query.set(kSecUseOperationPrompt,
              platform::current<platform::Bundle>()->localizedText(*reason));
  QueryTranslation translate;
  {
    const Lock lock(translation().mutex);
    translate = translation().callback;
  }
  if (translate) query = translate(query, 0);
  platform::ItemAnswer answer = store().copyMatching(query);
  report(answer.status, returnStatus);
  SecretValue result(std::move(answer.result));
  Data* const bytes = result->get<Data>();
  if (answer.status != item_status::kSuccess || bytes == nullptr) return std::nullopt;
  return std::move(*bytes);
}

std::optional<std::string> VaspKeychainWrapper::readStringWithKey_returnStatus(
    Key key, std::int32_t* returnStatus) {
  std::optional<Data> bytes = readWithKey_returnStatus(key, returnStatus);
  if (!bytes) return std::nullopt;
  std::optional<std::string> text;
  if (isUtf8(textOf(*bytes))) text = textOf(*bytes);
  wipe(*bytes);
  return text;
}

bool VaspKeychainWrapper::existKey_returnStatus(Key key, std::int32_t* returnStatus) {
  constexpr const char* kFrom = "-[VaspKeychainWrapper existKey:returnStatus:]";
  if (isEmpty(key)) {
    keychain_log::frontend(log_level::kError, kFrom, "Error keychain reading with key:%@", key);
    return false;
  }
  Dictionary query = getQueryBaseWithKey(*key);
  query.set(kSecUseNoAuthenticationUI, true);
  query.set(kSecReturnData, true);
  platform::ItemAnswer answer = store().copyMatching(query);
  const SecretValue result(std::move(answer.result));
  report(answer.status, returnStatus);
  const bool exists = answer.status == item_status::kSuccess ||
                      answer.status == item_status::kInteractionNotAllowed;
  keychain_log::debug(kFrom, "Check exists in keychain value for key:%@ with query %@ -> %@", *key,
                      query, exists ? "true" : "false");
  return exists;
}

bool VaspKeychainWrapper::deleteWithKey_returnStatus(Key key, std::int32_t* returnStatus) {
  constexpr const char* kFrom = "-[VaspKeychainWrapper deleteWithKey:returnStatus:]";
  if (isEmpty(key)) {
    keychain_log::frontend(log_level::kError, kFrom, "Error keychain deleting with key:%@", key);
    return false;
  }
  const Dictionary query = getQueryBaseWithKey(*key);
  const std::int32_t status = store().remove(query);
  report(status, returnStatus);
  keychain_log::debug(kFrom, "Deleting in keychain value for key:%@ with query %@ -> status=%@",
                      *key, query, osStatusToString(status));
  return isGone(status);
}

bool VaspKeychainWrapper::cleanallKeysWithReturnStatus(std::int32_t* returnStatus) {
  const std::int32_t status = store().remove(getSelectAllEntriesQuery());
  report(status, returnStatus);
  if (isGone(status)) return true;
  VaspTouchIDManager::markKeychainAsInUse();
  return false;
}

void VaspKeychainWrapper::setQueryTranslationCallback(QueryTranslation callback) {
  const Lock lock(translation().mutex);
  translation().callback.swap(callback);
}

}  // namespace kelm
