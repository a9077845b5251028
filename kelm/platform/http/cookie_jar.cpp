#include "kelm/platform/http/cookie_jar.h"

#include <algorithm>

#include "kelm/base/ascii.h"
#include "kelm/platform/clock.h"
#include "kelm/platform/http/cookies.h"

namespace kelm::platform {

namespace {

constexpr std::ptrdiff_t kMaxPerDomain = 50;
constexpr std::size_t kMaxCookies = 3000;

bool isSameCookie(const Cookie& a, const Cookie& b) {
  return a.name == b.name && a.path == b.path && equalsIgnoringCase(a.domain, b.domain);
}

}  // namespace

std::vector<Cookie> CookieJar::cookiesFor(std::string_view url) const {
  std::vector<Cookie> found;
  const Lock lock(mutex_);
  if (cookies_.empty()) return found;
  const std::optional<Url> origin = Url::parse(url);
  if (!origin) return found;
  const Date now = current<Clock>()->now();
  for (const Cookie& cookie : cookies_)
    if (isSentTo(cookie, *origin, now)) found.push_back(cookie);
  std::stable_sort(found.begin(), found.end(),
                   [](const Cookie& a, const Cookie& b) { return a.path.size() > b.path.size(); });
  return found;
}

void CookieJar::set(const Cookie& cookie) {
  const Lock lock(mutex_);
  keep(cookie);
}

void CookieJar::setReceived(const Cookie& cookie, const Url& url) {
  const Lock lock(mutex_);
  const bool hides = url.scheme() == "http" &&
                     std::any_of(cookies_.begin(), cookies_.end(),
                                 [&](const Cookie& kept) { return wouldHideSecure(cookie, kept); });
  if (!hides) keep(cookie);
}

void CookieJar::keep(const Cookie& cookie) {
  const Date now = current<Clock>()->now();
  std::erase_if(cookies_, [&](const Cookie& kept) { return kept.expires && *kept.expires <= now; });
  const bool expired = cookie.expires && *cookie.expires <= now;
  const auto same = std::find_if(cookies_.begin(), cookies_.end(),
                                 [&](const Cookie& kept) { return isSameCookie(kept, cookie); });
  if (same == cookies_.end()) {
    if (expired) return;
    makeRoomFor(cookie);
    cookies_.push_back(cookie);
  } else if (expired) {
    cookies_.erase(same);
  } else {
    *same = cookie;
  }
}

void CookieJar::makeRoomFor(const Cookie& cookie) {
  const auto isNeighbour = [&](const Cookie& kept) {
    return equalsIgnoringCase(kept.domain, cookie.domain);
  };
  if (std::count_if(cookies_.begin(), cookies_.end(), isNeighbour) >= kMaxPerDomain)
    cookies_.erase(std::find_if(cookies_.begin(), cookies_.end(), isNeighbour));
  else if (cookies_.size() >= kMaxCookies)
    cookies_.erase(cookies_.begin());
}

void CookieJar::removeAll() {
  const Lock lock(mutex_);
  cookies_.clear();
}

}  // namespace kelm::platform
