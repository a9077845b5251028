#include "kelm/platform/local_authentication.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <thread>
#include <utility>

#include "kelm/base/data.h"
#include "kelm/base/mutex.h"
#include "kelm/base/wipe.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/linux/authentication/pam.h"
#include "kelm/platform/linux/authentication/services.h"
#include "kelm/platform/linux/files/system_call.h"

namespace kelm::platform {

namespace {

constexpr auto kAccountPatience = std::chrono::milliseconds(100);

std::string userOfProcess() {
  std::array<char, 4096> buffer;
  passwd entry;
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
      found == nullptr)
    return {};
  return found->pw_name;
}

/// The file's content; absent when it cannot be read whole.
std::optional<std::string> contentOf(const std::string& path) {
  const Descriptor file(
      retried([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
  if (!file.isOpen()) return std::nullopt;
  std::string content;
  std::array<char, 4096> piece;
  for (;;) {
    const ssize_t size = retried([&] { return ::read(file.number(), piece.data(), piece.size()); });
    if (size < 0) return std::nullopt;
    if (size == 0) return content;
    content.append(piece.data(), static_cast<std::size_t>(size));
  }
}

/// Returns true if the file of shadow(5) has a hash that a password can match; absent when it does
/// not say.
std::optional<bool> hasPassword(const std::string& shadowFile, const std::string& user) {
  std::optional<std::string> content = contentOf(shadowFile);
  if (!content) return std::nullopt;
  std::optional<bool> found;
  const std::string name = user + ':';
  for (std::size_t at = 0; !found && at < content->size();) {
    const std::size_t end = std::min(content->find('\n', at), content->size());
    const std::string_view line = std::string_view(*content).substr(at, end - at);
    at = end + 1;
    if (!line.starts_with(name)) continue;
    const std::string_view hash =
        line.substr(name.size(), line.find(':', name.size()) - name.size());
    found = !hash.empty() && hash[0] != '!' && hash[0] != '*';
  }
  wipe(*content);
  return found;
}

/// A reply that is given once, by whoever is first.
class OneReply {
 public:
  explicit OneReply(LocalAuthentication::Reply reply) : reply_(std::move(reply)) {}
  void give(std::int32_t error) {
    if (!isGiven_.exchange(true) && reply_) reply_(error);
  }

 private:
  const LocalAuthentication::Reply reply_;
  std::atomic<bool> isGiven_{false};
};

/// The passcode of the user's account. This machine's readers of fingers are not asked, so there
/// are no biometrics.
class SystemAuthentication : public LocalAuthentication {
 public:
  explicit SystemAuthentication(SystemAuthenticationOptions options)
      : options_(std::move(options)),
        service_{options_.service, options_.configuration,
                 options_.user.empty() ? userOfProcess() : options_.user} {}

  AuthenticationAbility ability(AuthenticationPolicy policy) override {
    if (policy == AuthenticationPolicy::Biometrics)
      return {false, authentication_error::kNotAvailable};
    const std::optional<bool> isSet = isPasscodeSet();
    if (!isSet) return {false, authentication_error::kNotAvailable};
    return {*isSet, authentication_error::kNone};
  }
  BiometryType biometryType() override { return BiometryType::None; }
  bool isProtectedDataAvailable() override { return true; }
  void setPrompt(AuthenticationPrompt prompt) override {
    const Lock lock(mutex_);
    std::swap(prompt_, prompt);
  }
  std::string missing() override {
    if (hasService()) return {};
    return "No passcode of the system is used: " + options_.serviceFolders.front() + "/" +
           options_.service + " is missing.";
  }
  void evaluate(AuthenticationQuestion question, Reply reply) override;

 private:
  bool hasService() const {
    for (const std::string& folder : options_.serviceFolders)
      if (::access((folder + '/' + options_.service).c_str(), F_OK) == 0) return true;
    return false;
  }
  std::optional<bool> isPasscodeSet() const;

  const SystemAuthenticationOptions options_;
  const PamService service_;
  Mutex mutex_;
  AuthenticationPrompt prompt_ KELM_GUARDED_BY(mutex_);
};

/// Asks PAM in a thread of its own, which is left to itself when it takes too long.
std::optional<bool> accountAnswer(const PamService& service) {
  struct Answer {
    Mutex mutex;
    std::condition_variable_any given;
    bool isGiven KELM_GUARDED_BY(mutex) = false;
    std::optional<bool> value KELM_GUARDED_BY(mutex);
  };
  const auto answer = std::make_shared<Answer>();
  std::thread([answer, service] {
    const std::optional<bool> value = pamHasAccount(service);
    const Lock lock(answer->mutex);
    answer->value = value;
    answer->isGiven = true;
    answer->given.notify_all();
  }).detach();
  const auto limit = std::chrono::steady_clock::now() + kAccountPatience;
  const Lock lock(answer->mutex);
  while (!answer->isGiven)
    if (answer->given.wait_until(answer->mutex, limit) == std::cv_status::timeout) break;
  return answer->value;
}

std::optional<bool> SystemAuthentication::isPasscodeSet() const {
  if (!hasService() || service_.user.empty()) return false;
  if (const auto known = hasPassword(options_.shadowFile, service_.user)) return known;
  return accountAnswer(service_);
}

void SystemAuthentication::evaluate(AuthenticationQuestion question, Reply reply) {
  const AuthenticationAbility able = ability(question.policy);
  if (!able.canEvaluate)
    return reply(able.error != 0 ? able.error : authentication_error::kPasscodeNotSet);
  AuthenticationPrompt prompt;
  {
    const Lock lock(mutex_);
    prompt = prompt_;
  }
  if (!prompt.askPasscode) return reply(authentication_error::kNotInteractive);
  const auto once = std::make_shared<OneReply>(std::move(reply));
  current<Dispatcher>()->makeSerialQueue("authentication")->postAfter(options_.patience, [once] {
    once->give(authentication_error::kSystemCanceled);
  });
  std::thread([once, prompt = std::move(prompt), question = std::move(question),
               service = service_] {
    const PamConversation conversation = {
        [&](std::string_view) { return prompt.askPasscode(question); }, prompt.tell};
    once->give(pamAuthenticate(service, conversation));
  }).detach();
}

}  // namespace

std::shared_ptr<LocalAuthentication> makeSystemAuthentication(SystemAuthenticationOptions options) {
  return std::make_shared<SystemAuthentication>(std::move(options));
}

std::shared_ptr<LocalAuthentication> LocalAuthentication::makeSystem() {
  return makeSystemAuthentication({});
}

}  // namespace kelm::platform
