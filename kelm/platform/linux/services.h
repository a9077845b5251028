#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kelm/platform/platform.h"

// Makers of this system's services, one source file each.
namespace kelm::platform {

class FileCalls;

std::shared_ptr<Clock> makeSystemClock();
std::shared_ptr<Console> makeConsole();  // standard error
std::shared_ptr<Random> makeSystemRandom();
/// The generators that the random service asks: the system's, then a library's; a test makes them
/// refuse. Each is called like getrandom and RAND_bytes.
struct RandomSources {
  std::ptrdiff_t (*system)(void* buffer, std::size_t size, unsigned flags);
  int (*library)(unsigned char* buffer, int size);
};
std::shared_ptr<Random> makeSystemRandom(RandomSources sources);
std::shared_ptr<FileSystem> makeFileSystem();
std::shared_ptr<FileSystem> makeFileSystem(std::shared_ptr<const FileCalls> calls);
/// Syncs nothing, so that a loss of power may take what was acknowledged: for benchmarks.
std::shared_ptr<FileSystem> makeUnsyncedFileSystem();
std::shared_ptr<FileAttributes> makeFileAttributes();
std::shared_ptr<Bundle> makeBundle();
std::shared_ptr<HomeFolders> makeHomeFolders(const std::shared_ptr<Bundle>& bundle);
std::shared_ptr<UserDefaults> makeUserDefaults(std::shared_ptr<FileSystem> files,
                                               const std::shared_ptr<Bundle>& bundle);
std::shared_ptr<Dispatcher> makeDispatcher(std::shared_ptr<Clock> clock,
                                           std::shared_ptr<Console> console);
std::shared_ptr<NotificationCenter> makeNotificationCenter();
std::shared_ptr<SystemLog> makeSystemLog();
std::shared_ptr<UrlSessions> makeUrlSessions(std::shared_ptr<Clock> clock,
                                             std::shared_ptr<Console> console);
std::shared_ptr<Application> makeApplication(std::shared_ptr<Dispatcher> dispatcher);
/// What the item store in SQLite is made of.
struct SqliteItemStoreParts {
  std::shared_ptr<FileSystem> files;
  std::shared_ptr<FileAttributes> attributes;
  std::shared_ptr<Clock> clock;
  std::shared_ptr<Random> random;
  std::string folder;               ///< where the database and its key file are
  std::string vfs;                  ///< SQLite's name of how it reaches files; empty: its own way
  int patienceMilliseconds = 2000;  ///< how long a change waits for that of another process
  /// The access groups that items may name; absent: all of them.
  std::optional<std::vector<std::string>> accessGroups;
};
std::shared_ptr<ItemStore> makeSqliteItemStore(SqliteItemStoreParts parts);

}  // namespace kelm::platform
