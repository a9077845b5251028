#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "kelm/logging/vasp_logger.h"

namespace kelm::logging {

class Fence;
struct RecordSlab;

/// One record on its way to the delegate; its text lies right behind it.
struct LogRecord {
  std::atomic<LogRecord*> next{nullptr};
  RecordSlab* slab = nullptr;  ///< absent: allocated alone
  const char* source = nullptr;
  LogLevel level = 0;
  std::size_t size = 0;
  LogAspect aspect = 0;
  std::uint32_t thread = 0;
  std::shared_ptr<Fence> fence;  ///< present: no record, but somebody who waits for this point

  char* text() { return reinterpret_cast<char*>(this + 1); }
  std::string_view message() const { return {reinterpret_cast<const char*>(this + 1), size}; }
};

/// A record with room for `size` bytes of text. Records come from a slab of the calling thread's;
/// a long text, and one logged while its thread is being taken down, gets memory of its own.
LogRecord* makeRecord(std::size_t size);

/// Gives a record back. One thread at a time, not necessarily the one that made it; a slab whose
/// records have all come back is used again.
void releaseRecord(LogRecord* record);

}  // namespace kelm::logging
