// Every system call of a save fails in its turn: strace makes it fail in a child process.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "kelm/testing/temporary_folder.h"
#include "tests/queue/crash/saving_process.h"
#include "tests/support/canary.h"

namespace kelm::testing {
namespace {

constexpr const char* kFolderVariable = "KELM_TEST_SAVE_FOLDER";
constexpr std::int64_t kOld = 1;
constexpr std::int64_t kNew = 2;
constexpr const char* kBegin = "/save begins";
constexpr const char* kEnd = "/save ends";

/// What the child does; its exit code tells whether the payload was acknowledged.
TEST(SavingChild, DISABLED_SavesOnce) {
  const char* folder = std::getenv(kFolderVariable);
  ASSERT_NE(folder, nullptr);
  SavingProcess saving(folder);
  (void)VaspFileHandler().existsFullPath(kBegin);
  const bool saved = saving.save(kNew);
  (void)VaspFileHandler().existsFullPath(kEnd);
  std::_Exit(saved ? 0 : 1);
}

class Tracing : public ::testing::Test {
 protected:
  void SetUp() override {
    files_.setAESKey_andIV(bytesOf(kSecretKey), bytesOf(kSecretIV));
    if (std::system("strace -o /dev/null true 2>/dev/null") != 0)
      GTEST_SKIP() << "SKIPPED: strace is missing or may not trace here";
  }

  // Runs the child under strace with `options`; true when it says that the payload is kept.
  bool save(const std::string& options) const {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const std::string command =
        "ASAN_OPTIONS=detect_leaks=0 " + std::string(kFolderVariable) + "='" + folder_->path() +
        "' strace -f -o '" + trace_ + "' " + options + " '" + program +
        "' --gtest_also_run_disabled_tests --gtest_filter=SavingChild.DISABLED_SavesOnce"
        " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
  }

  // A folder with one older payload.
  void prepare() {
    folder_.emplace();
    ASSERT_TRUE(files_.storeNSData_withFullpath(SavingProcess::payloadOf(kOld),
                                                *folder_ / SavingProcess::nameOf(kOld)));
  }

  // The number of the payload in a file: -1 for none.
  std::int64_t numberIn(const std::string& name) const {
    const auto payload = files_.readNSDataWithFullpath(*folder_ / name);
    return payload ? SavingProcess::numberOf(*payload) : -1;
  }

  // The calls between the two marks: how often each was made before, and how often in between.
  struct Calls {
    int before = 0;
    int within = 0;
  };
  std::map<std::string, Calls> callsOfASave() const {
    std::map<std::string, Calls> calls;
    std::ifstream trace(trace_);
    bool within = false;
    std::string thread, call;
    for (std::string line; std::getline(trace, line);) {
      if (line.find(kEnd) != std::string::npos) break;
      const auto space = line.find(' ');
      if (thread.empty()) thread = line.substr(0, space);
      if (line.compare(0, space, thread) != 0) continue;
      const auto start = line.find_first_not_of(' ', space);
      const auto end = line.find('(', start);
      if (end == std::string::npos || line[start] == '<' || line[start] == '+') continue;
      Calls& counted = calls[line.substr(start, end - start)];
      ++(within ? counted.within : counted.before);
      if (line.find(kBegin) != std::string::npos) within = true;
    }
    return calls;
  }

  // True when the fault met the sanitizer, which probes memory by writing 16 bytes into a pipe.
  bool faultMetTheSanitizer() const {
    std::ifstream trace(trace_);
    for (std::string line; std::getline(trace, line);)
      if (line.find("SanitizerTool: CHECK") != std::string::npos ||
          (line.find("INJECTED") != line.npos && line.find(", 16) = -1") != line.npos))
        return true;
    return false;
  }

  // Checks the folder after a save that said `saved`: no payload is torn, nothing else is visible.
  void check(bool saved) const {
    EXPECT_EQ(numberIn(SavingProcess::nameOf(kOld)), kOld);
    EXPECT_TRUE(!saved || numberIn(SavingProcess::nameOf(kNew)) == kNew) << "not there";
    for (const auto& entry : std::filesystem::directory_iterator(folder_->path())) {
      const std::string name = entry.path().filename();
      if (name.starts_with('.') || entry.is_directory()) continue;
      EXPECT_EQ(SavingProcess::nameOf(numberIn(name)), name);
    }
  }

  VaspSecureFileHandler files_;
  TemporaryFolder traces_;
  std::optional<TemporaryFolder> folder_;
  const std::string trace_ = traces_ / "trace";
};

constexpr const char* kFileCalls[] = {
    "openat",     "mkdirat",    "mkdir", "unlinkat", "unlink", "rmdir",    "linkat",
    "renameat",   "renameat2",  "write", "fsync",    "close",  "setxattr", "ioctl",
    "getdents64", "newfstatat", "statx", "fstat",    "flock",  "fchmod"};

TEST_F(Tracing, SaveThatSaysYesIsOnDiskWhicheverCallFails) {
  prepare();
  ASSERT_TRUE(save("")) << "the save fails without a fault";
  auto calls = callsOfASave();
  int faults = 0;
  for (const std::string call : kFileCalls)
    for (int i = 1; i <= calls[call].within; ++i)
      for (const std::string error : {"ENOSPC", "EINTR", "EIO"}) {
        const std::string when = std::to_string(calls[call].before + i);
        prepare();
        const bool saved = save("-e inject=" + call + ":error=" + error + ":when=" + when +
                                (error == "EIO" ? "+" : ""));
        if (faultMetTheSanitizer()) continue;
        check(saved);
        EXPECT_TRUE(saved || error != "EINTR") << "an interrupted call was not repeated";
        ASSERT_FALSE(HasFailure()) << call << " number " << i << " of the save fails: " << error;
        ++faults;
      }
  EXPECT_GT(faults, 40);
}

}  // namespace
}  // namespace kelm::testing
