#include <utility>

#include "kelm/platform/home_folders.h"
#include "kelm/platform/linux/services.h"

namespace kelm::platform {

Platform Platform::makeSystem(std::shared_ptr<Bundle> bundle) {
  Platform platform;
  platform.clock = makeSystemClock();
  platform.console = makeConsole();
  platform.random = makeSystemRandom();
  platform.dispatcher = makeDispatcher(platform.clock, platform.console);
  platform.fileSystem = makeFileSystem();
  platform.fileAttributes = makeFileAttributes();
  platform.bundle = bundle ? std::move(bundle) : makeBundle();
  platform.homeFolders = makeHomeFolders(platform.bundle);
  platform.userDefaults = makeUserDefaults(platform.fileSystem, platform.bundle);
  platform.notificationCenter = makeNotificationCenter();
  platform.systemLog = makeSystemLog();
  platform.urlSessions = makeUrlSessions(platform.clock, platform.console);
  platform.application = makeApplication(platform.dispatcher);
  platform.itemStore = makeSqliteItemStore({.files = platform.fileSystem,
                                            .attributes = platform.fileAttributes,
                                            .clock = platform.clock,
                                            .random = platform.random,
                                            .folder = platform.homeFolders->home() + "/Keychain",
                                            .vfs = {},
                                            .accessGroups = {}});
  return platform;
}

}  // namespace kelm::platform
