#include <utility>

#include "kelm/platform/cookie_jar.h"
#include "kelm/platform/linux/services.h"
#include "kelm/platform/linux/url_sessions_exchange.h"

namespace kelm::platform {

namespace {

using url_sessions::Exchange;
using url_sessions::SessionEngine;

class LinuxUrlSession final : public UrlSession {
 public:
  explicit LinuxUrlSession(std::shared_ptr<SessionEngine> engine) : engine_(std::move(engine)) {}

  std::shared_ptr<DataTask> makeDataTask(const UrlRequest& request,
                                         Completion completion) override {
    return std::make_shared<Exchange>(engine_, request, std::move(completion));
  }
  const UrlSessionConfiguration& configuration() const override { return engine_->configuration(); }

 private:
  const std::shared_ptr<SessionEngine> engine_;
};

class LinuxUrlSessions final : public UrlSessions {
 public:
  explicit LinuxUrlSessions(SessionEngine::Services services) : services_(std::move(services)) {}

  std::shared_ptr<UrlSession> make(UrlSessionConfiguration configuration,
                                   std::shared_ptr<UrlSessionDelegate> delegate) override {
    return std::make_shared<LinuxUrlSession>(
        SessionEngine::make(std::move(configuration), std::move(delegate), services_));
  }
  std::shared_ptr<CookieStorage> makeCookieStorage() override {
    return std::make_shared<CookieJar>(services_.clock);
  }

 private:
  const SessionEngine::Services services_;
};

}  // namespace

std::shared_ptr<UrlSessions> makeUrlSessions(std::shared_ptr<Clock> clock,
                                             std::shared_ptr<Console> console) {
  return std::make_shared<LinuxUrlSessions>(
      SessionEngine::Services{std::move(clock), std::move(console)});
}

}  // namespace kelm::platform
