#pragma once

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "kelm/base/mutex.h"

namespace kelm {

/// Keeps the last few objects that are costly to make, never changed, and copied for every use.
/// Thread-safe: two threads that miss at once both make one.
template <class Key, class Prototype>
class PrototypeCache {
 public:
  static constexpr std::size_t kMostEntries = 16;

  /// The prototype of a key; made, and the oldest one dropped, when it is not there. Keeps no
  /// nullptr.
  template <class Make>
  std::shared_ptr<const Prototype> get(const Key& key, Make make) {
    if (auto known = find(key)) return known;
    std::shared_ptr<const Prototype> made = make();
    if (!made) return nullptr;
    const Lock lock(mutex_);
    if (entries_.size() == kMostEntries) entries_.erase(entries_.begin());
    entries_.emplace_back(key, made);
    return made;
  }

 private:
  std::shared_ptr<const Prototype> find(const Key& key) {
    const Lock lock(mutex_);
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&key](const auto& entry) { return entry.first == key; });
    return found == entries_.end() ? nullptr : found->second;
  }

  Mutex mutex_;
  std::vector<std::pair<Key, std::shared_ptr<const Prototype>>> entries_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm
