// Connections of the system, to peers on the loopback interface.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "kelm/platform/dispatch.h"
#include "kelm/platform/linux/stream/services.h"

namespace kelm::testing {
namespace {

using platform::SocketAddress;
using platform::StreamEvent;
using ::testing::ElementsAre;

SocketAddress loopback(int family, std::uint16_t port) {
  SocketAddress result;
  if (family == AF_INET6) {
    const sockaddr_in6 address{AF_INET6, htons(port), 0, IN6ADDR_LOOPBACK_INIT, 0};
    result.size = sizeof address;
    std::memcpy(&result.storage, &address, sizeof address);
  } else {
    const sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    result.size = sizeof address;
    std::memcpy(&result.storage, &address, sizeof address);
  }
  return result;
}

struct StreamTest : ::testing::Test {
  platform::ScopedService<platform::Dispatcher> dispatcher{platform::Dispatcher::makeSystem()};
  int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::uint16_t port = 0;
  std::vector<StreamEvent> events;
  platform::StreamPair pair;

  StreamTest() {
    const SocketAddress any = loopback(AF_INET, 0);
    ::bind(listener, reinterpret_cast<const sockaddr*>(&any.storage), any.size);
    ::listen(listener, 5);
    sockaddr_in bound{};
    socklen_t size = sizeof bound;
    ::getsockname(listener, reinterpret_cast<sockaddr*>(&bound), &size);
    port = ntohs(bound.sin_port);
  }
  ~StreamTest() override { ::close(listener); }

  void open(std::vector<SocketAddress> addresses) {
    pair = platform::makeStreams([=](auto&&...) { return addresses; })->connect("name", 1);
    pair.output->setDelegate([this](auto&, StreamEvent event) { events.push_back(event); });
    pair.output->open();
  }
  bool awaitEvents(std::size_t count) {
    return platform::current<platform::Dispatcher>()->mainLoop().runUntil(
        [&] { return events.size() >= count; }, std::chrono::seconds(60));
  }
  std::ptrdiff_t write(std::string_view text) const {
    const DataView bytes = bytesOf(text);
    return pair.output->write({&bytes, 1});
  }
};

TEST_F(StreamTest, NameOfTwoFamiliesIsReachedAtTheAddressThatAnswers) {
  open({loopback(AF_INET6, port), loopback(AF_INET, port)});
  EXPECT_EQ(write("early"), -1);
  ASSERT_TRUE(awaitEvents(1));
  EXPECT_THAT(events, ElementsAre(StreamEvent::OpenCompleted));
  const int peer = ::accept(listener, nullptr, nullptr);
  EXPECT_EQ(write("hello"), 5);
  char received[8];
  EXPECT_EQ(::recv(peer, received, 5, MSG_WAITALL), 5);
  ::close(peer);
  ASSERT_TRUE(awaitEvents(2));
  EXPECT_EQ(events.back(), StreamEvent::EndEncountered);
}

TEST_F(StreamTest, PeerThatNeverReadsTakesWhatFitsAndNobodyWaits) {
  open({loopback(AF_INET, port)});
  ASSERT_TRUE(awaitEvents(1));
  const std::string megabyte(1U << 20, 'x');
  int writes = 0;
  while (pair.output->hasSpaceAvailable() && writes < 1000) {
    ASSERT_GE(write(megabyte), 0);
    ++writes;
  }
  EXPECT_LT(writes, 1000);
}

TEST_F(StreamTest, ResetIsAnErrorAndWritingThenFailsWithoutASignal) {
  open({loopback(AF_INET, port)});
  ASSERT_TRUE(awaitEvents(1));
  const int peer = ::accept(listener, nullptr, nullptr);
  const linger hard{1, 0};
  ::setsockopt(peer, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
  ::close(peer);
  ASSERT_TRUE(awaitEvents(2));
  EXPECT_EQ(events.back(), StreamEvent::ErrorOccurred);
  static_cast<void>(write("first"));
  EXPECT_EQ(write("second"), -1);
}

TEST_F(StreamTest, RefusedAndUnknownNamesErrOnce) {
  ::close(listener);
  listener = -1;
  for (const auto& addresses :
       {std::vector<SocketAddress>(), {loopback(AF_INET6, port), loopback(AF_INET, port)}}) {
    events.clear();
    open(addresses);
    ASSERT_TRUE(awaitEvents(1));
    EXPECT_THAT(events, ElementsAre(StreamEvent::ErrorOccurred));
  }
}

}  // namespace
}  // namespace kelm::testing
