#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/platform/http/url_session.h"

namespace kelm::testing {

/// URL sessions without a network. The test scripts the answers, in the order of the requests,
/// which are recorded when their task is resumed. Nothing completes until the test delivers it, on
/// the thread of that call. Thread-safe.
class KELM_API MemoryUrlSessions final : public platform::UrlSessions {
 public:
  struct Answer {
    int statusCode = 200;
    Dictionary headers;
    Data body;
    std::optional<Error> error;  ///< instead of a response
  };

  MemoryUrlSessions();
  /// Drops what was never delivered.
  ~MemoryUrlSessions() override;

  /// Answers the next request that no earlier answer is for; without one it gets status 404.
  void answer(Answer answer);
  /// The requests that were resumed, with the headers that the session adds.
  std::vector<platform::UrlRequest> requests() const;
  /// Completes the task that was resumed (or cancelled) first; false when none waits.
  bool deliver();
  /// Completes all, those that completions start too.
  void deliverAll() {
    while (deliver()) {
    }
  }

  std::shared_ptr<platform::UrlSession> make(
      platform::UrlSessionConfiguration configuration,
      std::shared_ptr<platform::UrlSessionDelegate> delegate = {}) override;
  std::shared_ptr<platform::CookieStorage> makeCookieStorage() override;

 private:
  struct Core;
  class Task;
  class Session;

  const std::shared_ptr<Core> core_;
};

}  // namespace kelm::testing
