#include "kelm/logging/zu_os_logger.h"

#include <cstdlib>
#include <memory>

#include "kelm/base/mutex.h"
#include "kelm/base/utf16.h"
#include "kelm/platform/bundle.h"
#include "kelm/platform/console.h"
#include "kelm/platform/system_log.h"

namespace kelm {

namespace {

using platform::SystemLog;

/// The one channel; opened again only when the host has put another system log in place.
class OpenChannel {
 public:
  std::shared_ptr<SystemLog::Channel> get() {
    const auto& log = platform::current<SystemLog>();
    const Lock lock(mutex_);
    if (!channel_ || log_ != log) {
      channel_ = log->open(identifierOrStop(), "com.trevalo.logs");
      log_ = log;
    }
    return channel_;
  }

 private:
  static std::string identifierOrStop() {
    const auto identifier = platform::current<platform::Bundle>()->identifier();
    if (identifier) return *identifier;
    platform::current<platform::Console>()->writeLine(
        "LOG ERROR the application has no bundle identifier");
    std::abort();
  }

  Mutex mutex_;
  std::shared_ptr<SystemLog> log_ KELM_GUARDED_BY(mutex_);
  std::shared_ptr<SystemLog::Channel> channel_ KELM_GUARDED_BY(mutex_);
};

}  // namespace

void ZuOSLogger::processLogData_level(DataView data, std::int64_t /*level*/) {
  const std::string_view text = textOf(data);
  if (!isValidUtf8(text)) return;
  static auto* const kChannel = new OpenChannel;
  kChannel->get()->write(text);
}

}  // namespace kelm
