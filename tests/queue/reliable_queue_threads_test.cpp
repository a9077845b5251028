#include <atomic>
#include <set>
#include <thread>

#include "tests/queue/queue_fixture.h"

namespace kelm::testing {
namespace {

constexpr int kSavers = 3;
constexpr int kPayloadsASaver = 60;

TEST(ReliableQueueThreads, SavingProcessingResettingAndLateCallbacksLoseNothing) {
  QueueFixture f;
  Mutex receiving;
  std::set<std::string> delivered;
  std::vector<ReliableQueueDone> late;  // done callbacks that are called later, by another thread
  const auto receive = [&](const Data& payload, const std::string& id, std::int64_t,
                           ReliableQueueDone done) {
    const Lock lock(receiving);
    delivered.insert(id + std::string(textOf(payload)));
    late.push_back(std::move(done));
  };
  const auto callLateOnes = [&](int times) {
    std::vector<ReliableQueueDone> waiting;
    {
      const Lock lock(receiving);
      waiting.swap(late);
    }
    for (const ReliableQueueDone& done : waiting)
      for (int i = 0; i < times; ++i)
        done(std::nullopt);
  };
  std::atomic<int> saving{kSavers};
  std::vector<std::jthread> threads;
  for (int saver = 0; saver < kSavers; ++saver) {
    const std::string id = "saver" + std::to_string(saver);
    f.handle(id, receive);
    threads.emplace_back([&f, &saving, id] {
      for (int i = 0; i < kPayloadsASaver; ++i) {
        f.tick();
        f.save(std::string(100, 'x') + std::to_string(i), id);
      }
      --saving;
    });
  }
  for (int i = 0; i < 2; ++i)
    threads.emplace_back([&] {
      while (saving > 0)
        f.queue.processQueueWithID("saver");
    });
  for (int i = 0; i < 2; ++i)
    threads.emplace_back([&] {
      while (saving > 0)
        callLateOnes(2);
    });
  threads.emplace_back([&] {
    while (saving > 0) {
      f.queue.resetQueueWithID("nobody");
      f.handle("nobody", receive);
      f.queue.setFilesystemKey(f.queue.filesystemKey());
      f.queue.setQueueFilePath(f.queue.queueFilePath());
      f.queue.removePayloadFile(f.pathOf("nothing"));
    }
  });
  threads.clear();
  f.queue.processQueueWithID("saver");
  callLateOnes(1);
  EXPECT_EQ(delivered.size(), static_cast<std::size_t>(kSavers * kPayloadsASaver));
  EXPECT_THAT(f.names(), ::testing::IsEmpty());
}

}  // namespace
}  // namespace kelm::testing
