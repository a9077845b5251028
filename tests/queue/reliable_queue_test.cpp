#include <thread>

#include "tests/queue/queue_fixture.h"

namespace kelm::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* kFirst = "1700000000500___events.dat";
constexpr const char* kDropped =
    "INFO Dropping ReliableQueue due to too many items to enqueue in 1 millisecond";

TEST(ReliableQueueSave, WritesOneEncryptedFileNamedByTimeAndQueue) {
  QueueFixture f;
  f.accept("events");
  const std::string payload = secretText("-payload", 24);
  f.save(payload, "events");
  EXPECT_THAT(f.names(), ElementsAre(kFirst));
  EXPECT_EQ(f.files.readNSStringWithFullpath(f.pathOf(kFirst)), payload);
  EXPECT_EQ(f.plain.readNSDataWithFullpath(f.pathOf(kFirst))->size(), 32U);
  EXPECT_THAT(f.lines(),
              ElementsAre("INFO Saving a payload with filename:1700000000500___events.dat"));
}

TEST(ReliableQueueSave, MissingArgumentsAndProcessorsAreRefusedWithALine) {
  QueueFixture f;
  f.accept("events");
  f.queue.setProcessorHandler_withQueueID(nullptr, "none");
  f.queue.setProcessorHandler_withQueueID([](auto&&...) {}, std::nullopt);
  f.queue.savePayload_withQueueID(std::nullopt, "events");
  f.queue.savePayload_withQueueID(bytesOf("12345"), std::nullopt);
  f.save("x", "none");
  EXPECT_FALSE(f.fileSystem.exists(std::string(f.kFolder)));
  const auto records = f.log.records();
  EXPECT_THAT(f.lines(), ElementsAre("ERROR Cant Commit a payload with size 0 for queueID: events",
                                     "ERROR Cant Commit a payload with size 5 for queueID: (null)",
                                     "ERROR No processor found for queue ID none"));
  for (const auto& record : records) {
    EXPECT_EQ(record.aspect, 0x200004);
    EXPECT_EQ(record.source, "-[KelmReliableQueue savePayload:withQueueID:]");
  }
}

TEST(ReliableQueueSave, SecondPayloadOfAMillisecondIsDroppedUnlessTheQueueDiffers) {
  QueueFixture f;
  f.accept("events");
  f.accept("sales");
  f.save("1", "events");
  f.save("2", "events");
  f.save("3", "sales");
  f.tick();
  f.save("4", "events");
  EXPECT_THAT(f.names(),
              ElementsAre(kFirst, "1700000000500___sales.dat", "1700000000501___events.dat"));
  EXPECT_EQ(f.files.readNSStringWithFullpath(f.pathOf(kFirst)), "1");
  EXPECT_THAT(f.lines(), ElementsAre(StartsWith("INFO Saving"), StartsWith("INFO Saving"), kDropped,
                                     StartsWith("INFO Saving"), StartsWith("INFO Saving")));
}

TEST(ReliableQueueSave, NameIsPolledAHundredTimesMore) {
  QueueFixture f;
  f.accept("events");
  f.save("1", "events");
  const auto before = f.fileSystem.calls();
  f.save("2", "events");
  // The folder, the listing (exists and list), the name and its hundred polls.
  EXPECT_EQ(f.fileSystem.calls() - before, 1U + 2U + 101U);
}

TEST(ReliableQueueSave, HostileQueueIdsAreFailedStoresAndTouchNothing) {
  const std::string ids[] = {
      "..",   "../x", "a/b", "/etc/passwd",          "a/../../y",         "/",
      "a..b", "x/",   "./x", std::string("a\0b", 3), std::string(1, '\0')};
  for (const std::string& id : ids) {
    QueueFixture f;
    f.accept(id);
    f.save("x", id);
    EXPECT_THAT(f.names(), IsEmpty()) << id;
    const auto above = f.fileSystem.list("/q");
    EXPECT_EQ(above->size(), 1U);
    EXPECT_THAT(f.lines(),
                ElementsAre("INFO Saving a payload with filename:1700000000500___" + id + ".dat",
                            "ERROR Cant save file"));
  }
}

TEST(ReliableQueueLimit, OldestOf201GoesBeforeTheNewOneIsWritten) {
  QueueFixture f;
  f.accept("events");
  f.accept("sales");
  for (int i = 0; i < 201; ++i) {
    f.save("x", i % 2 ? "events" : "sales");
    f.tick();
  }
  EXPECT_THAT(f.names(), SizeIs(201));
  f.lines();
  f.save("new", "events");
  EXPECT_THAT(f.names(), SizeIs(201));
  EXPECT_EQ(f.names().front(), "1700000000501___events.dat");
  EXPECT_THAT(f.lines(), ElementsAre("WARN Too many events in queue removing...",
                                     "INFO Saving a payload with filename:"
                                     "1700000000701___events.dat"));
}

TEST(ReliableQueueProcess, OffersOldestFirstAndCountsDown) {
  QueueFixture f;
  f.accept("events");
  for (const char* payload : {"1", "2", "3"}) {
    f.save(payload, "events");
    f.tick();
  }
  f.lines();
  f.queue.processQueueWithID("events");
  EXPECT_THAT(f.offers, ElementsAre(Offer{"1", "events", 2}, Offer{"2", "events", 1},
                                    Offer{"3", "events", 0}));
  EXPECT_THAT(f.names(), IsEmpty());
  const std::vector<std::string> lines = f.lines();
  ASSERT_THAT(lines, SizeIs(12));
  EXPECT_THAT(std::vector<std::string>(lines.begin(), lines.begin() + 4),
              ElementsAre("INFO Reading payload file with path: " + f.pathOf(kFirst),
                          "INFO Payload size is: 1", "INFO Queue ID is: events",
                          "INFO Process payload completed with error:(null)"));
  f.queue.processQueueWithID("events");
  EXPECT_THAT(f.lines(), ElementsAre("DEBUG ReliableQueue events processing complete"));
}

TEST(ReliableQueueProcess, RejectedPayloadsStayAndAreOfferedAgain) {
  QueueFixture f;
  f.accept("events");
  f.save("1", "events");
  f.rejecting = true;
  f.queue.processQueueWithID("events");
  f.queue.processQueueWithID("events");
  EXPECT_THAT(f.names(), ElementsAre(kFirst));
  EXPECT_THAT(f.lines(), ::testing::Contains("INFO Process payload completed with error:" +
                                             describe(Error::make("test", 7, "rejected"))));
  f.rejecting = false;
  f.queue.processQueueWithID("events");
  EXPECT_THAT(f.names(), IsEmpty());
  EXPECT_THAT(f.offers, SizeIs(3));
}

TEST(ReliableQueueProcess, MatchesByContainmentAndHandlesByTheNameOfTheFile) {
  QueueFixture f;
  f.accept("ev");
  f.accept("events");
  f.put("1___events.dat", "1");
  f.put("2___ev.dat", "2");
  f.put("3___sales___ev.dat", "3");
  f.put("4___sales.dat", "4");
  f.queue.processQueueWithID("ev");
  EXPECT_THAT(f.offers, ElementsAre(Offer{"1", "events", 2}, Offer{"2", "ev", 1}));
  EXPECT_THAT(f.names(), ElementsAre("3___sales___ev.dat", "4___sales.dat"));
  EXPECT_THAT(f.lines(), ::testing::Contains("ERROR Error getting handler"));
}

TEST(ReliableQueueProcess, PayloadsOfTheLimitPassAndLongerOnesGo) {
  QueueFixture f;
  f.accept("q");
  f.put("1___q.dat", std::string(102400, 'a'));
  f.put("2___q.dat", std::string(102401, 'b'));
  f.put("3___q.dat", std::string(102416, 'c'));
  f.put("4___q.dat", std::string(1000000, 'd'));
  f.put("5___q.dat", "");
  f.queue.processQueueWithID("q");
  EXPECT_THAT(f.offers, ElementsAre(Offer{std::string(102400, 'a'), "q", 4}));
  EXPECT_THAT(f.names(), IsEmpty());
  std::vector<std::string> errors = f.lines();
  std::erase_if(errors, [](const std::string& line) { return !line.starts_with("ERROR"); });
  EXPECT_THAT(errors, ElementsAre("ERROR Error processing file /q/payloads/2___q.dat",
                                  "ERROR Error processing file /q/payloads/3___q.dat",
                                  "ERROR Error processing file /q/payloads/4___q.dat",
                                  "ERROR Error processing file /q/payloads/5___q.dat"));
}

TEST(ReliableQueueProcess, GarbageIsDeletedWithItsOwnMessage) {
  QueueFixture f;
  f.accept("q");
  f.putRaw("1___q.dat", "no ciphertext");
  f.put("2___.q", "badly named");
  f.put("3____q.dat", "other queue");
  f.queue.processQueueWithID("");
  EXPECT_THAT(f.names(), ElementsAre("3____q.dat"));
  std::vector<std::string> errors = f.lines();
  std::erase_if(errors, [](const std::string& line) { return !line.starts_with("ERROR"); });
  EXPECT_THAT(errors, ElementsAre("ERROR Error processing file /q/payloads/1___q.dat",
                                  "ERROR Error reading queue id from filename: /q/payloads/2___.q",
                                  "ERROR Error getting handler"));
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
  EXPECT_THAT(f.lines(), ::testing::UnorderedElementsAre(
                             "INFO Cant use ___ in the queue name",
                             StartsWith("CRITICAL Using ___ as queue name is forbidden")));
  f.save("x", "___");
  EXPECT_THAT(f.names(), ElementsAre("1700000000500______.dat"));
  EXPECT_THROW(f.queue.setProcessorHandler_withQueueID(nullptr, "___"), Exception);
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
  f.put("2___q.dat", "2");
  EXPECT_THROW(f.queue.processQueueWithID("q"), std::runtime_error);
  EXPECT_THAT(f.names(), ElementsAre("1___q.dat", "2___q.dat"));
  f.accept("q");
  std::thread([&] { f.queue.processQueueWithID("q"); }).join();
  EXPECT_THAT(f.offers, ElementsAre(Offer{"1", "q", 1}, Offer{"2", "q", 0}));
}

TEST(ReliableQueueDoneCallback, LateRepeatedAndOutlivingCallsAreLoggedAndHarmless) {
  QueueFixture f;
  std::vector<ReliableQueueDone> kept;
  auto queue = std::make_unique<KelmReliableQueue>();
  queue->setQueueFilePath(std::string(f.kFolder));
  queue->setFilesystemKey(bytesOf(kSecretKey));
  queue->setFilesystemIV(bytesOf(kSecretIV));
  queue->setProcessorHandler_withQueueID(
      [&](const Data&, const std::string&, std::int64_t, ReliableQueueDone done) {
        kept.push_back(std::move(done));
      },
      "q");
  f.put("1___q.dat", "1");
  queue->processQueueWithID("q");
  queue.reset();
  f.lines();
  ASSERT_THAT(kept, SizeIs(1));
  kept[0](Error::make("test", 7, "later"));
  EXPECT_THAT(f.names(), SizeIs(1));
  std::thread([&] { kept[0](std::nullopt); }).join();
  EXPECT_THAT(f.names(), IsEmpty());
  kept[0](std::nullopt);
  EXPECT_THAT(f.lines(), ElementsAre(HasSubstr("completed with error:Error Domain=test"),
                                     HasSubstr("completed with error:(null)"),
                                     HasSubstr("completed with error:(null)")));
  f.put("1___q.dat", "a later payload of the same name");
  kept[0](std::nullopt);
  EXPECT_THAT(f.names(), SizeIs(1));
}

}  // namespace
}  // namespace kelm::test
