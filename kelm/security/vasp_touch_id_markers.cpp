#include <atomic>
#include <chrono>
#include <optional>
#include <string_view>
#include <utility>

#include "kelm/base/data.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/network/hooks/kelm_core_app_exposed_hooks.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/items/item_store.h"
#include "kelm/platform/local_authentication.h"
#include "kelm/security/secret_answer.h"
#include "kelm/security/touch_id_cache.h"
#include "kelm/security/touch_id_log.h"
#include "kelm/security/vasp_touch_id_manager.h"

// The marker items, and what their survival tells.
namespace kelm {

namespace {

using platform::current;
using platform::ItemStore;

#define KELM_DETECTOR "PASSCODE_REMOVED_DETECTOR_KEYCHAIN"
struct Marker {
  std::string_view account;
  std::string_view protection;
  std::string_view service = KELM_DETECTOR ".service";
};
constexpr Marker kBiometricMarker = {KELM_DETECTOR ".fingersetchanged.key",
                                     kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly};
constexpr Marker kBiometricFlag = {KELM_DETECTOR ".fingersetchanged_flag.key",
                                   kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly};
constexpr Marker kPasscodeMarker = {KELM_DETECTOR ".passcodeset.key",
                                    kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly};
constexpr Marker kPasscodeFlag = {KELM_DETECTOR ".passcodeset_flag.key",
                                  kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly};
constexpr Marker kStoreCheck = {KELM_DETECTOR ".passcodecheck.key",
                                kSecAttrAccessibleWhenPasscodeSetThisDeviceOnly,
                                KELM_DETECTOR ".passcodecheck.service"};
#undef KELM_DETECTOR

constexpr std::uint32_t kMarkerBytes = 32;
constexpr int kMostSeconds = 15;

ItemStore& store() { return *current<ItemStore>(); }

Dictionary queryOf(const Marker& marker) {
  Dictionary query;
  query.set(kSecClass, kSecClassGenericPassword);
  query.set(kSecAttrService, marker.service);
  query.set(kSecAttrAccount, marker.account);
  return query;
}

void removeMarker(const Marker& marker) { store().remove(queryOf(marker)); }

/// Deletes the marker and adds it: in one step, so that a crash leaves either the old or the new.
/// `control` stands in place of the protection class.
std::int32_t lay(const Marker& marker, const Data& bytes, ObjectPointer control = nullptr) {
  const Dictionary query = queryOf(marker);
  Dictionary item = query;
  item.set(kSecValueData, bytes);
  if (control)
    item.set(kSecAttrAccessControl, std::move(control));
  else
    item.set(kSecAttrAccessible, marker.protection);
  return store().replace(query, item).status;
}

struct Found {
  std::int32_t status = item_status::kSuccess;
  std::optional<Data> bytes;

  bool isPresent() const { return bytes && bytes->size() == kMarkerBytes; }
};

Found read(const Marker& marker, bool mayAsk = true) {
  Dictionary query = queryOf(marker);
  query.set(kSecReturnData, true);
  if (!mayAsk) query.set(kSecUseNoAuthenticationUI, true);
  platform::ItemAnswer answer = store().copyMatching(query);
  Found found{answer.status, std::nullopt};
  if (answer.status != item_status::kSuccess) return found;
  if (auto* bytes = answer.result.get<Data>()) found.bytes = std::move(*bytes);
  return found;
}

/// The host's application object speaks for the device; where the host has set none, the device
/// itself.
bool isProtectedDataAvailable() {
  const auto& authentication = current<platform::LocalAuthentication>();
  const auto application = KelmCoreAppExposedHooks::getInstance().sharedApplication();
  return application ? application->isProtectedDataAvailable()
                     : authentication->isProtectedDataAvailable();
}

std::atomic<std::int32_t> protectionDataRetry{0};

/// One second, or less when the data become available.
void sleepASecond() {
  using namespace std::chrono_literals;
  for (auto slept = 0ms; slept < 1s; slept += 100ms) {
    current<platform::Clock>()->sleep(100ms);
    if (isProtectedDataAvailable()) return;
  }
}

/// False when the device stayed locked.
bool waitForProtectedData() {
  while (!isProtectedDataAvailable() && protectionDataRetry < kMostSeconds) {
    sleepASecond();
    ++protectionDataRetry;
  }
  return protectionDataRetry.exchange(0) < kMostSeconds;
}

bool layBiometricPair(const Data& bytes, const ObjectPointer& control) {
  // Without an access control the marker would be bound to nothing.
  const bool isMarked = control && lay(kBiometricMarker, bytes, control) == item_status::kSuccess;
  if (isMarked && lay(kBiometricFlag, bytes) == item_status::kSuccess) return true;
  removeMarker(kBiometricFlag);
  removeMarker(kBiometricMarker);
  return false;
}

bool layPasscodePair(const Data& bytes) {
  if (lay(kPasscodeMarker, bytes) == item_status::kSuccess &&
      lay(kPasscodeFlag, bytes) == item_status::kSuccess)
    return true;
  removeMarker(kPasscodeFlag);
  removeMarker(kPasscodeMarker);
  return false;
}

bool findFingersChange() {
  const Found flag = read(kBiometricFlag);
  const Found marker = read(kBiometricMarker, false);
  if (flag.isPresent()) return marker.status != item_status::kInteractionNotAllowed;
  VaspTouchIDManager::markKeychainAsInUse();
  return false;
}

}  // namespace

bool VaspTouchIDManager::isKeychainSecureStoreAvailable() {
  if (!isTouchIDAvailableInDevice()) return false;
  if (!waitForProtectedData()) return true;
  const Data bytes = VaspCryptoUtils::getRandom(kMarkerBytes);
  if (lay(kStoreCheck, bytes) != item_status::kSuccess) return false;
  const Found found = read(kStoreCheck);
  return found.isPresent() && *found.bytes == bytes;
}

void VaspTouchIDManager::markKeychainAsInUse() {
  resetCache();
  markKeychainAsInUseRetry(false);
}

void VaspTouchIDManager::markKeychainAsInUseRetry(bool retry) {
  resetCache();
  const Data bytes = VaspCryptoUtils::getRandom(kMarkerBytes);
  ObjectPointer control;
  if (auto made = store().createAccessControl(kSecAttrAccessibleAfterFirstUnlockThisDeviceOnly,
                                              access_control_flag::kBiometryCurrentSet))
    control = *made;
  const bool hasBiometricPair = layBiometricPair(bytes, control);
  const bool hasPasscodePair = layPasscodePair(bytes);
  if (!retry && !(hasBiometricPair && hasPasscodePair)) markKeychainAsInUseRetry(true);
}

bool VaspTouchIDManager::wasFingersChanged() {
  loadTouchIdOnce();
  return touchIdCaches.wasFingersChanged.orFind(findFingersChange);
}

bool VaspTouchIDManager::wasPasscodeResetted() {
  loadTouchIdOnce();
  CachedAnswer& cache = touchIdCaches.wasPasscodeResetted;
  if (!waitForProtectedData()) return false;
  if (cache.isKnown()) return cache.orFind([] { return false; });
  const Found flag = read(kPasscodeFlag);
  const Found marker = read(kPasscodeMarker);
  if (marker.status == item_status::kInteractionNotAllowed) return false;
  touchIdDebug("+[VaspTouchIDManager wasPasscodeResetted]",
               "PasscodeResetted mask\nFlag stored with 'when unlocked' exist:%@\n"
               "Flag stored with 'when passcode' exist:%@",
               flag.isPresent() ? "Y" : "N", marker.isPresent() ? "Y" : "N");
  if (!flag.isPresent()) markKeychainAsInUse();
  const bool wasRemoved = flag.isPresent() && !marker.isPresent();
  cache.keep(wasRemoved);
  return wasRemoved;
}

}  // namespace kelm
