#pragma once

#include <memory>

#include "kelm/platform/local_application.h"
#include "kelm/platform/local_notification_center.h"
#include "kelm/platform/platform.h"
#include "tests/support/fixed_random.h"
#include "tests/support/manual_clock.h"
#include "tests/support/manual_dispatcher.h"
#include "tests/support/memory_bundle.h"
#include "tests/support/memory_console.h"
#include "tests/support/memory_file_attributes.h"
#include "tests/support/memory_file_system.h"
#include "tests/support/memory_home_folders.h"
#include "tests/support/memory_item_store.h"
#include "tests/support/memory_system_log.h"
#include "tests/support/memory_url_sessions.h"
#include "tests/support/memory_user_defaults.h"

namespace kelm::test {

/// Every service in memory, for a test to look into and to script.
struct TestPlatform {
  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
  std::shared_ptr<MemoryConsole> console = std::make_shared<MemoryConsole>();
  std::shared_ptr<ManualDispatcher> dispatcher = std::make_shared<ManualDispatcher>(clock, console);
  std::shared_ptr<MemoryHomeFolders> homeFolders = std::make_shared<MemoryHomeFolders>();
  std::shared_ptr<MemoryUserDefaults> userDefaults = std::make_shared<MemoryUserDefaults>();
  std::shared_ptr<MemoryFileSystem> fileSystem = std::make_shared<MemoryFileSystem>(clock);
  std::shared_ptr<MemoryFileAttributes> fileAttributes =
      std::make_shared<MemoryFileAttributes>(fileSystem);
  std::shared_ptr<MemoryBundle> bundle = std::make_shared<MemoryBundle>();
  std::shared_ptr<platform::LocalNotificationCenter> notificationCenter =
      std::make_shared<platform::LocalNotificationCenter>();
  std::shared_ptr<MemorySystemLog> systemLog = std::make_shared<MemorySystemLog>();
  std::shared_ptr<MemoryUrlSessions> urlSessions = std::make_shared<MemoryUrlSessions>();
  std::shared_ptr<platform::LocalApplication> application =
      std::make_shared<platform::LocalApplication>(dispatcher);
  std::shared_ptr<FixedRandom> random = std::make_shared<FixedRandom>();
  std::shared_ptr<MemoryItemStore> itemStore = std::make_shared<MemoryItemStore>(clock);

  platform::Platform platform() const {
    return {clock,       console,        dispatcher, homeFolders,        userDefaults,
            fileSystem,  fileAttributes, bundle,     notificationCenter, systemLog,
            urlSessions, application,    random,     itemStore};
  }
};

/// Puts the services of a test in place for a scope.
struct TestScope : platform::ScopedPlatform {
  explicit TestScope(const TestPlatform& services) : ScopedPlatform(services.platform()) {}
};

}  // namespace kelm::test
