#include "tests/queue/crash/saving_process.h"

#include <atomic>
#include <cstring>

#include "kelm/logging/vasp_logger.h"
#include "kelm/platform/linux/services.h"
#include "tests/support/canary.h"

namespace kelm::test {

/// Counts the records that say that a save failed.
class SavingProcess::Failures : public VaspLogDelegate {
 public:
  void logwithLevel_aspect_from_threadName_message(LogLevel, LogAspect, const char*,
                                                   std::string_view,
                                                   std::string_view message) override {
    for (const char* failure : {"Cant save file", "Dropping"})  // an error may come in pieces
      if (message.find(failure) != std::string_view::npos) ++count;
  }
  std::atomic<int> count{0};
};

SavingProcess::SavingProcess(const std::string& folder)
    : folder_(folder), failures_(std::make_shared<Failures>()) {
  platform::Platform platform = services_.platform();
  platform.fileSystem = platform::makeFileSystem();
  platform.fileAttributes = platform::makeFileAttributes();
  scope_.emplace(std::move(platform));
  VaspLogger::setLogDelegate(failures_);
  queue_.setQueueFilePath(folder);
  queue_.setFilesystemKey(bytesOf(kSecretKey));
  queue_.setFilesystemIV(bytesOf(kSecretIV));
  queue_.setProcessorHandler_withQueueID([](auto&&...) {}, "q");
}

Data SavingProcess::payloadOf(std::int64_t number) {
  Data payload(16 + static_cast<std::size_t>(number * 7919 % 3985));
  std::memcpy(payload.data(), &number, sizeof number);
  for (std::size_t i = sizeof number; i < payload.size(); ++i)
    payload[i] = static_cast<std::uint8_t>(static_cast<std::size_t>(number) * 31 + i * 7);
  return payload;
}

std::int64_t SavingProcess::numberOf(DataView payload) {
  std::int64_t number = -1;
  if (payload.size() < sizeof number) return -1;
  std::memcpy(&number, payload.data(), sizeof number);
  if (number < 0 || number > 1000000) return -1;
  const Data whole = payloadOf(number);
  return std::equal(payload.begin(), payload.end(), whole.begin(), whole.end()) ? number : -1;
}

std::string SavingProcess::nameOf(std::int64_t number) {
  return std::to_string(kStartMilliseconds + number * kStepMilliseconds) + "___q.dat";
}

bool SavingProcess::save(std::int64_t number) {
  services_.clock->setNow(
      Date{static_cast<double>(kStartMilliseconds + number * kStepMilliseconds) / 1000.0});
  const int before = failures_->count;
  queue_.savePayload_withQueueID(payloadOf(number), "q");
  VaspLogger::flush(std::chrono::minutes(1));
  return failures_->count == before &&
         VaspFileHandler().existsFullPath(folder_ + '/' + nameOf(number));
}

}  // namespace kelm::test
