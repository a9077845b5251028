#include "kelm/platform/linux/stream/tcp_stream.h"

namespace kelm::platform {

namespace {

/// The receiving half: nothing is read from it, so that it only keeps its connection.
class UnreadStream : public Stream {
 public:
  explicit UnreadStream(std::shared_ptr<Stream> connection) : connection_(std::move(connection)) {}
  void setDelegate(Delegate) override {}
  void open() override {}
  void close() override { connection_.reset(); }
  bool hasSpaceAvailable() const override { return false; }
  std::ptrdiff_t write(std::span<const DataView>) override { return -1; }

 private:
  std::shared_ptr<Stream> connection_;
};

class LinuxStreams : public Streams {
 public:
  explicit LinuxStreams(Resolve resolve) : resolve_(std::move(resolve)) {}

  /// One thread looks names up, however often somebody tries again while a resolver hangs.
  StreamPair connect(std::string host, std::uint16_t port) override {
    const Lock lock(mutex_);
    if (!resolving_) resolving_ = current<Dispatcher>()->makeSerialQueue("kelm.resolver");
    auto output = std::make_shared<TcpStream>(std::move(host), port, resolving_, resolve_);
    return {std::make_shared<UnreadStream>(output), output};
  }

 private:
  const Resolve resolve_;
  Mutex mutex_;
  std::shared_ptr<Queue> resolving_ KELM_GUARDED_BY(mutex_);
};

}  // namespace

std::shared_ptr<Streams> Streams::makeSystem() { return makeStreams(resolve); }

std::shared_ptr<Streams> makeStreams(Resolve resolve) {
  return std::make_shared<LinuxStreams>(std::move(resolve));
}

}  // namespace kelm::platform
