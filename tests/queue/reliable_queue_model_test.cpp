// Random folders of good and garbage names, worked on at random, against the model.
#include <random>

#include "tests/queue/folder_model.h"
#include "tests/queue/queue_fixture.h"

namespace kelm::test {
namespace {

constexpr int kFolders = 200;
constexpr int kStepsAFolder = 12;

class RandomFolder : public QueueFixture {
 public:
  explicit RandomFolder(unsigned seed)
      : random_(seed), model_(std::string(kFolder), bytesOf(kSecretKey), bytesOf(kSecretIV)) {
    EXPECT_FALSE(fileSystem.createDirectories(std::string(kFolder)));
    for (const std::string& id : kIds) {
      if (random_() % 4 == 0) continue;
      handleInModel(id);
    }
    const std::size_t count = random_() % 16 == 0 ? 195 + random_() % 12 : random_() % 12;
    for (std::size_t i = 0; i < count; ++i)
      putOne();
  }

  void step() {
    const std::string id = pick(kIds);
    switch (random_() % 4) {
      case 0:
        queue.processQueueWithID(id);
        EXPECT_EQ(std::exchange(offers_, {}), model_.process(id));
        break;
      case 1:
        queue.resetQueueWithID(id);
        model_.reset(id);
        break;
      default: {
        const std::string payload = pick({"yes", "no", ""});
        save(payload, id);
        model_.save(payload, id, std::to_string(milliseconds));
        if (random_() % 3 != 0) tick();
      }
    }
    EXPECT_EQ(names(), model_.names());
  }

 private:
  inline static const std::vector<std::string> kIds = {
      "ev", "events", "sales", "", "a.b", "_x", "x_", "a/b", "..", "ev___x", std::string(240, 'l')};

  std::string pick(const std::vector<std::string>& from) { return from[random_() % from.size()]; }

  void handleInModel(const std::string& id) {
    handle(id, [this](const Data& payload, const std::string& queueId, std::int64_t following,
                      const ReliableQueueDone& done) {
      offers_.push_back({std::string(textOf(payload)), queueId, following});
      done(FolderModel::takes(textOf(payload)) ? Failure() : Error::make("test", 1));
    });
    model_.addProcessor(id);
  }

  std::string randomName() {
    std::string name = pick({"1700000000500", "1600000000000", "99", "x", "", ".", "-1", "___"});
    name += std::to_string(random_() % 1000);
    name.append(random_() % 8, '_');
    name += pick(kIds);
    name += pick({".dat", ".dat", ".dat", "", ".", ".tmp", ".dat.dat", "___tail.dat"});
    std::replace(name.begin(), name.end(), '/', '-');
    return name.substr(0, 255);
  }

  void putOne() {
    const std::string name = randomName();
    if (name == "." || name == ".." || fileSystem.exists(pathOf(name))) return;
    if (random_() % 16 == 0) {
      EXPECT_FALSE(fileSystem.createDirectories(pathOf(name)));
      model_.putFolder(name);
      return;
    }
    Data bytes = dataOf(pick({"", "garbage", "sixteen bytes..."}));
    if (random_() % 4 != 0) {
      const std::size_t size = random_() % 32 == 0 ? 102399 + random_() % 3 : random_() % 40;
      bytes = *files.encryptNSData(dataOf(std::string(size, random_() % 2 ? 'y' : 'n')));
    }
    EXPECT_FALSE(fileSystem.replaceFile(pathOf(name), bytes));
    model_.putFile(name, bytes);
  }

  std::mt19937 random_;
  FolderModel model_;
  std::vector<FolderModel::Offer> offers_;
};

TEST(ReliableQueueModel, RandomFoldersEndAsTheModelSays) {
  for (unsigned seed = 0; seed < kFolders && !::testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE(seed);
    RandomFolder folder(seed);
    for (int step = 0; step < kStepsAFolder; ++step)
      folder.step();
  }
}

}  // namespace
}  // namespace kelm::test
