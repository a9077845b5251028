#include "tests/support/memory_url_sessions.h"

namespace kelm::test {

bool MemoryUrlSessions::Core::deliver() {
  std::shared_ptr<Task> task;
  {
    const Lock lock(mutex_);
    if (waiting_.empty()) return false;
    task = std::move(waiting_.front());
    waiting_.pop_front();
  }
  task->complete();
  return true;
}

void MemoryUrlSessions::Core::clear() {
  std::deque<std::shared_ptr<Task>> dropped;  // declared first: ends after the lock
  const Lock lock(mutex_);
  dropped.swap(waiting_);
}

void MemoryUrlSessions::Task::finish(Answer answer, const std::string& url) {
  const auto completion = std::exchange(completion_, nullptr);
  if (answer.error) {
    if (completion) completion({}, nullptr, std::move(answer.error));
    return;
  }
  if (const auto& cookies = session_->configuration.cookies)
    for (const auto& cookie : platform::cookiesFromHeaders(answer.headers, url))
      cookies->set(cookie);
  reportProgress(answer.body);
  auto response = std::make_shared<platform::UrlResponse>();
  response->url = url;
  response->statusCode = answer.statusCode;
  response->headers = std::move(answer.headers);
  response->expectedLength = static_cast<std::int64_t>(answer.body.size());
  if (completion) completion(std::move(answer.body), response, std::nullopt);
}

}  // namespace kelm::test
