#pragma once

#include <string>

#include "kelm/base/data.h"
#include "kelm/storage/vasp_secure_file_handler.h"

// Payload files of a queue, which several processes may share.
namespace kelm::payload_files {

inline constexpr std::size_t kMostPayloadBytes = 102400;
inline constexpr std::size_t kMostQuarantined = 200;

enum class Stored { Kept, NameTaken, Failed };
/// Encrypts a payload into a new file, durable when it is kept. Never replaces a file, whoever
/// makes it at that moment. Failures are logged as those of the file handler.
Stored store(const VaspSecureFileHandler& files, DataView payload, const std::string& path);

struct Reading {
  enum class Kind {
    Opened,    ///< `payload` is what the file holds
    Refused,   ///< not readable now: it may be as good as ever
    Closed,    ///< was read, and does not open
    NoPayload  ///< gone, no file, or too large
  };
  Kind kind;
  Data payload;
};
Reading read(const VaspSecureFileHandler& files, const std::string& path);

/// Moves a file into a folder of at most `kMostQuarantined`, the oldest of which goes. False when
/// it is still where it was.
bool quarantine(const VaspSecureFileHandler& files, const std::string& path,
                const std::string& folder);

}  // namespace kelm::payload_files
