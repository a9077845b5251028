// kill -9 at random points of a loop of saves, then a look at what is left.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <random>
#include <set>

#include "kelm/testing/temporary_folder.h"
#include "tests/queue/crash/saving_process.h"

namespace kelm::testing {
namespace {

constexpr int kKills = 500;
constexpr int kKillsARun = 100;  // enough to reach the limit of the folder between two runs
constexpr std::size_t kLimit = 201;

/// A child that writes numbers to a pipe. At its end it is dead and gone.
class Child {
 public:
  template <class Body>
  explicit Child(Body body) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ == 0) {
      close(ends[0]);
      [&]() noexcept {
        body([&](std::int64_t number) {
          if (write(ends[1], &number, sizeof number) != sizeof number) _exit(1);
        });
      }();
      _exit(0);
    }
    close(ends[1]);
    numbers_ = ends[0];
  }
  ~Child() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    close(numbers_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Reads the next number; false once the child has ended and all were read.
  bool read(std::int64_t& number) const {
    return ::read(numbers_, &number, sizeof number) == sizeof number;
  }
  void killNow() const { kill(process_, SIGKILL); }

 private:
  pid_t process_ = -1;
  int numbers_ = -1;
};

class KilledSaves {
 public:
  /// Saves until it is killed, some acknowledgements and some instants later.
  void saveAndKill(std::mt19937& random) {
    Child child([&](auto acknowledge) {
      SavingProcess saving(folder_.path());
      for (std::int64_t number = next_; number < next_ + 1000; ++number)
        if (saving.save(number)) acknowledge(number);
    });
    const auto readOne = [&] {
      std::int64_t number = 0;
      return child.read(number) && acknowledged_.insert(number).second;
    };
    for (auto wanted = random() % 5; wanted > 0 && readOne();)
      --wanted;
    volatile std::size_t left = random() % 2000000;  // takes a while, without waiting for time
    while (left > 0)
      left = left - 1;
    child.killNow();
    while (readOne()) {
    }
    next_ += 1000;
  }

  /// What is kept is what was acknowledged, but for the oldest that the limit took, and one
  /// payload of each kill whose acknowledgement did not come any more.
  void check() {
    EXPECT_GT(acknowledged_.size(), static_cast<std::size_t>(kKillsARun)) << "hardly a save ran";
    const std::set<std::int64_t> kept = deliverAll();
    const std::int64_t oldest = kept.size() < kLimit - 1 ? 0 : *kept.begin();
    for (const std::int64_t number : acknowledged_)
      EXPECT_TRUE(kept.contains(number) || number < oldest) << number << " is lost";
    acknowledged_.clear();
  }

 private:
  // Offers everything in a new process; each payload must come whole, in the order of saving.
  std::set<std::int64_t> deliverAll() {
    const std::set<std::string> names = visibleNames();
    Child child([&](auto tell) {
      SavingProcess process(folder_.path());
      process.queue().setProcessorHandler_withQueueID(
          [&](const Data& payload, const std::string&, std::int64_t,
              const ReliableQueueDone& done) {
            tell(SavingProcess::numberOf(payload));
            done(std::nullopt);
          },
          "q");
      process.queue().processQueueWithID("q");
    });
    std::set<std::int64_t> kept;
    for (std::int64_t number = 0; child.read(number); kept.insert(number)) {
      EXPECT_GE(number, 0) << "a torn payload was delivered";
      EXPECT_TRUE(kept.empty() || *kept.rbegin() < number) << "out of order, or twice";
      EXPECT_TRUE(names.contains(SavingProcess::nameOf(number)));
    }
    EXPECT_EQ(kept.size(), names.size()) << "a file was not delivered";
    EXPECT_TRUE(visibleNames().empty());
    return kept;
  }

  // The files that are not hidden.
  std::set<std::string> visibleNames() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.path())) {
      const std::string name = entry.path().filename();
      if (entry.is_directory())
        std::filesystem::remove(entry.path());
      else if (!name.starts_with('.'))
        names.insert(name);
    }
    return names;
  }

  TemporaryFolder folder_;
  std::int64_t next_ = 0;
  std::set<std::int64_t> acknowledged_;
};

TEST(ReliableQueueKill, NothingTornIsDeliveredAndNothingAcknowledgedIsLost) {
  std::mt19937 random(20231114);
  KilledSaves saves;
  for (int i = 1; i <= kKills && !::testing::Test::HasFailure(); ++i) {
    saves.saveAndKill(random);
    if (i % kKillsARun == 0) saves.check();
  }
}

TEST(ReliableQueueProcesses, NameIsTakenByOneAndEachPayloadIsOfferedByOne) {
  constexpr int kProcesses = 4;
  constexpr std::int64_t kNumbers = 50;
  TemporaryFolder folder;
  const auto together = [&](auto body) {
    std::vector<std::unique_ptr<Child>> children;
    for (int i = 0; i < kProcesses; ++i)
      children.push_back(std::make_unique<Child>(body));
    std::multiset<std::int64_t> told;
    for (const auto& child : children)
      for (std::int64_t number = 0; child->read(number);)
        told.insert(number);
    return told;
  };
  const auto saved = together([&](auto tell) {
    SavingProcess process(folder.path());
    for (std::int64_t number = 0; number < kNumbers; ++number)
      if (process.save(number)) tell(number);
  });
  EXPECT_EQ(saved.size(), std::set(saved.begin(), saved.end()).size()) << "one was replaced";
  EXPECT_EQ(saved.size(), static_cast<std::size_t>(kNumbers));
  const auto offered = together([&](auto tell) {
    SavingProcess process(folder.path());
    process.queue().setProcessorHandler_withQueueID(
        [&](const Data& payload, auto&&, auto, const ReliableQueueDone& done) {
          tell(SavingProcess::numberOf(payload));
          done(std::nullopt);
        },
        "q");
    process.queue().processQueueWithID("q");
  });
  EXPECT_EQ(offered, saved);
}

}  // namespace
}  // namespace kelm::testing
