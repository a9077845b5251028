#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/streams/stream.h"

namespace kelm::testing {

/// Connections to a peer that a test plays. Thread-safe; events come on the main loop.
class KELM_API MemoryStreams : public platform::Streams {
 public:
  enum class Answer { Accepted, Refused, None };

  platform::StreamPair connect(std::string host, std::uint16_t port) override;

  /// Sets how connections that are opened from now on end.
  void setAnswer(Answer answer) KELM_EXCLUDES(mutex_);
  /// How many bytes all connections together still take; without a limit at first.
  void setSpace(std::size_t bytes) KELM_EXCLUDES(mutex_);
  /// The newest connection ends as the event says; it takes nothing any more after an error.
  void end(platform::StreamEvent event) KELM_EXCLUDES(mutex_);
  /// Returns everything that all connections received.
  std::string received() const KELM_EXCLUDES(mutex_);
  /// "host:port" of each connection that was asked for.
  std::vector<std::string> targets() const KELM_EXCLUDES(mutex_);

 private:
  class Half;

  std::ptrdiff_t take(std::span<const DataView> pieces) KELM_EXCLUDES(mutex_);
  bool hasSpace() const KELM_EXCLUDES(mutex_);

  mutable Mutex mutex_;
  Answer answer_ KELM_GUARDED_BY(mutex_) = Answer::Accepted;
  std::size_t space_ KELM_GUARDED_BY(mutex_) = std::string::npos;
  std::string received_ KELM_GUARDED_BY(mutex_);
  std::vector<std::string> targets_ KELM_GUARDED_BY(mutex_);
  std::weak_ptr<Half> newest_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::testing
