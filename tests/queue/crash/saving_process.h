#pragma once

#include <string>

#include "kelm/queue/kelm_reliable_queue.h"
#include "kelm/testing/log_capture.h"
#include "kelm/testing/test_platform.h"

namespace kelm::testing {

/// A queue "q" on the real file system, with a clock that the process drives. To be made in a
/// process that ends with _exit() or is killed.
class SavingProcess {
 public:
  /// Names carry multiples of 125 ms, which a clock of seconds tells exactly.
  static constexpr std::int64_t kStepMilliseconds = 125;
  static constexpr std::int64_t kStartMilliseconds = 1700000000000;

  explicit SavingProcess(const std::string& folder);

  /// What the queue keeps of step `number`: 16 to 4,000 bytes that tell the number.
  static Data payloadOf(std::int64_t number);
  /// The number in a payload that is whole, else -1.
  static std::int64_t numberOf(DataView payload);
  static std::string nameOf(std::int64_t number);

  /// True when the payload of that step is kept: no failure was logged and its file is there.
  bool save(std::int64_t number);
  KelmReliableQueue& queue() { return queue_; }

 private:
  std::string folder_;
  TestPlatform services_;
  TestScope scope_{services_};
  platform::ScopedService<platform::FileSystem> files_;
  platform::ScopedService<platform::FileAttributes> attributes_;
  LogCapture log_;
  KelmReliableQueue queue_;
};

}  // namespace kelm::testing
