// Servers that fail, time that runs out, exchanges that are cancelled.

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include "kelm/testing/servers/raw_server.h"
#include "tests/platform/url_session_world.h"

namespace kelm::testing {
namespace {

using platform::UrlRequest;
using platform::UrlSessionConfiguration;
namespace url_error = platform::url_error;

constexpr const char* kOk = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";

RawServer::Script answering(std::string bytes) {
  return [bytes](RawServer::Connection& connection) {
    connection.readRequest();
    connection.send(bytes);
  };
}

std::string manyHeaders(std::size_t count) {
  std::string head = "HTTP/1.1 200 OK\r\n";
  for (std::size_t i = 0; i < count; ++i)
    head += "A" + std::to_string(i) + ": b\r\n";
  return head + "Content-Length: 0\r\n\r\n";
}

class UrlSessionFaults : public UrlSessionTest {};

TEST_F(UrlSessionFaults, BrokenAnswersBecomeErrorsThatTellWhatCame) {
  const struct {
    const char* what;
    RawServer::Script act;
    std::int64_t code;
    int status;
  } table[] = {
      {"closes at once", [](auto&) {}, url_error::kConnectionLost, 0},
      {"half a chunk", answering("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n9\r\nhalf"),
       url_error::kConnectionLost, 200},
      {"garbage", answering("garbage\r\n\r\n"), url_error::kBadServerResponse, 0},
      {"negative length", answering("HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\n"),
       url_error::kBadServerResponse, 200},
      {"too many headers", answering(manyHeaders(2000)), url_error::kBadServerResponse, 200},
      {"two lengths",
       answering("HTTP/1.1 200 OK\r\nContent-Length: 2\r\nContent-Length: 3\r\n\r\nok"),
       url_error::kBadServerResponse, 200},
      {"a length beyond 64 bits",
       answering("HTTP/1.1 200 OK\r\nContent-Length: 18446744073709551617\r\n\r\nok"),
       url_error::kBadServerResponse, 200},
      {"a head without end",
       answering("HTTP/1.1 200 OK\r\nA: " + std::string(2 << 20, 'a') + "\r\n\r\n"),
       url_error::kBadServerResponse, 200},
  };
  for (const auto& fault : table) {
    SCOPED_TRACE(fault.what);
    const RawServer server(fault.act);
    const auto outcome = get(server.url());
    EXPECT_EQ(outcome.code(), fault.code);
    EXPECT_EQ(outcome.status(), fault.status);
    EXPECT_TRUE(outcome.body.empty());
  }
}

TEST_F(UrlSessionFaults, InterimAnswerLeavesNothingBehind) {
  const RawServer server(
      answering("HTTP/1.1 100 Continue\r\nA: 1\r\n\r\nHTTP/1.1 200 OK\r\n\r\nend"));
  const auto outcome = get(server.url());
  EXPECT_EQ(outcome.text(), "end");
  EXPECT_FALSE(outcome.response->headers.contains("A"));
}

TEST_F(UrlSessionFaults, FoldedLinesAreJoinedAndTrailersAreNoHeaders) {
  const RawServer server(
      answering("HTTP/1.1 200 OK\r\nA: 1\r\n  Set-Cookie: folded=1\r\nHTTP/evil: b\r\n"
                "Content-Length: 2, 2\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nok\r\n0\r\n"
                "HTTP/1.1 500: x\r\nSet-Cookie: trailing=1\r\n\r\n"));
  UrlSessionConfiguration configuration;
  configuration.cookies = sessions->makeCookieStorage();
  const auto outcome = perform(*makeSession(configuration), requestTo(server.url()));
  EXPECT_EQ(outcome.text(), "ok");
  EXPECT_EQ(outcome.status(), 200);
  EXPECT_EQ(outcome.response->headers, (Dictionary{{"A", "1 Set-Cookie: folded=1"},
                                                   {"HTTP/evil", "b"},
                                                   {"Content-Length", "2, 2"},
                                                   {"Transfer-Encoding", "chunked"}}));
  EXPECT_TRUE(configuration.cookies->cookiesFor(server.url()).empty());
}

TEST_F(UrlSessionFaults, BodyAboveTheLimitEndsTheExchange) {
  for (const bool hasLength : {true, false}) {
    const RawServer server(answering("HTTP/1.1 200 OK\r\n" +
                                     std::string(hasLength ? "Content-Length: 5\r\n" : "") +
                                     "\r\n12345"));
    UrlSessionConfiguration configuration;
    configuration.maxBodyBytes = 5;
    EXPECT_EQ(perform(*makeSession(configuration), requestTo(server.url())).text(), "12345");
    configuration.maxBodyBytes = 4;
    EXPECT_EQ(perform(*makeSession(configuration), requestTo(server.url())).code(),
              url_error::kDataLengthExceedsMaximum);
  }
}

TEST_F(UrlSessionFaults, ResetOfAKeptConnectionIsInvisibleToWhatMayBeRepeated) {
  std::atomic<int> connections{0};
  const RawServer server([&](RawServer::Connection& connection) {
    ++connections;
    connection.readRequest();
    connection.send(kOk);
    connection.readRequest();
    connection.reset();
  });
  const auto session = makeSession();
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(perform(*session, requestTo(server.url())).text(), "ok") << i;
  EXPECT_EQ(connections, 20);
}

TEST_F(UrlSessionFaults, UnreachableServersAreToldApart) {
  const std::string gone = RawServer([](auto&) {}).url();
  EXPECT_EQ(get(gone).code(), url_error::kCannotConnectToHost);
  EXPECT_EQ(get("http://does-not-exist.invalid/").code(), url_error::kCannotFindHost);
  EXPECT_EQ(get("http://127.0.0.1:99999/").code(), url_error::kBadUrl);
  const RawServer plain([](RawServer::Connection& connection) {
    connection.send("HTTP/1.1 400 Bad Request\r\n\r\n");
    connection.waitForClose();
  });
  EXPECT_EQ(get(plain.url("/", "https")).code(), url_error::kSecureConnectionFailed);
}

TEST_F(UrlSessionFaults, KeptConnectionThatDiesRepeatsOnlyWhatMayBeRepeated) {
  for (const std::string method : {"GET", "PUT", "POST", "PATCH"}) {
    std::atomic<int> seen{0};
    const RawServer server([&](RawServer::Connection& connection) {
      if (!connection.readRequest().empty()) ++seen;
      connection.send(kOk);
      if (!connection.readRequest().empty()) ++seen;  // ends without an answer
    });
    const auto session = makeSession();
    EXPECT_EQ(perform(*session, requestTo(server.url(), method)).text(), "ok");
    UrlRequest request = requestTo(server.url(), method);
    if (method != "GET") request.body = dataOf("pay 10");
    const auto outcome = perform(*session, request);
    const bool repeats = method == "GET" || method == "PUT";
    EXPECT_EQ(outcome.code(), repeats ? 0 : url_error::kConnectionLost) << method;
    EXPECT_EQ(seen, repeats ? 3 : 2) << method;
  }
}

TEST_F(UrlSessionFaults, SilenceEndsTheExchange) {
  const RawServer silent([](RawServer::Connection& c) { c.waitForClose(); });
  const RawServer stalled([](RawServer::Connection& c) {
    c.readRequest();
    c.send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf");
    c.waitForClose();
  });
  UrlSessionConfiguration idle;
  idle.requestTimeoutSeconds = 0.05;
  for (const RawServer* server : {&silent, &stalled}) {
    const auto outcome = perform(*makeSession(idle), requestTo(server->url()));
    EXPECT_EQ(outcome.code(), url_error::kTimedOut);
    EXPECT_EQ(outcome.status(), server == &silent ? 0 : 200);
  }
  UrlSessionConfiguration connecting;
  connecting.connectTimeoutSeconds = 0.05;
  EXPECT_EQ(perform(*makeSession(connecting), requestTo(silent.url("/", "https"))).code(),
            url_error::kTimedOut)
      << "the secure connection is part of connecting";
}

TEST_F(UrlSessionFaults, CancelInFlightEndsItAndClosesTheConnection) {
  std::latch arrived(1), closed(1);
  const RawServer server([&](RawServer::Connection& connection) {
    connection.readRequest();
    connection.send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf");
    arrived.count_down();
    connection.waitForClose();
    closed.count_down();
  });
  const auto session = makeSession();
  const UrlReceiver receiver;
  const auto task = session->makeDataTask(requestTo(server.url()), receiver.completion());
  task->resume();
  arrived.wait();
  task->cancel();
  EXPECT_EQ(receiver.await().code(), url_error::kCancelled);
  closed.wait();
}

TEST_F(UrlSessionFaults, WaitingForAConnectionIsNeitherSilenceNorConnecting) {
  std::latch release(1);
  std::atomic<int> served{0};
  const RawServer server([&](RawServer::Connection& connection) {
    while (!connection.readRequest().empty()) {
      if (served++ == 0) release.wait();
      connection.send(kOk);
    }
  });
  UrlSessionConfiguration configuration;
  configuration.maxConnectionsPerHost = 1;
  configuration.connectTimeoutSeconds = 0.1;
  const auto session = makeSession(configuration);
  const UrlReceiver first = start(*session, requestTo(server.url()));
  const UrlReceiver waiting = start(*session, requestTo(server.url()));
  UrlRequest limited = requestTo(server.url());
  limited.timeoutSeconds = 0.3;
  EXPECT_EQ(perform(*session, limited).code(), url_error::kTimedOut) << "the whole exchange is";
  release.count_down();
  EXPECT_EQ(first.await().text(), "ok");
  EXPECT_EQ(waiting.await().text(), "ok");
  EXPECT_EQ(served, 2) << "the one that timed out was never sent";
  EXPECT_EQ(perform(*session, requestTo(server.url())).text(), "ok") << "its place is free again";
}

TEST_F(UrlSessionFaults, ThreadsMayStartCancelAndDropAsTheyLike) {
  const HttpServer server;
  UrlSessionConfiguration configuration;
  configuration.cookies = sessions->makeCookieStorage();
  const auto shared = makeSession(configuration, std::make_shared<RecordingUrlDelegate>());
  std::atomic<int> answered{0}, cancelled{0};
  std::vector<std::jthread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&, t] {
      std::vector<UrlReceiver> receivers;
      for (int i = 0; i < 25; ++i) {
        UrlRequest request = requestTo(server.url(), "POST");
        request.body = Data(static_cast<std::size_t>(i) * 100, 'x');
        const auto task = (i % 5 == 0 ? makeSession() : shared)
                              ->makeDataTask(request, receivers.emplace_back().completion());
        task->resume();
        if ((i + t) % 3 == 0) task->cancel();
        configuration.cookies->set({"n" + std::to_string(i), "v", "127.0.0.1", "/", {}, {}, {}});
      }
      for (const UrlReceiver& receiver : receivers) {
        const auto outcome = receiver.await();
        answered += outcome.status() == 200 && outcome.code() == 0;
        cancelled += outcome.code() == url_error::kCancelled;
      }
    });
  threads.clear();
  EXPECT_EQ(answered + cancelled, 200);
  EXPECT_GE(answered, 100);
}

}  // namespace
}  // namespace kelm::testing
