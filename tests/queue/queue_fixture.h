#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/queue/kelm_reliable_queue.h"
#include "kelm/testing/log_capture.h"
#include "kelm/testing/test_platform.h"
#include "tests/queue/folder_model.h"
#include "tests/support/canary.h"

namespace kelm::testing {

/// A queue over a folder in memory and a clock that stands still at 1700000000.5 s.
struct QueueFixture {
  static constexpr std::string_view kFolder = "/q/payloads";

  QueueFixture() {
    tick(0);
    furnish(queue);
    files.setAESKey_andIV(bytesOf(kSecretKey), bytesOf(kSecretIV));
  }

  static void furnish(KelmReliableQueue& queue) {
    queue.setQueueFilePath(std::string(kFolder));
    queue.setFilesystemKey(bytesOf(kSecretKey));
    queue.setFilesystemIV(bytesOf(kSecretIV));
  }
  static std::string pathOf(const std::string& name) { return std::string(kFolder) + "/" + name; }
  /// A processor that notes its offers and answers at once: with an error while `rejecting`.
  void accept(std::string_view queueId) {
    handle(queueId, [this](const Data& payload, const std::string& id, std::int64_t following,
                           const ReliableQueueDone& done) {
      offers.push_back({std::string(textOf(payload)), id, following});
      done(rejecting ? Failure(Error::make("test", 7, "rejected")) : std::nullopt);
    });
  }
  /// Registers a processor that the test writes.
  void handle(std::string_view queueId, ReliableQueueProcessor processor) {
    queue.setProcessorHandler_withQueueID(std::move(processor), queueId);
  }
  void save(std::string_view payload, std::string_view queueId) {
    queue.savePayload_withQueueID(bytesOf(payload), queueId);
  }
  /// Moves the clock. Any thread.
  void tick(int count = 1) {
    const Lock lock(mutex);
    milliseconds += count;
    services.clock->setNow(Date{static_cast<double>(milliseconds) / 1000.0});
  }
  /// A payload file made without the queue.
  void put(const std::string& name, std::string_view payload) {
    ASSERT_TRUE(files.storeNSData_withFullpath(bytesOf(payload), pathOf(name)));
  }
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    if (const auto entries = fileSystem.list(std::string(kFolder)))
      for (const platform::DirectoryEntry& entry : *entries)
        if (entry.name != ".kelm-queue") names.push_back(entry.name);
    std::sort(names.begin(), names.end());
    return names;
  }
  /// What the queue logged since the last time; the file handler is tested on its own.
  std::vector<std::string> lines() {
    std::vector<std::string> lines = log.lines("KelmReliableQueue");
    log.clear();
    return lines;
  }

  TestPlatform services;
  MemoryFileSystem& fileSystem = *services.fileSystem;
  TestScope scope{services};
  LogCapture log;
  VaspSecureFileHandler files;
  KelmReliableQueue queue;
  std::vector<Offer> offers;
  bool rejecting = false;
  Mutex mutex;
  std::int64_t milliseconds = 1700000000500;
};

}  // namespace kelm::testing
