#pragma once

#include <memory>
#include <optional>
#include <string>

#include "kelm/base/export.h"
#include "kelm/base/value.h"

namespace kelm {

/// Whoever asks for an authentication, and learns how it ended.
class KELM_API VaspTouchIDAuthenticationDelegate {
 public:
  virtual ~VaspTouchIDAuthenticationDelegate() = default;
  /// `touchIDfallbackButtonDescription` The key of the title of the prompt's way out; absent: the
  /// prompt's own.
  virtual std::optional<std::string> touchIDfallbackButtonDescription() { return std::nullopt; }
  /// `touchIDRequestReasonDescription` The key of the sentence that the user reads; absent:
  /// "Non-optional reason".
  virtual std::optional<std::string> touchIDRequestReasonDescription() { return std::nullopt; }
  /// `userAuthenticationWithTouchIDSuccess`
  virtual void userAuthenticationWithTouchIDSuccess() = 0;
  /// `userAuthenticationWithTouchIDFailed`
  virtual void userAuthenticationWithTouchIDFailed() = 0;
  /// `userAuthenticationWithTouchIDNotAvailable`
  virtual void userAuthenticationWithTouchIDNotAvailable() = 0;
};

/// Tells what protects the device, and whether that has changed since the application last looked.
/// Answers about the state are kept until `resetCache`. A change shows by marker items in the item
/// store, which end with what they are bound to, while a flag item beside each of them stays.
/// Thread-safe and never throws. What waits for protected data blocks for up to 15 seconds, what
/// marks makes a dozen calls on the store: neither is for the main thread.
class KELM_API VaspTouchIDManager {
 public:
  VaspTouchIDManager() = delete;

  /// `load` Makes the host's notifications `Application::kDidEnterBackground` and
  /// `kWillResignActive` call `resetCache`; done by itself at the first question about the state.
  /// Says in one INFO line what the system would need to answer more. Again: observes the
  /// notification centre that is in use now.
  static void load();
  /// `resetCache` Forgets the six kept answers.
  static void resetCache();

  /// `isTouchIDAvailableInDevice` True also while nothing is enrolled, biometrics are locked out,
  /// or no passcode is set. Kept.
  static bool isTouchIDAvailableInDevice();
  /// `isFaceIDAvailableInDevice` Kept.
  static bool isFaceIDAvailableInDevice();
  /// `isFingersEnrolled` False, and not kept, without hardware; else kept.
  static bool isFingersEnrolled();
  /// `isPasscodeSettedInDevice` Kept.
  static bool isPasscodeSettedInDevice();
  /// `deviceProtectionMethod` "none", "passcode", or "touchid", which a face is, too.
  static std::string deviceProtectionMethod();
  /// `dump` The answers above under "is_touchid_available", "is_faceid_available",
  /// "is_passcode_enrolled", "is_fingerprint_enrolled" and "device_protection_method".
  static Dictionary dump();

  /// `isKeychainSecureStoreAvailable` True when an item bound to the passcode can be written and
  /// read back now; false without biometric hardware. True, too, when the device stays locked for
  /// 15 seconds. Leaves its item in the store.
  static bool isKeychainSecureStoreAvailable();
  /// `markKeychainAsInUse` Lays the markers and their flags anew; a pair that cannot be laid, after
  /// one more attempt, is absent.
  static void markKeychainAsInUse();
  /// `markKeychainAsInUseRetry:` The same; `retry`: this is that one more attempt.
  static void markKeychainAsInUseRetry(bool retry);

  /// `wasFingersChanged` True when the enrolled biometrics are not those of the marking. Marks, and
  /// answers false, when nothing was marked. Kept.
  static bool wasFingersChanged();
  /// `wasPasscodeResetted` True when the passcode was removed since the marking. Marks, and answers
  /// false, when nothing was marked. Kept, but for the false of a device that stays locked for 15
  /// seconds.
  static bool wasPasscodeResetted();

  /// `authenticateUserWithDelegate:` Asks for biometrics. The outcome reaches the delegate on the
  /// main thread; that they are not available, on this one, before the return.
  static void authenticateUserWithDelegate(
      std::shared_ptr<VaspTouchIDAuthenticationDelegate> delegate);
};

}  // namespace kelm
