#include "kelm/testing/memory_streams.h"

#include <algorithm>
#include <atomic>
#include <utility>

namespace kelm::testing {

using platform::StreamEvent;

class MemoryStreams::Half : public platform::Stream, public std::enable_shared_from_this<Half> {
 public:
  explicit Half(MemoryStreams* owner) : owner_(owner) {}

  void setDelegate(Delegate delegate) override { delegate_ = std::move(delegate); }
  void open() override {
    if (owner_ == nullptr) return;
    const Lock lock(owner_->mutex_);
    if (owner_->answer_ == Answer::Accepted) post(StreamEvent::OpenCompleted);
    if (owner_->answer_ == Answer::Refused) post(StreamEvent::ErrorOccurred);
  }
  void close() override { isOpen_ = false; }
  bool hasSpaceAvailable() const override { return isOpen_ && owner_->hasSpace(); }
  std::ptrdiff_t write(std::span<const DataView> pieces) override {
    return isOpen_ ? owner_->take(pieces) : -1;
  }

  void post(StreamEvent event) {
    platform::current<platform::Dispatcher>()->mainLoop().post([weak = weak_from_this(), event] {
      const auto self = weak.lock();
      if (!self) return;
      self->isOpen_ = event == StreamEvent::OpenCompleted ||
                      (self->isOpen_ && event == StreamEvent::EndEncountered);
      if (const Delegate delegate = self->delegate_) delegate(*self, event);
    });
  }

 private:
  MemoryStreams* const owner_;  ///< absent: the receiving half, to which nothing happens
  Delegate delegate_;
  std::atomic<bool> isOpen_{false};
};

platform::StreamPair MemoryStreams::connect(std::string host, std::uint16_t port) {
  auto output = std::make_shared<Half>(this);
  const Lock lock(mutex_);
  targets_.push_back(host + ':' + std::to_string(port));
  newest_ = output;
  return {std::make_shared<Half>(nullptr), output};
}

void MemoryStreams::setAnswer(Answer answer) {
  const Lock lock(mutex_);
  answer_ = answer;
}

void MemoryStreams::setSpace(std::size_t bytes) {
  const Lock lock(mutex_);
  space_ = bytes;
}

void MemoryStreams::end(StreamEvent event) {
  const Lock lock(mutex_);
  if (const auto newest = newest_.lock()) newest->post(event);
}

std::string MemoryStreams::received() const {
  const Lock lock(mutex_);
  return received_;
}

std::vector<std::string> MemoryStreams::targets() const {
  const Lock lock(mutex_);
  return targets_;
}

std::ptrdiff_t MemoryStreams::take(std::span<const DataView> pieces) {
  const Lock lock(mutex_);
  std::size_t taken = 0;
  for (const DataView piece : pieces) {
    const std::size_t count = std::min(piece.size(), space_);
    received_ += textOf(piece.first(count));
    if (space_ != std::string::npos) space_ -= count;
    taken += count;
    if (count < piece.size()) break;
  }
  return static_cast<std::ptrdiff_t>(taken);
}

bool MemoryStreams::hasSpace() const {
  const Lock lock(mutex_);
  return space_ > 0;
}

}  // namespace kelm::testing
