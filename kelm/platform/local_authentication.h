#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm {

/// The means by which the user is authenticated.
enum class AuthenticationPolicy : std::int32_t {
  Biometrics = 1,
  DeviceOwner = 2,  ///< biometrics or the passcode
};

enum class BiometryType : std::int32_t { None = 0, Touch = 1, Face = 2 };

/// Why a policy cannot be evaluated, or why the user was not authenticated.
namespace authentication_error {
inline constexpr std::int32_t kNone = 0;
inline constexpr std::int32_t kFailed = -1;
inline constexpr std::int32_t kUserCanceled = -2;
inline constexpr std::int32_t kSystemCanceled = -4;
inline constexpr std::int32_t kPasscodeNotSet = -5;
inline constexpr std::int32_t kNotAvailable = -6;  // no hardware, or nothing that answers for it
inline constexpr std::int32_t kNotEnrolled = -7;
inline constexpr std::int32_t kLockedOut = -8;          // until the passcode was given
inline constexpr std::int32_t kNotInteractive = -1004;  // nobody can be asked
}  // namespace authentication_error

namespace platform {

/// The answer to "can this policy be evaluated now". Without an error and without the ability, the
/// device simply has none of its means.
struct AuthenticationAbility {
  bool canEvaluate = false;
  std::int32_t error = authentication_error::kNone;
};

/// One authentication of the user.
struct AuthenticationQuestion {
  AuthenticationPolicy policy = AuthenticationPolicy::Biometrics;
  std::string reason;                        ///< the sentence that the user is shown
  std::optional<std::string> fallbackTitle;  ///< what the way out of a prompt is called
};

/// Prompts that the host shows while a user is authenticated. Called on any thread; may block on
/// the user.
struct AuthenticationPrompt {
  /// Asks for the passcode; absent when the user gave up. The library wipes its copy.
  std::function<std::optional<std::string>(const AuthenticationQuestion& question)> askPasscode;
  /// Shows a sentence, such as "Place the finger again."; may be empty.
  std::function<void(std::string_view sentence)> tell;
};

/// Tells what protects the device, and who holds it. Thread-safe; questions about the state end
/// within 100 ms where nothing is installed that could answer.
class KELM_API LocalAuthentication {
 public:
  /// The error as in `authentication_error`; 0 when the user was authenticated.
  using Reply = std::function<void(std::int32_t error)>;

  virtual ~LocalAuthentication() = default;
  /// Holds the one in use; `current<LocalAuthentication>()` returns it.
  static Slot<LocalAuthentication>& slot();
  /// Makes the system's own.
  static std::shared_ptr<LocalAuthentication> makeSystem();

  /// Asks nobody.
  virtual AuthenticationAbility ability(AuthenticationPolicy policy) = 0;
  /// The kind of the device's biometrics, enrolled or not.
  virtual BiometryType biometryType() = 0;
  /// Asks the user. Returns at once; `reply` is called once, on any thread, perhaps before the
  /// return.
  virtual void evaluate(AuthenticationQuestion question, Reply reply) = 0;
  /// True unless the device is locked.
  virtual bool isProtectedDataAvailable() = 0;
  /// Says who shows prompts. Before that, what needs one is `kNotInteractive`.
  virtual void setPrompt(AuthenticationPrompt prompt) = 0;
  /// Says what would have to be installed or set up for the system to answer more, as one sentence;
  /// empty when nothing is missing.
  virtual std::string missing() = 0;
};

}  // namespace platform
}  // namespace kelm
