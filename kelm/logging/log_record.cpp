#include "kelm/logging/log_record.h"

#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include "kelm/base/mutex.h"

namespace kelm::logging {

namespace {

constexpr std::size_t kSlabBytes = 64 * 1024;
constexpr std::size_t kAlignment = alignof(LogRecord);
constexpr std::size_t kMostSpareSlabs = 32;
/// More than the records of any slab: a slab that is still being filled never counts down to 0.
constexpr std::uint32_t kFilling = 1U << 30;

}  // namespace

struct alignas(64) RecordSlab {
  std::atomic<std::uint32_t> outstanding{kFilling};
  alignas(64) std::byte memory[kSlabBytes - 64];
};

namespace {

struct LongRecord : LogRecord {
  std::string text;
};

class SpareSlabs {
 public:
  RecordSlab* take() {
    {
      const Lock lock(mutex_);
      if (!slabs_.empty()) {
        RecordSlab* const slab = slabs_.back();
        slabs_.pop_back();
        slab->outstanding.store(kFilling, std::memory_order_relaxed);
        return slab;
      }
    }
    return new RecordSlab;
  }
  void put(RecordSlab* slab) {
    {
      const Lock lock(mutex_);
      if (slabs_.size() < kMostSpareSlabs) {
        slabs_.push_back(slab);
        return;
      }
    }
    delete slab;
  }

 private:
  Mutex mutex_;
  std::vector<RecordSlab*> slabs_ KELM_GUARDED_BY(mutex_);
};

SpareSlabs& spareSlabs() {
  static auto* const kSlabs = new SpareSlabs;
  return *kSlabs;
}

void countBack(RecordSlab* slab, std::uint32_t count) {
  if (slab->outstanding.fetch_sub(count, std::memory_order_acq_rel) == count)
    spareSlabs().put(slab);
}

/// The slab that a thread fills.
class OwnSlab {
 public:
  OwnSlab() = default;
  OwnSlab(const OwnSlab&) = delete;
  OwnSlab& operator=(const OwnSlab&) = delete;
  ~OwnSlab() {
    retire();
    current = nullptr;
    ended = true;
  }

  /// The calling thread's; absent while the thread is being taken down.
  static OwnSlab* ofThisThread() {
    if (current != nullptr || ended) return current;
    static thread_local OwnSlab own;
    return current = &own;
  }

  void* carve(std::size_t bytes) {
    if (slab_ == nullptr || used_ + bytes > sizeof slab_->memory) {
      retire();
      slab_ = spareSlabs().take();
    }
    void* const place = slab_->memory + used_;
    used_ += bytes;
    ++made_;
    return place;
  }
  RecordSlab* slab() const { return slab_; }

 private:
  void retire() {
    if (slab_ != nullptr) countBack(slab_, kFilling - made_);
    slab_ = nullptr;
    used_ = 0;
    made_ = 0;
  }

  static thread_local OwnSlab* current;
  static thread_local bool ended;

  RecordSlab* slab_ = nullptr;
  std::size_t used_ = 0;
  std::uint32_t made_ = 0;
};

thread_local OwnSlab* OwnSlab::current = nullptr;
thread_local bool OwnSlab::ended = false;

}  // namespace

std::string_view LogRecord::message() const {
  if (isLong()) return static_cast<const LongRecord*>(this)->text;
  return {reinterpret_cast<const char*>(this + 1), size};
}

LogRecord* makeRecord(std::string_view text) {
  if (text.size() > kLongestInline) return makeRecordOf(std::string(text));
  const std::size_t bytes = (sizeof(LogRecord) + text.size() + kAlignment - 1) & ~(kAlignment - 1);
  OwnSlab* const own = OwnSlab::ofThisThread();
  auto* const record = new (own != nullptr ? own->carve(bytes) : ::operator new(bytes)) LogRecord;
  if (own != nullptr) record->slab = own->slab();
  record->size = text.size();
  if (!text.empty()) std::memcpy(reinterpret_cast<char*>(record + 1), text.data(), text.size());
  return record;
}

LogRecord* makeRecordOf(std::string text) {
  if (text.size() <= kLongestInline) return makeRecord(text);
  auto* const record = new LongRecord;
  record->size = text.size();
  record->text = std::move(text);
  return record;
}

void releaseRecord(LogRecord* record) {
  if (record->isLong()) return delete static_cast<LongRecord*>(record);
  RecordSlab* const slab = record->slab;
  record->~LogRecord();
  if (slab != nullptr)
    countBack(slab, 1);
  else
    ::operator delete(record);
}

}  // namespace kelm::logging
