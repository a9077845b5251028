#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/linux/files/system_call.h"
#include "kelm/platform/linux/stream/services.h"

namespace kelm::platform {

/// The sending half of a TCP connection, and what makes the connection. But for the socket, all of
/// it is the main thread's.
class TcpStream : public Stream, public std::enable_shared_from_this<TcpStream> {
 public:
  TcpStream(std::string host, std::uint16_t port, std::shared_ptr<Queue> resolving,
            Resolve resolve);

  void setDelegate(Delegate delegate) override { delegate_ = std::move(delegate); }
  void open() override;
  void close() override KELM_EXCLUDES(mutex_);
  bool hasSpaceAvailable() const override KELM_EXCLUDES(mutex_);
  std::ptrdiff_t write(std::span<const DataView> pieces) override KELM_EXCLUDES(mutex_);

 private:
  /// A socket that is connecting. The watch goes before its descriptor.
  struct Attempt {
    Descriptor socket;
    std::unique_ptr<Timer> watch;
  };

  void begin(std::vector<SocketAddress> addresses);
  void tryNext();
  void tryNextLater();
  void attemptChanged(int socket);
  void adopt(Attempt& attempt) KELM_EXCLUDES(mutex_);
  void connectionChanged() KELM_EXCLUDES(mutex_);
  void tell(StreamEvent event);

  const std::string host_;
  const std::uint16_t port_;
  const std::shared_ptr<Queue> resolving_;
  const Resolve resolve_;
  Delegate delegate_;
  bool opened_ = false;
  bool ended_ = false;  ///< connected, failed or closed: attempts are over
  std::vector<SocketAddress> addresses_;
  std::size_t next_ = 0;
  std::vector<Attempt> attempts_;

  mutable Mutex mutex_;
  Descriptor socket_ KELM_GUARDED_BY(mutex_);
  std::unique_ptr<Timer> watch_;  ///< of the socket: goes before it
};

}  // namespace kelm::platform
