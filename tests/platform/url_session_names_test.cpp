// Names that nobody answers for. The system's resolver is replaced for this program.

#include <dlfcn.h>
#include <netdb.h>

#include <atomic>

#include "tests/platform/url_session_world.h"

namespace {
std::atomic<bool> isSilent{false};  // the name server of "silent.test"
}

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                           addrinfo** found) {
  const std::string_view name = host != nullptr ? host : "";
  if (name == "silent.test") isSilent.wait(true);
  if (name == "silent.test" || name == "absent.test") return EAI_NONAME;
  using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
  static const auto kSystems = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return kSystems(name == "shop.test" ? "127.0.0.1" : host, service, hints, found);
}

namespace kelm::testing {
namespace {

namespace url_error = platform::url_error;

class UrlSessionNames : public UrlSessionTest {
 protected:
  UrlSessionNames() { isSilent = true; }
  ~UrlSessionNames() override {
    isSilent = false;
    isSilent.notify_all();
  }
  static std::string to(std::string_view host, const HttpServer& server) {
    return "http://" + std::string(host) + ':' + std::to_string(server.port()) + '/';
  }

  const HttpServer server;
};

TEST_F(UrlSessionNames, SilentNameServerHoldsNobodyElseAndIsLeftAtTheLimit) {
  platform::UrlSessionConfiguration configuration;
  configuration.connectTimeoutSeconds = 0.1;
  const auto session = makeSession(configuration);
  const UrlReceiver cancelled;
  const auto task =
      makeSession()->makeDataTask(requestTo(to("silent.test", server)), cancelled.completion());
  task->resume();
  const UrlReceiver limited = start(*session, requestTo(to("silent.test", server)));
  EXPECT_EQ(get(server.url()).text(), "ok");
  EXPECT_EQ(get(to("shop.test", server)).text(), "ok");
  EXPECT_EQ(limited.await().code(), url_error::kTimedOut);
  task->cancel();
  EXPECT_EQ(cancelled.await().code(), url_error::kCancelled);
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(UrlSessionNames, NameOnceLookedUpServesTheSessionAndAnAbsentOneIsAnError) {
  const auto session = makeSession();
  for (int i = 0; i < 3; ++i)
    EXPECT_EQ(perform(*session, requestTo(to("shop.test", server))).text(), "ok");
  EXPECT_EQ(server.requests().front().header("Host"), "shop.test:" + std::to_string(server.port()));
  EXPECT_EQ(get(to("absent.test", server)).code(), url_error::kCannotFindHost);
}

}  // namespace
}  // namespace kelm::testing
