#pragma once

#include <vector>

#include "kelm/base/mutex.h"
#include "kelm/platform/http/url_session.h"

namespace kelm::platform {

/// Keeps cookies in memory: at most 50 of one domain and 3000 in all, the oldest give way.
class KELM_API CookieJar final : public CookieStorage {
 public:
  std::vector<Cookie> cookiesFor(std::string_view url) const override;
  void set(const Cookie& cookie) override;
  void setReceived(const Cookie& cookie, const Url& url) override;
  void removeAll() override;

 private:
  void keep(const Cookie& cookie) KELM_REQUIRES(mutex_);
  void makeRoomFor(const Cookie& cookie) KELM_REQUIRES(mutex_);

  mutable Mutex mutex_;
  std::vector<Cookie> cookies_ KELM_GUARDED_BY(mutex_);  // oldest first
};

}  // namespace kelm::platform
