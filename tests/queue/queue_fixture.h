#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/queue/kelm_reliable_queue.h"
#include "tests/support/canary.h"
#include "tests/support/log_capture.h"
#include "tests/support/manual_clock.h"
#include "tests/support/memory_file_system.h"
#include "tests/support/test_platform.h"

namespace kelm::test {

/// What a processor was called with.
struct Offer {
  std::string payload;
  std::string queueId;
  std::int64_t following;

  bool operator==(const Offer&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Offer& offer) {
    return out << offer.queueId << ":" << offer.payload.substr(0, 20) << "+" << offer.following;
  }
};

/// A queue over a folder in memory and a clock that stands still at 1700000000.5 s.
struct QueueFixture {
  static constexpr std::string_view kFolder = "/q/payloads";

  QueueFixture() {
    tick(0);
    queue.setQueueFilePath(std::string(kFolder));
    queue.setFilesystemKey(bytesOf(kSecretKey));
    queue.setFilesystemIV(bytesOf(kSecretIV));
    files.setAESKey_andIV(bytesOf(kSecretKey), bytesOf(kSecretIV));
  }

  static std::string pathOf(const std::string& name) { return std::string(kFolder) + "/" + name; }
  /// A processor that notes its offers and answers at once: with an error while `rejecting`.
  void accept(std::string_view queueId) {
    queue.setProcessorHandler_withQueueID(
        [this](const Data& payload, const std::string& id, std::int64_t following,
               const ReliableQueueDone& done) {
          offers.push_back({std::string(textOf(payload)), id, following});
          if (rejecting)
            done(Error::make("test", 7, "rejected"));
          else
            done(std::nullopt);
        },
        queueId);
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
    clock.setNow(Date{static_cast<double>(milliseconds) / 1000.0});
  }
  /// A payload file made without the queue.
  void put(const std::string& name, std::string_view payload) {
    ASSERT_TRUE(files.storeNSData_withFullpath(bytesOf(payload), pathOf(name)));
  }
  /// A file whose bytes are no ciphertext of the queue's key.
  void putRaw(const std::string& name, std::string_view bytes) {
    ASSERT_TRUE(plain.storeNSData_withFullpath(bytesOf(bytes), pathOf(name)));
  }
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    const auto entries = fileSystem.list(std::string(kFolder));
    if (!entries) return names;
    for (const platform::DirectoryEntry& entry : *entries)
      names.push_back(entry.name);
    std::sort(names.begin(), names.end());
    return names;
  }
  /// The first lines of what the queue logged so far; the file handler is tested on its own.
  std::vector<std::string> lines() {
    std::vector<std::string> lines = linesSoFar();
    log.clear();
    return lines;
  }
  std::vector<std::string> linesSoFar() const {
    static constexpr const char* kLevels[] = {"DEBUG ", "INFO ",  "WARN ",
                                              "ERROR ", "FATAL ", "CRITICAL "};
    std::vector<std::string> lines;
    for (const LogCapture::Record& record : log.records()) {
      int piece = 1;
      int start = 0;
      if (std::sscanf(record.message.c_str(), "[%d/%*d]%n", &piece, &start) < 1) start = 0;
      const bool isOfQueue = record.source.find("KelmReliableQueue") != std::string::npos ||
                             record.level == log_level::kCritical;
      if (piece > 1 || !isOfQueue) continue;
      const std::string text = record.message.substr(static_cast<std::size_t>(start));
      lines.push_back(kLevels[record.level] + text.substr(0, text.find('\n')));
    }
    return lines;
  }

  TestPlatform services;
  ManualClock& clock = *services.clock;
  MemoryFileSystem& fileSystem = *services.fileSystem;
  TestScope scope{services};
  LogCapture log;
  VaspFileHandler plain;
  VaspSecureFileHandler files;
  KelmReliableQueue queue;
  std::vector<Offer> offers;
  bool rejecting = false;
  Mutex mutex;
  std::int64_t milliseconds = 1700000000500;
};

}  // namespace kelm::test
