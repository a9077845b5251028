#include "kelm/logging/log_queue.h"

#include <algorithm>
#include <utility>

#include "kelm/platform/process.h"

namespace kelm::logging {

namespace {

constexpr auto kNap = std::chrono::milliseconds(5);
constexpr int kMostNaps = 10;  // 50 ms without a record

}  // namespace

void Fence::reach() {
  const Lock lock(mutex_);
  reached_ = true;
  changed_.notify_all();
}

bool Fence::waitFor(std::chrono::milliseconds limit) {
  const Lock lock(mutex_);
  constexpr std::chrono::milliseconds kNone{0}, kLongest = std::chrono::hours(24 * 365);
  const auto end = std::chrono::steady_clock::now() + std::clamp(limit, kNone, kLongest);
  while (!reached_ && changed_.wait_until(mutex_, end) == std::cv_status::no_timeout) {
  }
  return reached_;
}

LogQueue::LogQueue(std::function<void(const LogRecord&)> deliver, std::function<void()> rest)
    : deliver_(std::move(deliver)),
      rest_(std::move(rest)),
      last_(makeRecord({})),
      consumed_(last_.load()) {
  platform::startThread("com.trevalo.logs", [this] { run(); });
}

void LogQueue::push(LogRecord* record) {
  LogRecord* const earlier = last_.exchange(record, std::memory_order_seq_cst);
  earlier->next.store(record, std::memory_order_release);
  if (asleep_.load(std::memory_order_seq_cst) && asleep_.exchange(false)) wake();
}

bool LogQueue::flush(std::chrono::milliseconds limit) {
  if (isOwnThread()) return false;
  const auto fence = std::make_shared<Fence>();
  LogRecord* const record = makeRecord({});
  record->fence = fence;
  push(record);
  wake();
  return fence->waitFor(limit);
}

bool LogQueue::isOwnThread() const { return thread_.load() == std::this_thread::get_id(); }

void LogQueue::run() {
  thread_ = std::this_thread::get_id();
  for (int naps = 0;;) {
    LogRecord* const next = consumed_->next.load(std::memory_order_acquire);
    if (next != nullptr) {
      // The newest record stays until it has a successor, for a pusher may be linking one to it.
      releaseRecord(std::exchange(consumed_, next));
      consume(*next);
      naps = 0;
    } else if (naps < kMostNaps) {
      if (naps++ == 0) rest_();
      nap();
    } else {
      sleep();
      naps = 0;
    }
  }
}

void LogQueue::consume(LogRecord& record) {
  if (const auto fence = std::exchange(record.fence, nullptr))
    fence->reach();
  else
    deliver_(record);
}

void LogQueue::nap() {
  const Lock lock(mutex_);
  if (!std::exchange(urgent_, false)) called_.wait_for(mutex_, kNap);
}

void LogQueue::sleep() {
  const Lock lock(mutex_);
  asleep_.store(true, std::memory_order_seq_cst);
  // A pusher that has not seen the store has already put its record in.
  while (last_.load(std::memory_order_seq_cst) == consumed_ && !std::exchange(urgent_, false))
    called_.wait(mutex_);
  asleep_.store(false, std::memory_order_relaxed);
}

void LogQueue::wake() {
  const Lock lock(mutex_);
  urgent_ = true;
  called_.notify_one();
}

}  // namespace kelm::logging
