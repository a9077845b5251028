#pragma once

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "kelm/queue/kelm_reliable_queue.h"
#include "kelm/testing/test_platform.h"
#include "tests/queue/folder_model.h"

namespace kelm::testing {

/// A queue over a folder of any names and contents, worked on by any operations: all read from
/// bytes, of which "text" is one for the size and then so many, or one that stands for a usual
/// text. Raises where the queue does not do what the model does.
class FolderWorld {
 public:
  /// What the bytes from 255 downwards stand for: IDs, payloads and names.
  inline static const std::vector<std::string> kTexts = [] {
    std::istringstream words(
        "ev events sales a.b _x x_ a/b .. ev___x yes no sixteen_bytes... 1600000000000___ev.dat "
        "1600000000001___events.dat 1700000000000___ev.dat 1700000000250___sales.dat 99____x.dat "
        "___ev.dat x___.dat .1___ev.dat 1___ev___tail.dat 2___ev.tmp 3___a.b.dat.dat 5__ev.");
    std::vector<std::string> texts{"", std::string(240, 'n')};
    for (std::string word; words >> word;)
      texts.push_back(word);
    return texts;
  }();

  explicit FolderWorld(DataView bytes) : rest_(bytes), scope_(services_) {
    queue_.setQueueFilePath(kFolder);
    queue_.setFilesystemKey(kKey);
    queue_.setFilesystemIV(kIV);
    check(!services_.fileSystem->createDirectories(kFolder), "the folder");
    for (int count = byte() % 16; count > 0; --count)
      addProcessor(text());
    for (int count = byte() % 32; count > 0 && !rest_.empty(); --count)
      addItem();
  }

  void run() {
    for (int steps = byte() % 32; steps > 0; --steps) {
      step();
      check(names() == model_.names(), "the names");
    }
  }

 private:
  static constexpr const char* kFolder = "/q";
  inline static const DataView kKey = bytesOf("0123456789abcdef"), kIV = kKey;

  static void check(bool holds, const char* what) {
    if (!holds) throw std::logic_error(what);
  }
  /// Zeros and "" at the end of the bytes.
  std::uint8_t byte() {
    if (rest_.empty()) return 0;
    const std::uint8_t first = rest_.front();
    rest_ = rest_.subspan(1);
    return first;
  }
  std::string text() {
    const std::size_t first = byte(), size = std::min(first, rest_.size());
    if (255 - first < kTexts.size()) return kTexts[255 - first];
    std::string text(textOf(rest_.first(size)));
    rest_ = rest_.subspan(size);
    return text;
  }

  void step() {
    const std::uint8_t operation = byte();
    const std::string id = text();
    switch (operation % 4) {
      case 0:
        queue_.processQueueWithID(id);
        check(std::exchange(offers_, {}) == model_.process(id), "the offers");
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
        const std::string payload = text();
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
          done(FolderModel::takes(textOf(payload)) ? Failure() : Error::make("model", 1));
        },
        id);
    model_.addProcessor(id);
  }

  void addItem() {
    const std::uint8_t kind = byte();
    std::string name = text();
    std::erase_if(name, [](char c) { return c == '/' || c == '\0'; });
    const std::string path = std::string(kFolder) + "/" + name;
    if (name.empty() || name == "." || name == ".." || services_.fileSystem->exists(path)) return;
    if (kind % 8 == 0) {
      check(!services_.fileSystem->createDirectories(path), "a folder in the folder");
      model_.putFolder(name);
      return;
    }
    Data bytes = dataOf(text());
    if (kind % 2 != 0) bytes = *VaspAES::aesEncryptData_WithBytesKey_withBytesIV(bytes, kKey, kIV);
    check(!services_.fileSystem->replaceFile(path, bytes), "a file");
    model_.putFile(name, VaspAES::aesDecryptData_WithBytesKey_withBytesIV(bytes, kKey, kIV));
  }

  std::vector<std::string> names() const {
    std::vector<std::string> names;
    const auto entries = services_.fileSystem->list(kFolder);
    for (const platform::DirectoryEntry& entry : *entries)
      if (entry.name != ".kelm-queue") names.push_back(entry.name);
    return names;  // sorted: the file system in memory keeps its names so
  }

  DataView rest_;
  TestPlatform services_;
  TestScope scope_;
  KelmReliableQueue queue_;
  FolderModel model_{kFolder};
  std::vector<Offer> offers_;
  std::int64_t milliseconds_ = 1700000000000;
};

}  // namespace kelm::testing
