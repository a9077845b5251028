#include "kelm/platform/linux/stream/tcp_stream.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <utility>

namespace kelm::platform {

namespace {

constexpr auto kAnswerLimit = std::chrono::milliseconds(250);
constexpr std::size_t kMostPieces = 1024;

MainLoop& mainLoop() { return current<Dispatcher>()->mainLoop(); }

short readiness(int socket, short wanted) {
  pollfd entry{socket, wanted, 0};
  return retried([&] { return ::poll(&entry, 1, 0); }) > 0 ? entry.revents : short{0};
}

}  // namespace

TcpStream::TcpStream(std::string host, std::uint16_t port, std::shared_ptr<Queue> resolving,
                     Resolve resolve)
    : host_(std::move(host)),
      port_(port),
      resolving_(std::move(resolving)),
      resolve_(std::move(resolve)) {}

void TcpStream::open() {
  if (std::exchange(opened_, true)) return;
  resolving_->post([weak = weak_from_this(), host = host_, port = port_, resolve = resolve_] {
    if (weak.expired()) return;  // given up while an earlier name was looked up
    mainLoop().post([weak, addresses = resolve(host, port)]() mutable {
      if (const auto self = weak.lock()) self->begin(std::move(addresses));
    });
  });
}

void TcpStream::close() {
  ended_ = true;
  delegate_ = nullptr;
  attempts_.clear();
  watch_.reset();
  const Lock lock(mutex_);
  socket_ = Descriptor();
}

void TcpStream::begin(std::vector<SocketAddress> addresses) {
  if (ended_) return;
  addresses_ = std::move(addresses);
  tryNext();
}

/// Starts with the next address that a connection can be begun to; errs when none is left and none
/// is being tried.
void TcpStream::tryNext() {
  while (!ended_ && next_ < addresses_.size()) {
    const SocketAddress& address = addresses_[next_++];
    Attempt attempt;
    attempt.socket = Descriptor(
        ::socket(address.storage.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const int socket = attempt.socket.number();
    if (!attempt.socket.isOpen()) continue;
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address.storage), address.size) != 0 &&
        errno != EINPROGRESS)
      continue;
    attempt.watch =
        mainLoop().watch(socket, Readiness::Writable, [weak = weak_from_this(), socket] {
          if (const auto self = weak.lock()) self->attemptChanged(socket);
        });
    attempts_.push_back(std::move(attempt));
    return tryNextLater();
  }
  if (!ended_ && attempts_.empty()) {
    ended_ = true;
    tell(StreamEvent::ErrorOccurred);
  }
}

void TcpStream::tryNextLater() {
  if (next_ == addresses_.size()) return;
  mainLoop().postAfter(kAnswerLimit, [weak = weak_from_this(), next = next_] {
    const auto self = weak.lock();
    if (self && self->next_ == next) self->tryNext();
  });
}

void TcpStream::attemptChanged(int socket) {
  const auto attempt =
      std::ranges::find(attempts_, socket, [](const Attempt& one) { return one.socket.number(); });
  if (attempt == attempts_.end()) return;
  int error = 0;
  socklen_t size = sizeof error;
  if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0) {
    if ((readiness(socket, POLLOUT) & POLLOUT) != 0) adopt(*attempt);
    return;
  }
  attempts_.erase(attempt);
  tryNext();
}

void TcpStream::adopt(Attempt& attempt) {
  const int socket = attempt.socket.number();
  attempt.watch.reset();
  {
    const Lock lock(mutex_);
    socket_ = std::move(attempt.socket);
  }
  attempts_.clear();
  ended_ = true;
  watch_ = mainLoop().watch(socket, Readiness::PeerClosed, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->connectionChanged();
  });
  tell(StreamEvent::OpenCompleted);
}

void TcpStream::connectionChanged() {
  short now = 0;
  {
    const Lock lock(mutex_);
    if (!socket_.isOpen()) return;
    now = readiness(socket_.number(), POLLRDHUP);
  }
  if ((now & (POLLERR | POLLHUP | POLLRDHUP)) == 0) return;
  watch_.reset();
  tell((now & POLLERR) != 0 ? StreamEvent::ErrorOccurred : StreamEvent::EndEncountered);
}

void TcpStream::tell(StreamEvent event) {
  const auto self = shared_from_this();  // the delegate may drop this stream
  if (const Delegate delegate = delegate_) delegate(*this, event);
}

bool TcpStream::hasSpaceAvailable() const {
  const Lock lock(mutex_);
  return socket_.isOpen() && readiness(socket_.number(), POLLOUT) == POLLOUT;
}

std::ptrdiff_t TcpStream::write(std::span<const DataView> pieces) {
  std::array<iovec, kMostPieces> parts;
  const std::size_t count = std::min(pieces.size(), parts.size());
  for (std::size_t i = 0; i < count; ++i)
    parts[i] = {const_cast<std::uint8_t*>(pieces[i].data()), pieces[i].size()};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = count;
  const Lock lock(mutex_);
  if (!socket_.isOpen()) return -1;
  const ssize_t taken =
      retried([&] { return ::sendmsg(socket_.number(), &message, MSG_NOSIGNAL | MSG_DONTWAIT); });
  return taken < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) ? 0 : taken;
}

}  // namespace kelm::platform
