#include "kelm/security/vasp_passcode_util.h"

#include "kelm/platform/local_authentication.h"

namespace kelm {

int VaspPasscodeUtil::passcodeStatus() const {
  const auto ability = platform::current<platform::LocalAuthentication>()->ability(
      AuthenticationPolicy::DeviceOwner);
  if (ability.error != authentication_error::kNone) return 0;
  return ability.canEvaluate ? 1 : 2;
}

}  // namespace kelm
