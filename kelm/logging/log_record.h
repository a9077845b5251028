#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kelm/logging/vasp_logger.h"

namespace kelm::logging {

class Fence;
struct RecordSlab;

/// The longest text that lies right behind its record; a longer one is a string of its own.
inline constexpr std::size_t kLongestInline = 4096;

/// One record on its way to the delegate.
struct LogRecord {
  std::atomic<LogRecord*> next{nullptr};
  RecordSlab* slab = nullptr;  ///< absent: allocated alone
  const char* source = nullptr;
  LogLevel level = 0;
  std::size_t size = 0;
  LogAspect aspect = 0;
  std::uint32_t thread = 0;
  std::shared_ptr<Fence> fence;  ///< present: no record, but somebody who waits for this point

  bool isLong() const { return size > kLongestInline; }
  std::string_view message() const;
};

/// A record of a text, which is copied. Records come from a slab of the calling thread's; one of a
/// long text, and one logged while its thread is being taken down, gets memory of its own.
LogRecord* makeRecord(std::string_view text);
/// The same; a long text is taken over.
LogRecord* makeRecordOf(std::string text);

/// Gives a record back. One thread at a time, not necessarily the one that made it; a slab whose
/// records have all come back is used again.
void releaseRecord(LogRecord* record);

}  // namespace kelm::logging
