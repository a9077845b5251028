#include "kelm/logging/zu_os_logger.h"

#include <cstdlib>
#include <memory>

#include "kelm/base/mutex.h"
#include "kelm/base/utf16.h"
#include "kelm/platform/bundle.h"
#include "kelm/platform/console.h"
#include "kelm/platform/platform.h"
#include "kelm/platform/system_log.h"

namespace kelm {

namespace {

using platform::Platform;
using platform::SystemLog;

/// The one channel; opened again only when the host has put another system log in place.
class OpenChannel {
 public:
  std::shared_ptr<SystemLog::Channel> get() {
    const Platform& platform = Platform::current();
    const Lock lock(mutex_);
    if (!channel_ || log_ != platform.systemLog) {
      channel_ = platform.systemLog->open(identifierOrStop(platform), "com.trevalo.logs");
      log_ = platform.systemLog;
    }
    return channel_;
  }

 private:
  static std::string identifierOrStop(const Platform& platform) {
    const auto identifier = platform.bundle->identifier();
    if (identifier) return *identifier;
    platform.console->writeLine("LOG ERROR the application has no bundle identifier");
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
