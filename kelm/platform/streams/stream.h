#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/platform/service.h"

namespace kelm::platform {

/// Events of a stream; the numbers are part of the interface of those that handle them.
enum class StreamEvent {
  None = 0,
  OpenCompleted = 1,
  HasBytesAvailable = 2,
  HasSpaceAvailable = 4,
  ErrorOccurred = 8,
  EndEncountered = 16,
};

/// One half of a connection. Its delegate is called on the main loop. Nothing of it waits: bytes go
/// as far as the system takes them at once. Destroying both halves ends the connection.
/// `setDelegate`, `open` and `close` belong on the main thread, the rest may be called from any.
class KELM_API Stream {
 public:
  using Delegate = std::function<void(Stream& stream, StreamEvent event)>;

  virtual ~Stream() = default;
  /// Empty: events are dropped.
  virtual void setDelegate(Delegate delegate) = 0;
  /// Begins to connect, once; the outcome is an event.
  virtual void open() = 0;
  /// No event comes any more.
  virtual void close() = 0;
  /// True when a write would take at least one byte; false before it is open and after an error.
  virtual bool hasSpaceAvailable() const = 0;
  /// Writes the pieces one after the other. How many bytes were taken, 0 when there is no space;
  /// -1 when the stream is not open, or broken. Never raises SIGPIPE.
  virtual std::ptrdiff_t write(std::span<const DataView> pieces) = 0;
};

/// The two halves of one connection.
struct StreamPair {
  std::shared_ptr<Stream> input;
  std::shared_ptr<Stream> output;
};

/// Makes TCP connections. Thread-safe.
class KELM_API Streams {
 public:
  virtual ~Streams() = default;
  /// Holds the one in use; `current<Streams>()` returns it.
  static Slot<Streams>& slot();
  /// Makes the system's own.
  static std::shared_ptr<Streams> makeSystem();
  /// A pair that nothing has been done for yet. Opening its output looks the name up, off the main
  /// loop, and tries the addresses in the system's order, the next one when one fails or has not
  /// answered within 250 ms (RFC 8305). It completes, or errs, once.
  virtual StreamPair connect(std::string host, std::uint16_t port) = 0;
};

}  // namespace kelm::platform
