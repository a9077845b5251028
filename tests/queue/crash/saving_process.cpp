#include "tests/queue/crash/saving_process.h"

#include <algorithm>
#include <cstring>

#include "kelm/platform/linux/files/services.h"
#include "tests/support/canary.h"

namespace kelm::testing {

SavingProcess::SavingProcess(const std::string& folder)
    : folder_(folder),
      files_(platform::FileSystem::makeSystem()),
      attributes_(platform::FileAttributes::makeSystem()) {
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
  log_.clear();
  queue_.savePayload_withQueueID(payloadOf(number), "q");
  for (const std::string& line : log_.lines())
    if (line == "ERROR Cant save file" || line.find("Dropping") != line.npos) return false;
  return VaspFileHandler().existsFullPath(folder_ + '/' + nameOf(number));
}

}  // namespace kelm::testing
