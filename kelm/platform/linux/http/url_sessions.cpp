#include <utility>

#include "kelm/platform/http/cookie_jar.h"
#include "kelm/platform/linux/http/exchange.h"

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
  std::shared_ptr<UrlSession> make(UrlSessionConfiguration configuration,
                                   std::shared_ptr<UrlSessionDelegate> delegate) override {
    return std::make_shared<LinuxUrlSession>(
        SessionEngine::make(std::move(configuration), std::move(delegate)));
  }
  std::shared_ptr<CookieStorage> makeCookieStorage() override {
    return std::make_shared<CookieJar>();
  }
};

}  // namespace

std::shared_ptr<UrlSessions> UrlSessions::makeSystem() {
  return std::make_shared<LinuxUrlSessions>();
}

}  // namespace kelm::platform
