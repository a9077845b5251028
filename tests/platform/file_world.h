#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kelm/platform/file_system.h"
#include "kelm/platform/linux/files/file_calls.h"
#include "kelm/platform/linux/files/services.h"
#include "kelm/testing/fault_ladder.h"
#include "kelm/testing/memory_file_system.h"
#include "kelm/testing/temporary_folder.h"

namespace kelm::testing {

/// Real calls, without the syncing: for tests in which the power stays on.
class UnsyncedCalls : public platform::FileCalls {
 public:
  int open(int folder, const char* path, int flags, mode_t mode) const override {
    if (!hasNamelessFiles && (flags & O_TMPFILE) == O_TMPFILE) {
      errno = EOPNOTSUPP;
      return -1;
    }
    return FileCalls::open(folder, path, flags, mode);
  }
  int sync(int) const override { return 0; }

  bool hasNamelessFiles = true;
};

/// Real calls, of which some are made to fail.
class FaultyCalls : public UnsyncedCalls, public FaultLadder {
 public:
  bool interruptsEach = false;       ///< every call is interrupted once
  std::size_t mostBytes = SIZE_MAX;  ///< that a write takes
  bool isOtherDevice = false;        ///< where a move between any folders leads

  int open(int folder, const char* path, int flags, mode_t mode) const override {
    return fails() ? -1 : UnsyncedCalls::open(folder, path, flags, mode);
  }
  ssize_t write(int file, const std::uint8_t* bytes, std::size_t count) const override {
    return fails() ? -1 : FileCalls::write(file, bytes, std::min(count, mostBytes));
  }
  int sync(int) const override { return fails() ? -1 : 0; }
  int setPermissions(int file, mode_t permissions) const override {
    return fails() ? -1 : FileCalls::setPermissions(file, permissions);
  }
  int link(int file, int folder, const char* name) const override {
    return fails() ? -1 : FileCalls::link(file, folder, name);
  }
  int rename(int folder, const char* from, int toFolder, const char* to,
             bool replaces) const override {
    if (isOtherDevice && folder == AT_FDCWD) {
      errno = EXDEV;
      return -1;
    }
    return fails() ? -1 : FileCalls::rename(folder, from, toFolder, to, replaces);
  }
  int makeFolder(int folder, const char* path, mode_t permissions) const override {
    return fails() ? -1 : FileCalls::makeFolder(folder, path, permissions);
  }
  int makeSymbolicLink(const char* target, int folder, const char* name) const override {
    return fails() ? -1 : FileCalls::makeSymbolicLink(target, folder, name);
  }
  int unlink(int folder, const char* path, int flags) const override {
    return fails() ? -1 : FileCalls::unlink(folder, path, flags);
  }
  int close(int descriptor) const override {
    const int result = FileCalls::close(descriptor);  // gone in any case
    return fails() ? -1 : result;
  }

 private:
  bool fails() const {
    isInterrupted_ = interruptsEach && !isInterrupted_;
    errno = isInterrupted_ ? EINTR : nextCall();
    return errno != 0;
  }
  mutable bool isInterrupted_ = false;
};

/// A file tree of the system, or one in memory below the same path, empty at first.
class FileWorld {
 public:
  static FileWorld real(
      std::shared_ptr<const platform::FileCalls> calls = std::make_shared<platform::FileCalls>()) {
    return FileWorld(platform::makeFileSystem(std::move(calls)), nullptr);
  }
  static FileWorld inMemory() {
    auto memory = std::make_shared<MemoryFileSystem>();
    return FileWorld(memory, memory);
  }

  platform::FileSystem* operator->() const { return files_.get(); }
  const std::shared_ptr<MemoryFileSystem>& memory() const { return memory_; }
  const std::string& root() const { return root_; }
  /// The full path of something in this world.
  std::string at(const std::string& name) const { return root_ + '/' + name; }

  void put(const std::string& name, std::string_view text) const {
    ASSERT_FALSE(files_->replaceFile(at(name), bytesOf(text)));
  }
  void makeFolder(const std::string& name) const {
    ASSERT_FALSE(files_->createDirectories(at(name)));
  }
  void link(const std::string& target, const std::string& name) const {
    if (memory_)
      memory_->makeSymbolicLink(target, at(name));
    else
      ASSERT_EQ(::symlink(target.c_str(), at(name).c_str()), 0);
  }
  void setPermissions(const std::string& name, std::uint32_t permissions) const {
    if (memory_)
      memory_->setPermissions(at(name), permissions);
    else
      ASSERT_EQ(::chmod(at(name).c_str(), permissions), 0);
  }
  /// The text of a file; "(none)" without one.
  std::string text(const std::string& name) const {
    const auto content = files_->readFile(at(name));
    return content ? std::string(textOf(*content)) : "(none)";
  }
  /// Everything below, sorted: "folder/", "file=text", "link@".
  std::vector<std::string> tree(const std::string& below = "") const {
    std::vector<std::string> found;
    const auto entries = files_->list(root_ + '/' + below);
    if (!entries) return found;
    for (const auto& entry : *entries) {
      const std::string name = below + entry.name;
      if (entry.kind == platform::FileKind::Directory) {
        found.push_back(name + '/');
        for (std::string& inside : tree(name + '/'))
          found.push_back(std::move(inside));
      } else {
        found.push_back(entry.kind == platform::FileKind::Regular ? name + '=' + text(name)
                                                                  : name + '@');
      }
    }
    std::sort(found.begin(), found.end());
    return found;
  }

 private:
  FileWorld(std::shared_ptr<platform::FileSystem> files, std::shared_ptr<MemoryFileSystem> memory)
      : folder_(std::make_shared<TemporaryFolder>()),
        root_(folder_->path()),
        files_(std::move(files)),
        memory_(std::move(memory)) {
    if (memory_) (void)memory_->createDirectories(root_);
  }

  std::shared_ptr<TemporaryFolder> folder_;
  std::string root_;
  std::shared_ptr<platform::FileSystem> files_;
  std::shared_ptr<MemoryFileSystem> memory_;
};

/// 0 for success, else the errno, which must come with its domain and a path.
inline int codeOf(const Failure& failure) {
  if (!failure) return 0;
  EXPECT_EQ(failure->domain, error_domain::kPosix);
  EXPECT_TRUE(failure->userInfo.contains("NSFilePath"));
  return static_cast<int>(failure->code);
}
template <class T>
int codeOf(const Result<T>& result) {
  return result ? 0 : codeOf(Failure(result.error()));
}

}  // namespace kelm::testing
