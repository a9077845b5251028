// link: kelm_queue
// What saving and processing payloads cost on a real file system, beside the bare system calls and
// beside the same steps as a textbook writes them.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "kelm/logging/vasp_logger.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/linux/files/services.h"
#include "kelm/queue/kelm_reliable_queue.h"

namespace {

namespace fs = std::filesystem;
using SteadyClock = std::chrono::steady_clock;
using kelm::Data;
using kelm::DataView;

constexpr std::size_t kResident = 200;
constexpr std::size_t kPayloadBytes = 1024;
constexpr std::size_t kLimit = 201;
constexpr const char* kQueues[] = {"events", "sales", "refunds", "receipts"};
const std::string kKey = "0123456789abcdef";
const std::string kIV = "fedcba9876543210";

/// Every reading is later by an eighth of a second, which is exact: no name is met twice.
class SteppingClock : public kelm::platform::Clock {
 public:
  kelm::Date now() const override { return {1.8e9 + 0.125 * static_cast<double>(++readings_)}; }
  std::int64_t monotonicNanoseconds() const override { return readings_; }
  void sleep(std::chrono::nanoseconds) override {}

 private:
  mutable std::int64_t readings_ = 0;
};

class Silence : public kelm::VaspLogDelegate {
 public:
  void logwithLevel_aspect_from_threadName_message(kelm::LogLevel, kelm::LogAspect, const char*,
                                                   std::string_view, std::string_view) override {}
};

void orAbort(bool succeeded) {
  if (!succeeded) std::abort();
}

Data payloadOf(std::size_t size) {
  Data payload(size);
  for (std::size_t i = 0; i < size; ++i)
    payload[i] = static_cast<std::uint8_t>(i * 7);
  return payload;
}

/// AES as the manual shows it: a new context and a fetched cipher for every call.
Data textbookCipher(bool encrypts, const Data& data) {
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  Data result(data.size() + 16);
  int first = 0;
  int last = 0;
  const auto* key = reinterpret_cast<const unsigned char*>(kKey.data());
  const auto* iv = reinterpret_cast<const unsigned char*>(kIV.data());
  orAbort(EVP_CipherInit_ex(context, EVP_aes_128_cbc(), nullptr, key, iv, encrypts ? 1 : 0));
  orAbort(
      EVP_CipherUpdate(context, result.data(), &first, data.data(), static_cast<int>(data.size())));
  orAbort(EVP_CipherFinal_ex(context, result.data() + first, &last));
  EVP_CIPHER_CTX_free(context);
  result.resize(static_cast<std::size_t>(first) + static_cast<std::size_t>(last));
  return result;
}

/// A folder of payload files below the working folder, of which a benchmark keeps the number.
class Folder {
 public:
  explicit Folder(std::size_t payloadBytes)
      : path_((fs::current_path() / "kelm-bench-XXXXXX").string()),
        payload_(payloadOf(payloadBytes)),
        ciphertext_(textbookCipher(true, payload_)) {
    orAbort(mkdtemp(path_.data()) != nullptr);
  }
  ~Folder() { fs::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  void fill() {
    for (std::size_t i = 0; i < kResident; ++i) {
      const std::string name = std::to_string(1700000000000 + i) + "___" + kQueues[i % 4] + ".dat";
      std::ofstream(path_ + '/' + name, std::ios::binary) << kelm::textOf(ciphertext_);
    }
  }
  /// Takes away what a save added.
  void removeNewest() {
    std::string newest;
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(path_)) {
      newest = std::max(newest, entry.path().string());
      ++count;
    }
    orAbort(count == kResident + 1);
    fs::remove(newest);
  }
  const std::string& path() const { return path_; }
  const Data& payload() const { return payload_; }
  const Data& ciphertext() const { return ciphertext_; }

 private:
  std::string path_;
  const Data payload_;
  const Data ciphertext_;
};

class KelmQueue {
 public:
  KelmQueue(const Folder& folder, bool syncs)
      : folder_(folder),
        files_(syncs ? kelm::platform::FileSystem::makeSystem()
                     : kelm::platform::makeUnsyncedFileSystem()) {
    kelm::VaspLogger::setLogDelegate(std::make_shared<Silence>());
    queue_.setQueueFilePath(folder.path());
    queue_.setFilesystemKey(kelm::bytesOf(kKey));
    queue_.setFilesystemIV(kelm::bytesOf(kIV));
    for (const char* id : kQueues) {
      queue_.setProcessorHandler_withQueueID(
          [](const Data&, const std::string&, std::int64_t, const kelm::ReliableQueueDone& done) {
            done(std::nullopt);
          },
          id);
    }
  }
  void save() { queue_.savePayload_withQueueID(folder_.payload(), kQueues[++saves_ % 4]); }
  void process() { queue_.processQueueWithID(""); }

 private:
  const Folder& folder_;
  const kelm::platform::ScopedService<kelm::platform::Clock> clock_{
      std::make_shared<SteppingClock>()};
  const kelm::platform::ScopedService<kelm::platform::FileSystem> files_;
  kelm::KelmReliableQueue queue_;
  std::size_t saves_ = 0;
};

/// Nothing but what durability takes: a temporary, its sync, its name, the folder's sync.
class BareCalls {
 public:
  explicit BareCalls(const Folder& folder) : folder_(folder) {}

  void save() {
    const std::string name = folder_.path() + '/' + std::to_string(++time_) + "___events.dat";
    const std::string temporary = folder_.path() + "/.temporary";
    const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const Data& bytes = folder_.ciphertext();
    orAbort(write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    orAbort(fsync(file) == 0);
    close(file);
    orAbort(rename(temporary.c_str(), name.c_str()) == 0);
    const int folder = open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    orAbort(fsync(folder) == 0);
    close(folder);
  }

 private:
  const Folder& folder_;
  std::int64_t time_ = 1800000000000;
};

/// The steps of the queue, each written with the standard library, nothing synced.
class Textbook {
 public:
  explicit Textbook(const Folder& folder) : folder_(folder.path()), payload_(folder.payload()) {}

  void save() {
    if (!fs::exists(folder_)) fs::create_directories(folder_);
    std::vector<std::string> paths = list();
    if (paths.size() >= kLimit) {
      std::sort(paths.begin(), paths.end());
      fs::remove(paths.front());
    }
    const fs::path path = folder_ / (std::to_string(++time_) + "___events.dat");
    if (fs::exists(path)) return;
    if (!fs::exists(path)) {
      fs::create_directories(path);
      setAttributes(path);
    }
    if (fs::exists(path)) fs::remove_all(path);
    const Data ciphertext = textbookCipher(true, payload_);
    const fs::path temporary = path.string() + ".tmp";
    std::ofstream(temporary, std::ios::binary) << kelm::textOf(ciphertext);
    fs::rename(temporary, path);
    setAttributes(path);
  }

  void process() {
    std::vector<std::string> paths = list();
    std::sort(paths.begin(), paths.end());
    for (const std::string& path : paths) {
      if (path.find("___") == std::string::npos || !fs::exists(path)) continue;
      std::ifstream file(path, std::ios::binary);
      const Data ciphertext{std::istreambuf_iterator<char>(file), {}};
      benchmark::DoNotOptimize(textbookCipher(false, ciphertext));
      if (fs::exists(path)) fs::remove(path);
    }
  }

 private:
  std::vector<std::string> list() const {
    std::vector<std::string> paths;
    for (const auto& entry : fs::directory_iterator(folder_))
      if (!fs::is_directory(entry.path())) paths.push_back(entry.path().string());
    return paths;
  }
  static void setAttributes(const fs::path& path) {
    const std::string_view protection = "NSFileProtectionCompleteUntilFirstUserAuthentication";
    orAbort(setxattr(path.c_str(), "user.kelm.nobackup", "1", 1, 0) == 0);
    orAbort(setxattr(path.c_str(), "user.kelm.protection", protection.data(), protection.size(),
                     0) == 0);
  }

  const fs::path folder_;
  const Data& payload_;
  std::int64_t time_ = 1800000000000;
};

double seconds(SteadyClock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

/// One save at a time into a folder that holds 200 files before each.
template <class Maker>
void saving(benchmark::State& state, std::size_t payloadBytes, Maker make) {
  Folder folder(payloadBytes);
  folder.fill();
  auto saver = make(folder);
  for (auto _ : state) {
    const auto start = SteadyClock::now();
    saver->save();
    state.SetIterationTime(seconds(SteadyClock::now() - start));
    folder.removeNewest();
  }
}

/// 200 payloads a run; they are put there outside of what is measured.
template <class Maker>
void processing(benchmark::State& state, std::size_t payloadBytes, Maker make) {
  Folder folder(payloadBytes);
  auto processor = make(folder);
  for (auto _ : state) {
    folder.fill();
    const auto start = SteadyClock::now();
    processor->process();
    state.SetIterationTime(seconds(SteadyClock::now() - start));
    orAbort(fs::is_empty(folder.path()));
  }
}

const auto makeKelm = [](Folder& f) { return std::make_unique<KelmQueue>(f, true); };
const auto makeKelmUnsynced = [](Folder& f) { return std::make_unique<KelmQueue>(f, false); };
const auto makeBare = [](Folder& f) { return std::make_unique<BareCalls>(f); };
const auto makeTextbook = [](Folder& f) { return std::make_unique<Textbook>(f); };

void durableKelm(benchmark::State& state) { saving(state, kPayloadBytes, makeKelm); }
void durablePeer(benchmark::State& state) { saving(state, kPayloadBytes, makeBare); }
void unsyncedKelm(benchmark::State& state) { saving(state, kPayloadBytes, makeKelmUnsynced); }
void unsyncedPeer(benchmark::State& state) { saving(state, kPayloadBytes, makeTextbook); }
void processKelm(benchmark::State& state) { processing(state, kPayloadBytes, makeKelm); }
void processPeer(benchmark::State& state) { processing(state, kPayloadBytes, makeTextbook); }
void saveOfSize(benchmark::State& state) {
  saving(state, static_cast<std::size_t>(state.range(0)), makeKelm);
}
void unsyncedSaveOfSize(benchmark::State& state) {
  saving(state, static_cast<std::size_t>(state.range(0)), makeKelmUnsynced);
}
void processOfSize(benchmark::State& state) {
  processing(state, static_cast<std::size_t>(state.range(0)), makeKelm);
}

BENCHMARK(durableKelm)->Name("queue_save_durable/kelm")->UseManualTime();
BENCHMARK(durablePeer)->Name("queue_save_durable/peer")->UseManualTime();
BENCHMARK(unsyncedKelm)->Name("queue_save_unsynced/kelm")->UseManualTime();
BENCHMARK(unsyncedPeer)->Name("queue_save_unsynced/peer")->UseManualTime();
BENCHMARK(processKelm)->Name("queue_process_200/kelm")->UseManualTime();
BENCHMARK(processPeer)->Name("queue_process_200/peer")->UseManualTime();
BENCHMARK(saveOfSize)
    ->Name("curve/queue_save_durable")
    ->UseManualTime()
    ->Arg(100)
    ->Arg(1024)
    ->Arg(10240)
    ->Arg(102400);
BENCHMARK(unsyncedSaveOfSize)
    ->Name("curve/queue_save_unsynced")
    ->UseManualTime()
    ->Arg(100)
    ->Arg(1024)
    ->Arg(10240)
    ->Arg(102400);
BENCHMARK(processOfSize)
    ->Name("curve/queue_process_200")
    ->UseManualTime()
    ->Arg(100)
    ->Arg(1024)
    ->Arg(10240)
    ->Arg(102400);

}  // namespace
