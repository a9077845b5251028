// A folder that others use too: with another key, or from another process.
#include "tests/queue/queue_fixture.h"

namespace kelm::testing {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kPayload = "1700000000500___q.dat";

/// Another queue object over the fixture's folder, as another process has it.
struct OtherQueue : KelmReliableQueue {
  explicit OtherQueue(QueueFixture& fixture) {
    fixture.furnish(*this);
    setProcessorHandler_withQueueID(
        [this](const Data&, auto&&, auto, const ReliableQueueDone& done) {
          ++offers;
          kept = done;
        },
        "q");
  }
  int offers = 0;
  ReliableQueueDone kept;
};

TEST(ReliableQueueKey, AnotherKeyOrVectorTouchesNothingUntilItIsAdopted) {
  for (const bool isKey : {true, false}) {
    QueueFixture f;
    f.accept("q");
    f.save("payload", "q");
    f.lines();
    OtherQueue other(f);
    isKey ? other.setFilesystemKey(Data(16, 'x')) : other.setFilesystemIV(Data(16, 'x'));
    other.processQueueWithID("q");
    EXPECT_THAT(f.lines(), ElementsAre(HasSubstr("ERROR The payloads in /q/payloads were saved "
                                                 "with another key")));
    f.tick();
    other.savePayload_withQueueID(bytesOf("lost"), "q");
    EXPECT_THAT(f.lines(), ElementsAre(HasSubstr("ERROR The payloads"), "ERROR Cant save file"));
    EXPECT_THAT(f.names(), ElementsAre(kPayload));
    EXPECT_EQ(f.files.readNSStringWithFullpath(f.pathOf(kPayload)), "payload");
    EXPECT_TRUE(other.adoptKey());
    other.savePayload_withQueueID(bytesOf("new"), "q");
    EXPECT_THAT(f.names(), SizeIs(2));
  }
}

TEST(ReliableQueueKey, FolderThatCannotBeCheckedOrIsOfALaterLayoutIsLeftAlone) {
  QueueFixture f;
  f.accept("q");
  f.save("payload", "q");
  f.lines();
  // A run locks, lists (exists and list), then reads the check value.
  f.fileSystem.failCall(4, EMFILE);
  f.queue.processQueueWithID("q");
  f.fileSystem.stopFailing();
  EXPECT_THAT(f.lines(), ElementsAre(HasSubstr("cannot be checked now")));
  ASSERT_FALSE(f.fileSystem.replaceFile(f.pathOf(".kelm-queue"), bytesOf("kelm-queue 2 x")));
  f.queue.processQueueWithID("q");
  EXPECT_THAT(f.lines(), ElementsAre(HasSubstr("was made by a later version")));
  EXPECT_THAT(f.offers, IsEmpty());
  EXPECT_THAT(f.names(), ElementsAre(kPayload));
}

TEST(ReliableQueueKey, PayloadThatTheSystemDoesNotReadNowStays) {
  for (const int error : {EMFILE, ENFILE, ENOMEM, EIO, EACCES, EINTR}) {
    QueueFixture f;
    f.accept("q");
    f.save("payload", "q");
    f.lines();
    f.fileSystem.failCall(5, error);
    f.queue.processQueueWithID("q");
    EXPECT_THAT(f.lines(), Contains(HasSubstr("Error processing file"))) << error;
    f.queue.processQueueWithID("q");
    EXPECT_THAT(f.offers, ElementsAre(Offer{"payload", "q", 0})) << error;
  }
}

TEST(ReliableQueueQuarantine, KeepsTheLatest200ThatDoNotOpenOutOfSight) {
  QueueFixture f;
  f.accept("q");
  f.queue.setQuarantinePath(f.pathOf(".quarantine"));
  for (int i = 100; i < 301; ++i) {
    const std::string path = f.pathOf(std::to_string(i) + "___q.dat");
    ASSERT_FALSE(f.fileSystem.createDirectories(std::string(f.kFolder)));
    ASSERT_FALSE(f.fileSystem.replaceFile(path, bytesOf("no ciphertext")));
  }
  f.queue.processQueueWithID("q");
  EXPECT_THAT(f.names(), ElementsAre(".quarantine"));
  const auto kept = f.files.listFilesInHandlerFullPath(f.pathOf(".quarantine"));
  EXPECT_THAT(kept, SizeIs(200));
  EXPECT_THAT(kept, ::testing::Not(Contains(HasSubstr("/100___q.dat"))));
  EXPECT_THAT(f.log.lines(),
              Contains("WARN Payload file 300___q.dat does not open and is kept in quarantine "
                       "(200 of 200)"));
}

TEST(ReliableQueueShared, OthersRunsOfferNothingUntilAllIsSettledOrDropped) {
  QueueFixture f;
  f.accept("q");
  f.rejecting = true;
  f.save("payload", "q");
  OtherQueue other(f);
  other.processQueueWithID("q");
  f.lines();
  f.queue.processQueueWithID("q");
  EXPECT_THAT(f.offers, IsEmpty());
  EXPECT_THAT(f.lines(), ElementsAre(HasSubstr("is processed by somebody else")));
  other.processQueueWithID("q");
  EXPECT_EQ(other.offers, 2) << "its own runs offer again what is not settled";
  other.kept(Error::make("test", 1));
  f.queue.processQueueWithID("q");
  EXPECT_THAT(f.offers, SizeIs(1));
  other.processQueueWithID("q");
  other.kept = nullptr;
  f.queue.processQueueWithID("q");
  EXPECT_THAT(f.offers, SizeIs(2));
}

}  // namespace
}  // namespace kelm::testing
