#include "kelm/queue/payload_files.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "kelm/base/error.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/platform/file_system.h"

namespace kelm::payload_files {

namespace {

constexpr LogAspect kFile = log_aspect::kFrontend | log_aspect::kFile;
// A block of padding at most.
constexpr std::uint64_t kMostFileBytes = kMostPayloadBytes + 16;

platform::FileSystem& fileSystem() { return *platform::current<platform::FileSystem>(); }

// True when reading again cannot go better. Anything else may pass: no descriptor or memory left, a
// device or a right that is missing for a moment.
bool isFinal(std::int64_t code) {
  constexpr std::int64_t kFinal[] = {ENOENT, ENOTDIR, EISDIR,       ELOOP,
                                     EINVAL, EFBIG,   ENAMETOOLONG, ENXIO};
  return std::ranges::find(kFinal, code) != std::end(kFinal);
}

}  // namespace

Stored store(const VaspSecureFileHandler& files, DataView payload, const std::string& path) {
  std::optional<Data> ciphertext;
  try {
    ciphertext = files.encryptNSData(payload);
  } catch (const Exception&) {  // what the handler raises without a key is a failed store
  }
  if (!ciphertext) return Stored::Failed;
  const Failure failure = fileSystem().createFile(path, *ciphertext);
  if (failure && failure->code == EEXIST) return Stored::NameTaken;
  if (!failure && files.setGlobalAttributesToFullpath(path)) return Stored::Kept;
  VaspLogger::logwithLevel_aspect_from_message(log_level::kError, kFile,
                                               "-[VaspFileHandler storeNSData_:toPath:]",
                                               "Error storing data : %@ in %@", failure, path);
  return Stored::Failed;
}

Reading read(const VaspSecureFileHandler& files, const std::string& path) {
  const auto content = fileSystem().readFile(path, kMostFileBytes);
  if (!content) {
    VaspLogger::logwithLevel_aspect_from_message(log_level::kWarn, kFile,
                                                 "-[VaspFileHandler readNSDataFromPath_:]",
                                                 "Error reading data : %@", content.error());
    return {isFinal(content.error().code) ? Reading::Kind::NoPayload : Reading::Kind::Refused, {}};
  }
  try {
    std::optional<Data> payload = files.decryptNSData(*content);
    if (!payload) return {Reading::Kind::Closed, {}};
    const bool fits = !payload->empty() && payload->size() <= kMostPayloadBytes;
    return {fits ? Reading::Kind::Opened : Reading::Kind::NoPayload, *std::move(payload)};
  } catch (const Exception&) {
    return {Reading::Kind::Refused, {}};  // no key: the payload is as good as before
  }
}

bool quarantine(const VaspSecureFileHandler& files, const std::string& path,
                const std::string& folder) {
  files.ensureFullPathExists_andClearFiles(folder, false);
  std::vector<std::string> kept = files.listFilesInHandlerFullPath(folder);
  std::ranges::sort(kept);
  const std::string name = path.substr(path.rfind('/') + 1);
  const std::string place = folder + '/' + name;
  const auto twin = std::ranges::find(kept, place);
  if (twin != kept.end())
    files.removeFileWithFullPath(place);
  else if (kept.size() >= kMostQuarantined)
    files.removeFileWithFullPath(kept.front());
  else
    kept.push_back(place);
  const Failure failure = fileSystem().move(path, place);
  const bool isMoved = !failure || failure->code == ENOENT;
  const std::string outcome = isMoved ? "is kept in quarantine" : "stays, quarantine failed";
  VaspLogger::logwithLevel_aspect_from_message(log_level::kWarn, kFile,
                                               "-[KelmReliableQueue processQueueWithID:]",
                                               "Payload file %@ does not open and %@ (%@ of %@)",
                                               name, outcome, kept.size(), kMostQuarantined);
  return isMoved;
}

}  // namespace kelm::payload_files
