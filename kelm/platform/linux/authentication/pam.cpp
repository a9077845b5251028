#include "kelm/platform/linux/authentication/pam.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <span>

#include "kelm/base/wipe.h"
#include "kelm/platform/local_authentication.h"

namespace kelm::platform {

namespace {

// The library is opened, not linked: a host that never asks for a passcode does not load it. Its
// interface has been fixed since X/Open's RFC 86.0 (1995), so it is declared here.
struct Message {
  int style;
  const char* text;
};
struct Response {
  char* text;
  int unused;
};
struct Conversation {
  int (*converse)(int count, const Message** messages, Response** responses, void* data);
  void* data;
};
struct Handle;

constexpr int kSuccess = 0;
constexpr int kPermissionDenied = 6;
constexpr int kAuthenticationError = 7;
constexpr int kUserUnknown = 10;
constexpr int kMostTries = 11;
constexpr int kAccountExpired = 13;
constexpr int kConversationError = 19;
constexpr int kAbort = 26;
constexpr int kPromptEchoOff = 1;
constexpr int kPromptEchoOn = 2;
constexpr int kMostMessages = 32;
constexpr int kSilent = 0x8000;
constexpr int kDisallowNullPassword = 1;

struct Library {
  int (*start)(const char*, const char*, const Conversation*, Handle**) = nullptr;
  int (*startIn)(const char*, const char*, const Conversation*, const char*, Handle**) = nullptr;
  int (*authenticate)(Handle*, int) = nullptr;
  int (*account)(Handle*, int) = nullptr;
  int (*end)(Handle*, int) = nullptr;
};

template <class F>
bool find(void* library, const char* name, F*& function) {
  function = reinterpret_cast<F*>(::dlsym(library, name));
  return function != nullptr;
}

/// Null where it is not installed. Never closed: threads that were left to themselves may be in it.
const Library* library() {
  static const Library* const kLibrary = []() -> const Library* {
    void* const opened = ::dlopen("libpam.so.0", RTLD_NOW | RTLD_LOCAL);
    if (opened == nullptr) return nullptr;
    auto* const found = new Library;
    find(opened, "pam_start_confdir", found->startIn);  // absent before Linux-PAM 1.4
    const bool isWhole = find(opened, "pam_start", found->start) &&
                         find(opened, "pam_authenticate", found->authenticate) &&
                         find(opened, "pam_acct_mgmt", found->account) &&
                         find(opened, "pam_end", found->end);
    return isWhole ? found : nullptr;
  }();
  return kLibrary;
}

/// That the user gave up is told by `*data`'s conversation alone, so it is remembered here.
struct Talk {
  const PamConversation& conversation;
  bool hasGivenUp = false;
};

void freeResponses(Response* responses, int count) {
  for (int i = 0; i < count; ++i) {
    if (responses[i].text == nullptr) continue;
    wipe(std::span(reinterpret_cast<std::uint8_t*>(responses[i].text),
                   std::strlen(responses[i].text)));
    std::free(responses[i].text);
  }
  std::free(responses);
}

bool answer(const Message& message, Talk& talk, Response& response) {
  const char* const text = message.text != nullptr ? message.text : "";
  if (message.style != kPromptEchoOff && message.style != kPromptEchoOn) {
    if (talk.conversation.tell) talk.conversation.tell(text);
    return true;
  }
  std::optional<std::string> given;
  if (talk.conversation.answer) given = talk.conversation.answer(text);
  talk.hasGivenUp = !given;
  if (!given) return false;
  response.text = ::strdup(given->c_str());
  wipe(*given);
  return response.text != nullptr;
}

int converse(int count, const Message** messages, Response** responses, void* data) noexcept {
  if (count <= 0 || count > kMostMessages) return kConversationError;
  auto* const made = static_cast<Response*>(std::calloc(count, sizeof(Response)));
  if (made == nullptr) return kConversationError;
  bool isComplete = true;
  try {
    for (int i = 0; isComplete && i < count; ++i)
      isComplete = answer(*messages[i], *static_cast<Talk*>(data), made[i]);
  } catch (...) {  // what the host's prompt throws must not pass through C
    isComplete = false;
  }
  if (isComplete) {
    *responses = made;
    return kSuccess;
  }
  freeResponses(made, count);
  return kConversationError;
}

std::int32_t errorOf(int result, const Talk& talk) {
  if (talk.hasGivenUp) return authentication_error::kUserCanceled;
  switch (result) {
    case kSuccess:
      return authentication_error::kNone;
    case kMostTries:
      return authentication_error::kLockedOut;
    case kAbort:
      return authentication_error::kSystemCanceled;
    default:
      return authentication_error::kFailed;
  }
}

/// Does the work on a session of the service; absent where none can be had.
template <class Work>
std::optional<int> withSession(const PamService& service, Talk& talk, const Work& work) {
  const Library* const pam = library();
  if (pam == nullptr || (!service.configuration.empty() && pam->startIn == nullptr))
    return std::nullopt;
  const Conversation conversation = {converse, &talk};
  Handle* handle = nullptr;
  int result = service.configuration.empty()
                   ? pam->start(service.name.c_str(), service.user.c_str(), &conversation, &handle)
                   : pam->startIn(service.name.c_str(), service.user.c_str(), &conversation,
                                  service.configuration.c_str(), &handle);
  if (result != kSuccess) return std::nullopt;
  result = work(*pam, handle);
  pam->end(handle, result);
  return result;
}

}  // namespace

std::int32_t pamAuthenticate(const PamService& service, const PamConversation& conversation) {
  Talk talk{conversation};
  const std::optional<int> result = withSession(service, talk, [](const Library& pam, Handle* h) {
    const int authenticated = pam.authenticate(h, kDisallowNullPassword);
    // An account that was closed meanwhile does not pass, although its password is right.
    return authenticated == kSuccess ? pam.account(h, kDisallowNullPassword) : authenticated;
  });
  return result ? errorOf(*result, talk) : authentication_error::kNotAvailable;
}

std::optional<bool> pamHasAccount(const PamService& service) {
  const PamConversation nobody;
  Talk talk{nobody};
  const std::optional<int> result = withSession(service, talk, [](const Library& pam, Handle* h) {
    return pam.account(h, kSilent | kDisallowNullPassword);
  });
  if (!result) return std::nullopt;
  switch (*result) {
    case kSuccess:
      return true;
    case kUserUnknown:
    case kAccountExpired:
    case kPermissionDenied:
    case kAuthenticationError:
      return false;
    default:
      return std::nullopt;
  }
}

}  // namespace kelm::platform
