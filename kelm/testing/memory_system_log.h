#pragma once

#include <memory>
#include <string>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/mutex.h"
#include "kelm/platform/system_log.h"

namespace kelm::testing {

/// Keeps the entries. Channels may outlive it. Thread-safe.
class KELM_API MemorySystemLog : public platform::SystemLog {
 public:
  struct Entry {
    std::string subsystem;
    std::string category;
    std::string text;

    bool operator==(const Entry&) const = default;
  };

  std::unique_ptr<Channel> open(std::string_view subsystem, std::string_view category) override {
    const Lock lock(kept_->mutex);
    ++kept_->opened;
    return std::make_unique<KeepingChannel>(
        kept_, Entry{std::string(subsystem), std::string(category), {}});
  }

  std::vector<Entry> entries() const {
    const Lock lock(kept_->mutex);
    return kept_->entries;
  }
  /// How many channels were opened.
  std::size_t opened() const {
    const Lock lock(kept_->mutex);
    return kept_->opened;
  }

 private:
  struct Kept {
    Mutex mutex;
    std::vector<Entry> entries KELM_GUARDED_BY(mutex);
    std::size_t opened KELM_GUARDED_BY(mutex) = 0;
  };
  class KeepingChannel : public Channel {
   public:
    KeepingChannel(std::shared_ptr<Kept> kept, Entry entry)
        : kept_(std::move(kept)), entry_(std::move(entry)) {}
    void write(std::string_view text) override {
      const Lock lock(kept_->mutex);
      kept_->entries.push_back(entry_);
      kept_->entries.back().text = text;
    }

   private:
    std::shared_ptr<Kept> kept_;
    Entry entry_;
  };

  std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
};

}  // namespace kelm::testing
