#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "kelm/base/mutex.h"

namespace kelm::platform::url_sessions {

/// Looks up host names with the system's resolver, on threads of its own: that call cannot be
/// ended, and a silent name server holds it for many seconds. Whoever asked may stop waiting; the
/// thread is then left to itself. Never destroyed, and nobody waits for it at the exit.
/// Thread-safe.
class Resolver {
 public:
  /// The addresses as text, IPv6 in brackets, the preferred first; none if the name was not found.
  using Answer = std::function<void(std::vector<std::string>)>;

  static Resolver& instance();
  /// Calls `answer` on the network thread, once the system's resolver has answered. At most 8 names
  /// are looked up at a time; others wait.
  void resolve(std::string host, Answer answer);

 private:
  struct Question {
    std::string host;
    Answer answer;
  };

  void work();

  Mutex mutex_;
  std::deque<Question> questions_ KELM_GUARDED_BY(mutex_);
  int threads_ KELM_GUARDED_BY(mutex_) = 0;
};

}  // namespace kelm::platform::url_sessions
