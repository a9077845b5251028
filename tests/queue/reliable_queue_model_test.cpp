// Random folders of good and garbage names, worked on at random, against the model.
#include <gtest/gtest.h>

#include <random>

#include "tests/queue/folder_world.h"
#include "tests/support/log_capture.h"

namespace kelm::test {
namespace {

class RandomFolder {
 public:
  explicit RandomFolder(unsigned seed) : random_(seed) {
    add(kIds.size() - 2);
    for (std::size_t i = 2; i < kIds.size(); ++i)
      addText(pick(kIds));
    const bool isFull = below(16) == 0;
    const std::size_t count = isFull ? 198 + below(6) : below(12);
    add(count);
    for (std::size_t i = 0; i < count; ++i)
      isFull ? addPayload(std::to_string(1600000000000 + i) + "___ev.dat") : addItem();
    add(15);
    for (int step = 0; step < 15; ++step) {
      const std::size_t operation = below(5);
      add(operation);
      addText(pick(kIds));
      if (operation == 3) addText(pick({"yes", "no", ""}));
    }
  }
  const Data& bytes() const { return bytes_; }

 private:
  inline static const std::vector<std::string> kIds = {
      "ev", "events", "sales", "", "a.b", "_x", "x_", "a/b", "..", "ev___x", std::string(240, 'l')};

  std::size_t below(std::size_t limit) { return random_() % limit; }
  std::string pick(const std::vector<std::string>& from) { return from[below(from.size())]; }
  void add(std::size_t byte) { bytes_.push_back(static_cast<std::uint8_t>(byte)); }
  void addText(std::string_view text) {
    add(text.size());
    bytes_.insert(bytes_.end(), text.begin(), text.end());
  }
  void addPayload(const std::string& name) {
    add(1);
    addText(name);
    addText("no");
  }
  void addItem() {
    std::string name = pick({"1700000000000", "1600000000000", "99", "x", "", ".", "-1", "___"});
    name += std::to_string(below(1000)) + std::string(below(8), '_') + pick(kIds);
    name += pick({".dat", ".dat", ".dat", "", ".", ".tmp", ".dat.dat", "___tail.dat"});
    const std::size_t kind = below(16);
    add(kind);
    addText(name.substr(0, 255));
    if (kind % 8 != 0) addText(pick({"", "yes", "no", "garbage", "sixteen bytes..."}));
  }

  std::mt19937 random_;
  Data bytes_;
};

TEST(ReliableQueueModel, RandomFoldersEndAsTheModelSays) {
  const LogCapture silence;
  for (unsigned seed = 0; seed < 200; ++seed)
    EXPECT_NO_THROW(FolderWorld(RandomFolder(seed).bytes()).run()) << seed;
}

}  // namespace
}  // namespace kelm::test
