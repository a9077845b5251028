// link: kelm_queue kelm_test_support
// A queue over a folder of any names and contents, worked on by any operations, must do what the
// model of its rules does.

#include <cstdlib>

#include "kelm/logging/vasp_logger.h"
#include "kelm/queue/kelm_reliable_queue.h"
#include "tests/queue/folder_model.h"
#include "tests/support/test_platform.h"

namespace {

using namespace kelm;
using namespace kelm::test;

constexpr const char* kFolder = "/q";
constexpr std::size_t kMostFiles = 32;
constexpr std::size_t kMostSteps = 16;
const DataView kKey = bytesOf("0123456789abcdef");
const DataView kIV = bytesOf("fedcba9876543210");

void check(bool holds) {
  if (!holds) std::abort();
}

class Silence : public VaspLogDelegate {
 public:
  void logwithLevel_aspect_from_threadName_message(LogLevel, LogAspect, const char*,
                                                   std::string_view, std::string_view) override {}
};

/// Takes numbers and texts off the input; zeros and "" at its end.
class Input {
 public:
  explicit Input(DataView bytes) : rest_(bytes) {}

  std::uint8_t byte() {
    if (rest_.empty()) return 0;
    const std::uint8_t first = rest_.front();
    rest_ = rest_.subspan(1);
    return first;
  }
  std::string text() {
    const std::size_t size = std::min<std::size_t>(byte(), rest_.size());
    std::string text(textOf(rest_.first(size)));
    rest_ = rest_.subspan(size);
    return text;
  }

 private:
  DataView rest_;
};

class World {
 public:
  explicit World(DataView bytes) : input_(bytes), scope_(services_) {
    queue_.setQueueFilePath(kFolder);
    queue_.setFilesystemKey(kKey);
    queue_.setFilesystemIV(kIV);
    check(!services_.fileSystem->createDirectories(kFolder));
    for (std::size_t count = input_.byte() % 4; count > 0; --count)
      addProcessor(input_.text());
    for (std::size_t count = input_.byte() % kMostFiles; count > 0; --count)
      addItem();
  }

  void run() {
    for (std::size_t steps = input_.byte() % kMostSteps; steps > 0; --steps) {
      step();
      check(names() == model_.names());
    }
  }

 private:
  void step() {
    const std::uint8_t operation = input_.byte();
    const std::string id = input_.text();
    switch (operation % 4) {
      case 0:
        queue_.processQueueWithID(id);
        check(std::exchange(offers_, {}) == model_.process(id));
        break;
      case 1:
        queue_.resetQueueWithID(id);
        model_.reset(id);
        break;
      case 2:
        milliseconds_ += 125;  // exact in binary
        services_.clock->advance(std::chrono::milliseconds(125));
        break;
      default: {
        const std::string payload = input_.text();
        queue_.savePayload_withQueueID(bytesOf(payload), id);
        model_.save(payload, id, std::to_string(milliseconds_));
      }
    }
  }

  void addProcessor(const std::string& id) {
    if (id == "___") return;  // raises
    queue_.setProcessorHandler_withQueueID(
        [this](const Data& payload, const std::string& queueId, std::int64_t following,
               const ReliableQueueDone& done) {
          offers_.push_back({std::string(textOf(payload)), queueId, following});
          done(FolderModel::takes(textOf(payload)) ? Failure() : Error::make("fuzz", 1));
        },
        id);
    model_.addProcessor(id);
  }

  void addItem() {
    const std::uint8_t kind = input_.byte();
    std::string name = input_.text();
    std::erase_if(name, [](char c) { return c == '/' || c == '\0'; });
    const std::string path = std::string(kFolder) + "/" + name;
    if (name.empty() || name == "." || name == ".." || services_.fileSystem->exists(path)) return;
    if (kind % 8 == 0) {
      check(!services_.fileSystem->createDirectories(path));
      model_.putFolder(name);
      return;
    }
    Data bytes = dataOf(input_.text());
    if (kind % 2 != 0) bytes = *VaspAES::aesEncryptData_WithBytesKey_withBytesIV(bytes, kKey, kIV);
    check(!services_.fileSystem->replaceFile(path, bytes));
    model_.putFile(name, bytes);
  }

  std::vector<std::string> names() const {
    std::vector<std::string> names;
    const auto entries = services_.fileSystem->list(kFolder);
    for (const platform::DirectoryEntry& entry : *entries)
      names.push_back(entry.name);
    return names;  // sorted: the file system in memory keeps its names so
  }

  Input input_;
  TestPlatform services_;
  TestScope scope_;
  KelmReliableQueue queue_;
  FolderModel model_{kFolder, kKey, kIV};
  std::vector<FolderModel::Offer> offers_;
  std::int64_t milliseconds_ = 1700000000000;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static int runs = 0;
  if (runs++ % 256 == 0) {  // pending records take memory
    VaspLogger::setLogDelegate(std::make_shared<Silence>());
    check(VaspLogger::flush(std::chrono::minutes(1)));
  }
  World(DataView(bytes, size)).run();
  return 0;
}
