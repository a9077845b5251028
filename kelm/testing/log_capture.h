#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/logging/vasp_logger.h"

namespace kelm::testing {

/// Receives every record of the logger in place of the delegate, from its start to its end; no
/// delegate is installed afterwards. One at a time.
class KELM_API LogCapture {
 public:
  struct Record {
    LogLevel level = 0;
    LogAspect aspect = 0;
    std::string source;
    std::string threadName;
    std::string message;

    bool operator==(const Record&) const = default;
  };

  /// Calls `watcher` with the message of each record that any capture gets, on the log's thread; to
  /// look for secrets, say. Set before the first capture.
  static void watch(std::function<void(std::string_view message)> watcher);

  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// "WARN text" for each message whose source holds a text, the pieces of a long one joined. Of
  /// ERROR and FATAL the first line only: the stack is cut off. Waits until everything logged so
  /// far has arrived.
  std::vector<std::string> lines(std::string_view source = {}) const;
  /// Every record as it came, pieces too. Waits likewise.
  std::vector<Record> records() const;
  void clear();

 private:
  class Collector;

  std::shared_ptr<Collector> collector_;
};

}  // namespace kelm::testing
