#pragma once

#include <memory>

#include "kelm/base/export.h"
#include "kelm/platform/in_process/in_process_application.h"
#include "kelm/platform/in_process/in_process_notification_center.h"
#include "kelm/platform/service.h"
#include "kelm/testing/fixed_random.h"
#include "kelm/testing/manual_clock.h"
#include "kelm/testing/manual_dispatcher.h"
#include "kelm/testing/memory_bundle.h"
#include "kelm/testing/memory_console.h"
#include "kelm/testing/memory_device_facts.h"
#include "kelm/testing/memory_file_attributes.h"
#include "kelm/testing/memory_file_system.h"
#include "kelm/testing/memory_home_folders.h"
#include "kelm/testing/memory_integrity.h"
#include "kelm/testing/memory_item_store.h"
#include "kelm/testing/memory_local_authentication.h"
#include "kelm/testing/memory_streams.h"
#include "kelm/testing/memory_system_log.h"
#include "kelm/testing/memory_telephony.h"
#include "kelm/testing/memory_url_opener.h"
#include "kelm/testing/memory_url_sessions.h"
#include "kelm/testing/memory_user_defaults.h"
#include "kelm/testing/memory_wallet.h"
#include "kelm/testing/memory_watch_session.h"

namespace kelm::testing {

/// Every service in memory, for a test to look into and to script.
struct KELM_API TestPlatform {
  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
  std::shared_ptr<MemoryConsole> console = std::make_shared<MemoryConsole>();
  std::shared_ptr<ManualDispatcher> dispatcher = std::make_shared<ManualDispatcher>(clock, console);
  std::shared_ptr<MemoryHomeFolders> homeFolders = std::make_shared<MemoryHomeFolders>();
  std::shared_ptr<MemoryUserDefaults> userDefaults = std::make_shared<MemoryUserDefaults>();
  std::shared_ptr<MemoryFileSystem> fileSystem = std::make_shared<MemoryFileSystem>(clock);
  std::shared_ptr<MemoryFileAttributes> fileAttributes =
      std::make_shared<MemoryFileAttributes>(fileSystem);
  std::shared_ptr<MemoryBundle> bundle = std::make_shared<MemoryBundle>();
  std::shared_ptr<platform::InProcessNotificationCenter> notificationCenter =
      std::make_shared<platform::InProcessNotificationCenter>();
  std::shared_ptr<MemorySystemLog> systemLog = std::make_shared<MemorySystemLog>();
  std::shared_ptr<MemoryStreams> streams = std::make_shared<MemoryStreams>();
  std::shared_ptr<MemoryUrlSessions> urlSessions = std::make_shared<MemoryUrlSessions>();
  std::shared_ptr<platform::InProcessApplication> application =
      std::make_shared<platform::InProcessApplication>();
  std::shared_ptr<FixedRandom> random = std::make_shared<FixedRandom>();
  std::shared_ptr<MemoryItemStore> itemStore = std::make_shared<MemoryItemStore>(clock);
  std::shared_ptr<MemoryLocalAuthentication> localAuthentication =
      std::make_shared<MemoryLocalAuthentication>();
  std::shared_ptr<MemoryDeviceFacts> deviceFacts = std::make_shared<MemoryDeviceFacts>();
  std::shared_ptr<MemoryTelephony> telephony = std::make_shared<MemoryTelephony>();
  std::shared_ptr<MemoryIntegrity> integrity = std::make_shared<MemoryIntegrity>();
  std::shared_ptr<MemoryWallet> wallet = std::make_shared<MemoryWallet>();
  std::shared_ptr<MemoryUrlOpener> urlOpener = std::make_shared<MemoryUrlOpener>();
  std::shared_ptr<MemoryWatchSession> watchSession = std::make_shared<MemoryWatchSession>();
};

/// Puts the services of a test in place for a scope.
class KELM_API TestScope {
 public:
  explicit TestScope(const TestPlatform& s)
      : clock_(s.clock),
        console_(s.console),
        dispatcher_(s.dispatcher),
        homeFolders_(s.homeFolders),
        userDefaults_(s.userDefaults),
        fileSystem_(s.fileSystem),
        fileAttributes_(s.fileAttributes),
        bundle_(s.bundle),
        notificationCenter_(s.notificationCenter),
        systemLog_(s.systemLog),
        streams_(s.streams),
        urlSessions_(s.urlSessions),
        application_(s.application),
        random_(s.random),
        itemStore_(s.itemStore),
        localAuthentication_(s.localAuthentication),
        deviceFacts_(s.deviceFacts),
        telephony_(s.telephony),
        integrity_(s.integrity),
        wallet_(s.wallet),
        urlOpener_(s.urlOpener),
        watchSession_(s.watchSession) {}

 private:
  platform::ScopedService<platform::Clock> clock_;
  platform::ScopedService<platform::Console> console_;
  platform::ScopedService<platform::Dispatcher> dispatcher_;
  platform::ScopedService<platform::HomeFolders> homeFolders_;
  platform::ScopedService<platform::UserDefaults> userDefaults_;
  platform::ScopedService<platform::FileSystem> fileSystem_;
  platform::ScopedService<platform::FileAttributes> fileAttributes_;
  platform::ScopedService<platform::Bundle> bundle_;
  platform::ScopedService<platform::NotificationCenter> notificationCenter_;
  platform::ScopedService<platform::SystemLog> systemLog_;
  platform::ScopedService<platform::Streams> streams_;
  platform::ScopedService<platform::UrlSessions> urlSessions_;
  platform::ScopedService<platform::Application> application_;
  platform::ScopedService<platform::Random> random_;
  platform::ScopedService<platform::ItemStore> itemStore_;
  platform::ScopedService<platform::LocalAuthentication> localAuthentication_;
  platform::ScopedService<platform::DeviceFacts> deviceFacts_;
  platform::ScopedService<platform::Telephony> telephony_;
  platform::ScopedService<platform::Integrity> integrity_;
  platform::ScopedService<platform::Wallet> wallet_;
  platform::ScopedService<platform::UrlOpener> urlOpener_;
  platform::ScopedService<platform::WatchSession> watchSession_;
};

}  // namespace kelm::testing
