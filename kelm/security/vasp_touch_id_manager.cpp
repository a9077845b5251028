#include "kelm/security/vasp_touch_id_manager.h"

#include <array>
#include <atomic>
#include <utility>

#include "kelm/base/mutex.h"
#include "kelm/platform/application.h"
#include "kelm/platform/bundle.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/local_authentication.h"
#include "kelm/platform/notification_center.h"
#include "kelm/security/touch_id_cache.h"
#include "kelm/security/touch_id_log.h"
#include "kelm/security/vasp_passcode_util.h"

namespace kelm {

namespace {

using platform::current;
using platform::LocalAuthentication;
using platform::NotificationCenter;

struct Observers {
  Mutex mutex;
  std::array<std::unique_ptr<NotificationCenter::Registration>, 2> list KELM_GUARDED_BY(mutex);
};

Observers& observers() {
  static auto& instance = *new Observers;
  return instance;
}

std::atomic<bool> isLoaded{false};

platform::AuthenticationAbility biometrics() {
  return current<LocalAuthentication>()->ability(AuthenticationPolicy::Biometrics);
}

bool findTouchId() {
  const platform::AuthenticationAbility ability = biometrics();
  if (ability.canEvaluate) return true;
  switch (ability.error) {
    case authentication_error::kLockedOut:
      touchIdDebug("+[VaspTouchIDManager isTouchIDAvailableInDevice]",
                   "isTouchIDAvailableInDevice -> TRUE (kLAErrorTouchIDLockout)");
      return true;
    case authentication_error::kPasscodeNotSet:
    case authentication_error::kNotEnrolled:
      return true;
    default:
      return false;
  }
}

std::string localized(std::string_view key) {
  return current<platform::Bundle>()->localizedText(key);
}

void tellOutcome(VaspTouchIDAuthenticationDelegate* delegate, bool success) {
  constexpr const char* kFrom = "+[VaspTouchIDManager authenticateUserWithDelegate:]";
  touchIdDebug(kFrom, "Cattura eseguita!");
  if (success) {
    touchIdDebug(kFrom, "User authentication successful");
    if (delegate != nullptr) delegate->userAuthenticationWithTouchIDSuccess();
  } else {
    touchIdDebug(kFrom, "User authentication failed");
    if (delegate != nullptr) delegate->userAuthenticationWithTouchIDFailed();
  }
}

}  // namespace

void loadTouchIdOnce() {
  if (!isLoaded.load(std::memory_order_relaxed)) VaspTouchIDManager::load();
}

void VaspTouchIDManager::load() {
  isLoaded = true;
  const auto& center = current<NotificationCenter>();
  const auto reset = [](const platform::Notification&) { resetCache(); };
  std::array made = {center->observe(platform::Application::kDidEnterBackground, reset),
                     center->observe(platform::Application::kWillResignActive, reset)};
  {
    const Lock lock(observers().mutex);
    observers().list.swap(made);
  }
  if (const std::string missing = current<LocalAuthentication>()->missing(); !missing.empty())
    VaspLogger::logwithLevel_aspect_from_message(log_level::kInfo, log_aspect::kTouchId,
                                                 "+[VaspTouchIDManager load]", "%@", missing);
}

void VaspTouchIDManager::resetCache() {
  for (CachedAnswer* answer :
       {&touchIdCaches.isTouchIDAvailableInDevice, &touchIdCaches.isPasscodeSettedInDevice,
        &touchIdCaches.wasPasscodeResetted, &touchIdCaches.wasFingersChanged,
        &touchIdCaches.isFingersEnrolled, &touchIdCaches.isFaceIDAvailableInDevice})
    answer->forget();
}

bool VaspTouchIDManager::isTouchIDAvailableInDevice() {
  loadTouchIdOnce();
  return touchIdCaches.isTouchIDAvailableInDevice.orFind(findTouchId);
}

bool VaspTouchIDManager::isFaceIDAvailableInDevice() {
  loadTouchIdOnce();
  return touchIdCaches.isFaceIDAvailableInDevice.orFind([] {
    biometrics();  // a device may tell the kind only once it was asked about them
    return current<LocalAuthentication>()->biometryType() == BiometryType::Face;
  });
}

bool VaspTouchIDManager::isFingersEnrolled() {
  if (!isTouchIDAvailableInDevice()) return false;
  return touchIdCaches.isFingersEnrolled.orFind(
      [] { return biometrics().error != authentication_error::kNotEnrolled; });
}

bool VaspTouchIDManager::isPasscodeSettedInDevice() {
  loadTouchIdOnce();
  return touchIdCaches.isPasscodeSettedInDevice.orFind(
      [] { return VaspPasscodeUtil().passcodeStatus() == 1; });
}

std::string VaspTouchIDManager::deviceProtectionMethod() {
  if (!isPasscodeSettedInDevice()) return "none";
  return isFingersEnrolled() ? "touchid" : "passcode";
}

Dictionary VaspTouchIDManager::dump() {
  Dictionary state;
  state.set("is_touchid_available", isTouchIDAvailableInDevice());
  state.set("is_faceid_available", isFaceIDAvailableInDevice());
  state.set("is_passcode_enrolled", isPasscodeSettedInDevice());
  state.set("is_fingerprint_enrolled", isFingersEnrolled());
  state.set("device_protection_method", deviceProtectionMethod());
  return state;
}

void VaspTouchIDManager::authenticateUserWithDelegate(
    std::shared_ptr<VaspTouchIDAuthenticationDelegate> delegate) {
  constexpr const char* kFrom = "+[VaspTouchIDManager authenticateUserWithDelegate:]";
  platform::AuthenticationQuestion question;
  question.policy = AuthenticationPolicy::Biometrics;
  if (delegate)
    if (const auto key = delegate->touchIDfallbackButtonDescription())
      question.fallbackTitle = localized(*key);
  if (!biometrics().canEvaluate) {
    touchIdDebug(kFrom, "TouchID not available, cant autenticate");
    if (delegate) delegate->userAuthenticationWithTouchIDNotAvailable();
    return;
  }
  touchIdDebug(kFrom, "Authenticating user");
  question.reason = localized("Non-optional reason");
  if (delegate)
    if (const auto key = delegate->touchIDRequestReasonDescription())
      question.reason = localized(*key);
  current<LocalAuthentication>()->evaluate(
      std::move(question), [delegate = std::move(delegate)](std::int32_t error) {
        current<platform::Dispatcher>()->mainLoop().post([delegate, error] {
          tellOutcome(delegate.get(), error == authentication_error::kNone);
        });
      });
}

}  // namespace kelm
