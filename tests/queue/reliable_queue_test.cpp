#include <cmath>
#include <thread>

#include "kelm/queue/payload_name.h"
#include "tests/queue/queue_fixture.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kFirst = "1700000000500___events.dat";

TEST(ReliableQueueSave, WritesOneEncryptedFileNamedByTimeAndQueue) {
  QueueFixture f;
  f.accept("events");
  const std::string payload = secretText("-payload", 24);
  f.save(payload, "events");
  EXPECT_THAT(f.names(), ElementsAre(kFirst));
  EXPECT_EQ(f.files.readNSStringWithFullpath(f.pathOf(kFirst)), payload);
  EXPECT_THAT(f.lines(),
              ElementsAre("INFO Saving a payload with filename:1700000000500___events.dat"));
}

TEST(ReliableQueueSave, MissingArgumentsAndProcessorsAreRefusedWithALine) {
  QueueFixture f;
  f.accept("events");
  f.handle("none", nullptr);
  f.queue.setProcessorHandler_withQueueID([](auto&&...) {}, std::nullopt);
  f.queue.savePayload_withQueueID(std::nullopt, "events");
  f.queue.savePayload_withQueueID(bytesOf("12345"), std::nullopt);
  f.save("x", "none");
  EXPECT_FALSE(f.fileSystem.exists(std::string(f.kFolder)));
  const LogCapture::Record record = f.log.records().at(0);
  EXPECT_EQ(record.aspect, 0x200004);
  EXPECT_EQ(record.source, "-[KelmReliableQueue savePayload:withQueueID:]");
  EXPECT_THAT(f.lines(), ElementsAre("ERROR Cant Commit a payload with size 0 for queueID: events",
                                     "ERROR Cant Commit a payload with size 5 for queueID: (null)",
                                     "ERROR No processor found for queue ID none"));
}

TEST(ReliableQueueSave, SecondPayloadOfAMillisecondIsDroppedAfterAHundredPolls) {
  QueueFixture f;
  f.accept("events");
  f.save("1", "events");
  f.lines();
  const auto before = f.fileSystem.calls();
  f.save("2", "events");
  // The folder, its key, the listing (exists and list), the name and its hundred polls.
  EXPECT_EQ(f.fileSystem.calls() - before, 1U + 1U + 2U + 101U);
  EXPECT_EQ(f.files.readNSStringWithFullpath(f.pathOf(kFirst)), "1");
  EXPECT_THAT(
      f.lines(),
      ElementsAre("INFO Saving a payload with filename:1700000000500___events.dat",
                  "INFO Dropping ReliableQueue due to too many items to enqueue in 1 millisecond"));
}

TEST(ReliableQueueSave, HostileQueueIdsAreFailedStoresAndTouchNothing) {
  const std::string ids[] = {"..", "../x", "a/b", "/etc/passwd", "a..b", std::string("a\0b", 3)};
  for (const std::string& id : ids) {
    QueueFixture f;
    f.accept(id);
    f.save("x", id);
    EXPECT_THAT(f.names(), IsEmpty()) << id;
    EXPECT_EQ(f.fileSystem.list("/q")->size(), 1U);
    EXPECT_THAT(f.lines(),
                ElementsAre("INFO Saving a payload with filename:1700000000500___" + id + ".dat",
                            "ERROR Cant save file"));
  }
}

TEST(ReliableQueueSave, WhatWillBeLostOrIsWeakIsSaidOnceAQueue) {
  const struct {
    std::size_t keyBytes, vectorBytes, payloadBytes;
    std::string line;
  } kRows[] = {
      {16, 16, 102400, ""},
      {5, 16, 1, "A key of 5 bytes is filled with zeros to 16"},
      {0, 16, 1, "A key of 0 bytes is filled with zeros to 16"},
      {20, 16, 1, "A key of 20 bytes encrypts nothing: every save fails"},
      {32, 0, 1, "A vector of 0 bytes is filled with zeros to 16"},
      {24, 16, 0, "Empty payloads are deleted when they are processed"},
      {16, 16, 102401, "Payloads above 102400 bytes are deleted when they are processed"},
  };
  for (const auto& row : kRows) {
    QueueFixture f;
    f.accept("q");
    f.queue.setFilesystemKey(Data(row.keyBytes, 'k'));
    f.queue.setFilesystemIV(Data(row.vectorBytes, 'v'));
    for (int i = 0; i < 2; ++i)
      f.save(std::string(row.payloadBytes, 'x'), "q");
    std::vector<std::string> warnings = f.lines();
    std::erase_if(warnings, [](const std::string& line) { return !line.starts_with("WARN"); });
    EXPECT_EQ(warnings, row.line.empty()
                            ? std::vector<std::string>{}
                            : std::vector<std::string>{"WARN " + row.line + " (queue q)"});
  }
}

TEST(ReliableQueueSave, NameIsTheMillisecondThatHasBegun) {
  const double next = 1700000000.501;
  EXPECT_EQ(payload_name::make(Date{next}, "q"), "1700000000501___q.dat");
  EXPECT_EQ(payload_name::make(Date{std::nextafter(next, 0)}, "q"), "1700000000500___q.dat");
  // Dates so late are coarser than their milliseconds' products.
  for (std::int64_t ms = 2147483648000; ms < 2147483649000; ++ms)
    EXPECT_EQ(payload_name::make(Date{static_cast<double>(ms) / 1000}, ""),
              std::to_string(ms) + "___.dat");
}

TEST(ReliableQueueLimit, OldestOf201GoesBeforeTheNewOneIsWritten) {
  QueueFixture f;
  f.accept("events");
  f.accept("sales");
  for (int i = 0; i < 201; ++i) {
    f.save("x", i % 2 ? "events" : "sales");
    f.tick();
  }
  f.put(".hidden", "is not counted");
  f.put(".hidden folder/file", "nor is this");
  f.lines();
  f.save("new", "events");
  EXPECT_THAT(f.names(), SizeIs(201 + 2));
  EXPECT_EQ(f.names()[2], "1700000000501___events.dat");
  EXPECT_THAT(f.lines(), ElementsAre("WARN Too many events in queue removing...",
                                     "INFO Saving a payload with filename:"
                                     "1700000000701___events.dat"));
}

TEST(ReliableQueueProcess, OffersOldestFirstUntilNothingIsRejected) {
  QueueFixture f;
  f.accept("q");
  f.put("1___q.dat", "one");
  f.put("2___q.dat", "2");
  for (const bool rejecting : {true, false}) {
    f.rejecting = rejecting;
    f.offers.clear();
    f.lines();
    f.queue.processQueueWithID("q");
    EXPECT_THAT(f.offers, ElementsAre(Offer{"one", "q", 1}, Offer{"2", "q", 0}));
    EXPECT_THAT(f.names(), SizeIs(rejecting ? 2 : 0));
    const std::string error = rejecting ? describe(Error::make("test", 7, "rejected")) : "(null)";
    std::vector<std::string> lines = f.lines();
    lines.resize(4);  // those of the first
    EXPECT_THAT(lines, ElementsAre("INFO Reading payload file with path: " + f.pathOf("1___q.dat"),
                                   "INFO Payload size is: 3", "INFO Queue ID is: q",
                                   "INFO Process payload completed with error:" + error));
  }
  f.queue.processQueueWithID("q");
  EXPECT_THAT(f.lines(), ElementsAre("DEBUG ReliableQueue q processing complete"));
}

TEST(ReliableQueueProcess, GarbageIsDeletedWithItsOwnMessage) {
  const std::string broken = "ERROR Error processing file /q/payloads/";
  const struct {
    std::string name, payload, error;
    bool remains;
  } kRows[] = {
      {"1___q.dat", std::string(102400, 'a'), "", false},
      {"1___q.dat", std::string(102401, 'b'), broken + "1___q.dat", false},
      {"1___q.dat", std::string(102416, 'c'), broken + "1___q.dat", false},
      {"1___q.dat", "", broken + "1___q.dat", false},
      {"no ciphertext___q.dat", "", broken + "no ciphertext___q.dat", false},
      {"2___.q", "x", "ERROR Error reading queue id from filename: /q/payloads/2___.q", false},
      {"3____q.dat", "other queue", "ERROR Error getting handler", true},
  };
  for (const auto& row : kRows) {
    QueueFixture f;
    f.accept("q");
    f.put(row.name, row.payload);
    if (row.name.starts_with("no"))
      (void)f.fileSystem.replaceFile(f.pathOf(row.name), bytesOf(row.name));
    f.queue.processQueueWithID("");
    EXPECT_THAT(f.names(), SizeIs(row.remains ? 1 : 0)) << row.name;
    EXPECT_THAT(f.offers, SizeIs(row.error.empty() ? 1 : 0)) << row.name;
    std::vector<std::string> errors = f.lines();
    std::erase_if(errors, [](const std::string& line) { return !line.starts_with("ERROR"); });
    EXPECT_EQ(errors,
              row.error.empty() ? std::vector<std::string>{} : std::vector<std::string>{row.error});
  }
}

TEST(ReliableQueueRegister, ForbiddenIdIsStoredAndRaises) {
  QueueFixture f;
  try {
    f.accept("___");
    FAIL() << "did not raise";
  } catch (const Exception& exception) {
    EXPECT_EQ(exception.name(), exception_name::kGeneric);
    EXPECT_EQ(exception.reason(), "Using ___ as queue name is forbidden");
  }
  EXPECT_THAT(f.log.lines(),
              ::testing::UnorderedElementsAre("INFO Cant use ___ in the queue name",
                                              "FATAL Using ___ as queue name is forbidden"));
  f.save("x", "___");
  EXPECT_THAT(f.names(), ElementsAre("1700000000500______.dat"));
}

TEST(ReliableQueueReentry, ProcessorMaySaveProcessResetAndRegister) {
  QueueFixture f;
  int depth = 0;
  f.handle("q", [&](const Data&, const std::string&, std::int64_t, const ReliableQueueDone& done) {
    if (++depth > 1) return;
    f.tick();
    f.save("from inside", "q");
    f.accept("other");
    f.queue.processQueueWithID("q");
    f.queue.resetQueueWithID("other");
    done(std::nullopt);
  });
  f.save("first", "q");
  f.queue.processQueueWithID("q");
  EXPECT_EQ(depth, 3);  // the first, then both from inside
  EXPECT_THAT(f.names(), ElementsAre("1700000000501___q.dat"));
}

TEST(ReliableQueueReentry, ExceptionOfAProcessorReachesTheCallerAndFreesTheQueue) {
  QueueFixture f;
  f.handle("q", [&](auto&&...) { throw std::runtime_error("no paper"); });
  f.put("1___q.dat", "1");
  EXPECT_THROW(f.queue.processQueueWithID("q"), std::runtime_error);
  f.accept("q");
  std::thread([&] { f.queue.processQueueWithID("q"); }).join();
  EXPECT_THAT(f.offers, ElementsAre(Offer{"1", "q", 0}));
}

TEST(ReliableQueueDoneCallback, LateRepeatedAndOutlivingCallsAreLoggedAndHarmless) {
  QueueFixture f;
  ReliableQueueDone kept;
  f.put("1___q.dat", "1");
  {
    KelmReliableQueue queue;
    f.furnish(queue);
    queue.setProcessorHandler_withQueueID([&](auto&&, auto&&, auto, auto done) { kept = done; },
                                          "q");
    queue.processQueueWithID("q");
  }
  f.lines();
  kept(Error::make("test", 7, "later"));
  EXPECT_THAT(f.names(), SizeIs(1));
  std::thread([&] { kept(std::nullopt); }).join();
  EXPECT_THAT(f.names(), IsEmpty());
  kept(std::nullopt);
  EXPECT_THAT(f.lines(), ElementsAre(HasSubstr("completed with error:Error Domain=test"),
                                     HasSubstr("completed with error:(null)"),
                                     HasSubstr("completed with error:(null)")));
  f.put("1___q.dat", "a later payload of the same name");
  kept(std::nullopt);
  EXPECT_THAT(f.names(), SizeIs(1));
}

}  // namespace
}  // namespace kelm::testing
