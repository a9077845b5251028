#pragma once

#include <memory>

#include "kelm/platform/platform.h"

// Makers of this system's services, one source file each.
namespace kelm::platform {

std::shared_ptr<Clock> makeSystemClock();
std::shared_ptr<Console> makeConsole();  // standard error
std::shared_ptr<Random> makeSystemRandom();
std::shared_ptr<FileSystem> makeFileSystem();
std::shared_ptr<FileAttributes> makeFileAttributes();
std::shared_ptr<Bundle> makeBundle();
std::shared_ptr<HomeFolders> makeHomeFolders(std::shared_ptr<Bundle> bundle);
std::shared_ptr<UserDefaults> makeUserDefaults(std::shared_ptr<FileSystem> files,
                                               std::shared_ptr<Bundle> bundle);
std::shared_ptr<Dispatcher> makeDispatcher(std::shared_ptr<Clock> clock,
                                           std::shared_ptr<Console> console);
std::shared_ptr<NotificationCenter> makeNotificationCenter();
std::shared_ptr<SystemLog> makeSystemLog();
std::shared_ptr<UrlSessions> makeUrlSessions(std::shared_ptr<Clock> clock,
                                             std::shared_ptr<Console> console);
std::shared_ptr<Application> makeApplication(std::shared_ptr<Dispatcher> dispatcher);

}  // namespace kelm::platform
