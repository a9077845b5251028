#pragma once

#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/file_system.h"
#include "kelm/testing/fault_ladder.h"

namespace kelm::testing {

/// A system error at a path.
Error failedAt(const std::string& path, int error);

/// A file tree in memory, with the system's rules for paths and links and its error codes. It has
/// a root "/", where relative paths start too. Every call counts for the fault ladder.
class KELM_API MemoryFileSystem : public platform::FileSystem, public FaultLadder {
 public:
  /// `clock` dates the items; without one all are of 2023-11-14 22:13:20.
  explicit MemoryFileSystem(std::shared_ptr<platform::Clock> clock = nullptr);
  ~MemoryFileSystem() override;

  bool exists(const std::string& path) const override;
  bool isDirectory(const std::string& path) const override;
  Result<platform::FileStatus> status(const std::string& path) const override;
  Result<Data> readFile(
      const std::string& path,
      std::uint64_t mostBytes = std::numeric_limits<std::uint64_t>::max()) const override;
  Failure replaceFile(const std::string& path, DataView content) override {
    return writeFile(path, content, true);
  }
  Failure createFile(const std::string& path, DataView content) override {
    return writeFile(path, content, false);
  }
  Failure appendToFile(const std::string& path, std::span<const DataView> pieces) override;
  Failure createDirectories(const std::string& path) override;
  Failure remove(const std::string& path) override;
  Failure move(const std::string& from, const std::string& to) override {
    return transfer(from, to, false);
  }
  Failure copy(const std::string& from, const std::string& to) override {
    return transfer(from, to, true);
  }
  bool removalTouches(const std::string& path, const std::string& other) const override;
  Result<std::unique_ptr<platform::FolderLock>> lockFolder(const std::string& path) override;
  Result<std::vector<platform::DirectoryEntry>> list(const std::string& path) const override;

  // What a test does beside the interface; these never fail by the ladder.
  void makeSymbolicLink(const std::string& target, const std::string& path);
  void setPermissions(const std::string& path, std::uint32_t permissions);
  /// Takes away all that no call had to make durable: names that were made, moved or removed
  /// since their folder was last synced are as they were then. The worst that a power loss does.
  void losePower();

  /// Lets a function see to the attributes of what the path leads to. An errno, 0 for success.
  using Attributes = std::map<std::string, std::string>;
  int changeAttributes(const std::string& path,
                       const std::function<void(Attributes&)>& change) const;

 private:
  struct Node;
  using NodePointer = std::shared_ptr<Node>;
  struct Place;

  Date now() const { return clock_ ? clock_->now() : Date{1'700'000'000}; }
  NodePointer makeNode(platform::FileKind kind, std::uint32_t permissions) const;
  Place find(const std::string& path, bool follows) const KELM_REQUIRES(mutex_);
  Place findSlot(const std::string& path) const KELM_REQUIRES(mutex_);
  template <class Run>
  Failure attempt(const std::string& path, Run run) const KELM_REQUIRES(mutex_);
  template <class T, class Run>
  Result<T> read(const std::string& path, bool follows, Run run) const;
  Failure writeFile(const std::string& path, DataView content, bool mayReplace);
  Failure transfer(const std::string& from, const std::string& to, bool copies);
  void put(const Place& place, NodePointer node) KELM_REQUIRES(mutex_);
  void syncWayTo(const std::string& path) KELM_REQUIRES(mutex_);

  const std::shared_ptr<platform::Clock> clock_;
  mutable Mutex mutex_;
  NodePointer root_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm::testing
