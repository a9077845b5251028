#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kelm::platform {

/// Passes PAM's questions and messages to the user. Called on the thread of the call.
struct PamConversation {
  std::function<std::optional<std::string>(std::string_view prompt)> answer;
  std::function<void(std::string_view sentence)> tell;
};

/// Where a service of PAM stands, and for whom.
struct PamService {
  std::string name;
  std::string configuration;  ///< empty: the system's folders
  std::string user;
};

/// Authenticates the user, by the system's modules, which may take any time. The result is one of
/// `authentication_error`; `kNotAvailable` where the system has no PAM. The library is loaded at
/// the first call.
std::int32_t pamAuthenticate(const PamService& service, const PamConversation& conversation);
/// Returns true if the account may be used; absent where PAM cannot say.
std::optional<bool> pamHasAccount(const PamService& service);

}  // namespace kelm::platform
