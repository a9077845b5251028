#pragma once

#include <memory>

#include "kelm/base/export.h"

namespace kelm::platform {

class Application;
class Bundle;
class Clock;
class Console;
class Dispatcher;
class FileAttributes;
class FileSystem;
class HomeFolders;
class ItemStore;
class NotificationCenter;
class Random;
class SystemLog;
class UrlSessions;
class UserDefaults;

/// Every service of the operating system that the library uses: the one place where they are
/// composed. Include a service's own header to call it. Services may be shared and replaced one
/// by one; none may be null.
struct KELM_API Platform {
  std::shared_ptr<Clock> clock;
  std::shared_ptr<Console> console;
  std::shared_ptr<Dispatcher> dispatcher;
  std::shared_ptr<HomeFolders> homeFolders;
  std::shared_ptr<UserDefaults> userDefaults;
  std::shared_ptr<FileSystem> fileSystem;
  std::shared_ptr<FileAttributes> fileAttributes;
  std::shared_ptr<Bundle> bundle;
  std::shared_ptr<NotificationCenter> notificationCenter;
  std::shared_ptr<SystemLog> systemLog;
  std::shared_ptr<UrlSessions> urlSessions;
  std::shared_ptr<Application> application;
  std::shared_ptr<Random> random;
  std::shared_ptr<ItemStore> itemStore;

  /// The services in use: the system's own until set() or a guard replaced them. The reference
  /// stays valid for the life of the process, but for those of a guard: until its scope ends.
  static const Platform& current();
  /// Puts other services in place, for a host at its start. Objects that took services from the
  /// earlier ones keep them.
  static void set(Platform platform);
  /// The services of this operating system, made anew; nothing to configure. `bundle`: how the
  /// host describes itself (`makeBundle`); null: what the system tells.
  static Platform makeSystem(std::shared_ptr<Bundle> bundle = nullptr);
};

/// Puts services in place for a scope (a test), then puts the earlier ones back.
class KELM_API ScopedPlatform {
 public:
  explicit ScopedPlatform(Platform platform);
  ~ScopedPlatform();
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;

 private:
  std::unique_ptr<const Platform> platform_;
  const Platform* earlier_;
};

}  // namespace kelm::platform
