#include "terminal/till.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "kelm/base/coding/json.h"
#include "kelm/base/format.h"
#include "kelm/base/wipe.h"
#include "kelm/crypto/vasp_crypto_utils.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/http/url_session.h"
#include "kelm/platform/items/item_store.h"
#include "kelm/platform/user_defaults.h"
#include "kelm/security/vasp_keychain_wrapper.h"
#include "kelm/storage/vasp_file_handler.h"
#include "terminal/entry.h"

namespace terminal {

namespace {

constexpr const char* kQueueId = "sales";
// One below the number from which the queue drops its oldest payload.
constexpr std::size_t kMostWaiting = 200;
constexpr std::uint32_t kKeyBytes = 16;
constexpr std::chrono::milliseconds kFirstPause{200};
constexpr std::chrono::milliseconds kLongestPause{2000};

// The queue keeps one payload a millisecond: wait for the next one.
void waitForNextMillisecond() {
  const auto millisecond = [] {
    return static_cast<std::int64_t>(
        kelm::platform::current<kelm::platform::Clock>()->now().secondsSince1970 * 1000);
  };
  const std::int64_t now = millisecond();
  while (millisecond() == now)
    std::this_thread::sleep_for(std::chrono::microseconds(100));
}

}  // namespace

Till::Till(Settings settings, Screen& screen)
    : settings_(std::move(settings)),
      screen_(screen),
      queueFolder_(settings_.dataFolder + "/queue") {}

bool Till::open() {
  if (!loadKey()) return false;
  kelm::platform::UrlSessionConfiguration configuration;
  configuration.connectTimeoutSeconds = 5;
  configuration.requestTimeoutSeconds = 10;
  courier_ = std::make_shared<Courier>(
      settings_.acquirerUrl,
      kelm::platform::current<kelm::platform::UrlSessions>()->make(configuration));
  kelm::KelmReliableQueue& queue = kelm::KelmReliableQueue::getInstance();
  queue.setQueueFilePath(queueFolder_);
  queue.setProcessorHandler_withQueueID(
      [courier = courier_](const kelm::Data& payload, const std::string&, std::int64_t,
                           kelm::ReliableQueueDone done) {
        courier->collect(payload, std::move(done));
      },
      kQueueId);
  return true;
}

bool Till::loadKey() {
  kelm::VaspKeychainWrapper keychain;
  keychain.setService("terminal");
  std::int32_t status = 0;
  std::optional<kelm::Data> secret = keychain.readWithKey_returnStatus(kQueueId, &status);
  if (status == kelm::item_status::kItemNotFound) {
    secret = kelm::VaspCryptoUtils::getRandom(2 * kKeyBytes);
    keychain.store_withKey_returnStatus(*secret, kQueueId, &status);
  }
  if (status != kelm::item_status::kSuccess || !secret || secret->size() != 2 * kKeyBytes) {
    screen_.warn(kelm::format("No key for the queue from %@: %@",
                              kelm::platform::current<kelm::platform::ItemStore>()->use().place,
                              kelm::VaspKeychainWrapper::osStatusToString(status)));
    return false;
  }
  kelm::KelmReliableQueue& queue = kelm::KelmReliableQueue::getInstance();
  const auto middle = secret->begin() + kKeyBytes;
  queue.setFilesystemKey(kelm::Data(secret->begin(), middle));
  queue.setFilesystemIV(kelm::Data(middle, secret->end()));
  kelm::wipe(*secret);
  return true;
}

std::size_t Till::waiting() const {
  kelm::VaspFileHandler files;
  if (!files.existsFullPath(queueFolder_)) return 0;
  return files.listFilesInHandlerFullPath(queueFolder_).size();
}

bool Till::full() const { return waiting() >= kMostWaiting; }

bool Till::holds(std::string_view line) const {
  const auto parsed = parseEntry(line, settings_.locale);
  const auto* sale = std::get_if<Sale>(&parsed);
  if (sale == nullptr || waiting() == 0) return false;
  const auto files = kelm::KelmReliableQueue::getInstance().getFileHandler();
  return std::ranges::any_of(
      files->listFilesInHandlerFullPath(queueFolder_), [&](const auto& path) {
        return files->readNSStringWithFullpath(path) == kelm::writeJson(dictionaryOf(*sale));
      });
}

bool Till::take(const Sale& sale) {
  const std::size_t before = waiting();
  if (before >= kMostWaiting) return false;
  const auto payload = kelm::writeJson(dictionaryOf(sale));
  if (!payload) return false;
  waitForNextMillisecond();
  kelm::KelmReliableQueue::getInstance().savePayload_withQueueID(kelm::bytesOf(*payload), kQueueId);
  return waiting() == before + 1;  // the queue itself does not tell
}

bool Till::deliver(std::chrono::milliseconds patience) {
  kelm::platform::MainLoop& loop =
      kelm::platform::current<kelm::platform::Dispatcher>()->mainLoop();
  kelm::KelmReliableQueue& queue = kelm::KelmReliableQueue::getInstance();
  const std::size_t total = waiting();
  std::size_t done = 0;
  std::chrono::milliseconds waited{0};
  std::chrono::milliseconds pause = kFirstPause;
  while (waiting() > 0) {
    bool ended = false;
    std::optional<std::string> problem;
    queue.processQueueWithID(kQueueId);
    courier_->send(
        [&] {
          screen_.progress("delivering", ++done, total);
          waited = std::chrono::milliseconds{0};
          pause = kFirstPause;
        },
        [&](std::optional<std::string> reason) {
          problem = std::move(reason);
          ended = true;
        });
    while (!ended)
      loop.runUntil([&] { return ended; }, std::chrono::hours(1));
    if (!problem) continue;
    if (waited >= patience) {
      screen_.warn(kelm::format("Not delivered (%@): %@ sales wait.", *problem, waiting()));
      return false;
    }
    screen_.warn(kelm::format("%@; trying again in %@ ms", *problem, pause.count()));
    loop.runUntil([] { return false; }, pause);
    waited += pause;
    pause = std::min(2 * pause, kLongestPause);
  }
  return true;
}

std::size_t Till::linesTaken(const std::string& file) const {
  const auto& defaults = *kelm::platform::current<kelm::platform::UserDefaults>();
  return static_cast<std::size_t>(std::max<std::int64_t>(0, defaults.integer("taken:" + file)));
}

bool Till::setLinesTaken(const std::string& file, std::size_t lines) {
  return !kelm::platform::current<kelm::platform::UserDefaults>()->setObject("taken:" + file,
                                                                             lines);
}

}  // namespace terminal
