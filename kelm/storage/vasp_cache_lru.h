#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "kelm/base/hash_index.h"
#include "kelm/base/mutex.h"
#include "kelm/base/text_hash.h"
#include "kelm/storage/vasp_cache.h"

namespace kelm {

/// A cache of at most so many objects: one more drives out the one that was neither read nor
/// written for the longest time. `Object` is any type that can be copied; `Key` any type with ==
/// and a hash: text, `Value`, or what std::hash takes.
///
/// Any thread may call; one lock makes each operation atomic. Objects are copied for readers under
/// the lock, so keep large ones behind a shared pointer. Keys and objects that leave are destroyed
/// when the lock is free again: their destructors may call the cache.
template <class Object, class Key = std::string>
class KELM_API VaspCacheLru final : public VaspCache<Object, Key> {
 public:
  /// `init` Room for 100 objects.
  VaspCacheLru() : VaspCacheLru(kDefaultSize) {}
  /// `initWithCacheSize:` Room for `count` objects; 0: no limit.
  static std::shared_ptr<VaspCacheLru> initWithCacheSize(std::size_t count) {
    return std::shared_ptr<VaspCacheLru>(new VaspCacheLru(count));
  }
  ~VaspCacheLru() override { VaspCacheLru::removeAllObjects(); }
  VaspCacheLru(const VaspCacheLru&) = delete;
  VaspCacheLru& operator=(const VaspCacheLru&) = delete;

  /// `objectForKey:` A copy of the object; absent when there is none. Counts as a use.
  std::optional<Object> objectForKey(CacheKeyView<Key> key) override {
    const std::uint32_t hash = hashOf(key);
    const Lock lock(mutex_);
    const std::size_t slot = slotOf(key, hash);
    if (slot == Index::kNowhere) return std::nullopt;
    Entry* const entry = index_.at(slot);
    if (uses_.next != entry) {
      unlink(*entry);
      linkAsNewest(*entry);
    }
    return entry->object;
  }

  /// `setObject:forKey:` Keeps the object, in place of an earlier one of an equal key, and drives
  /// out what is then too many. Counts as a use. Always true. When memory is short it raises
  /// std::bad_alloc and nothing has changed.
  bool setObject_forKey(Object object, CacheKeyView<Key> key) override {
    Gone gone;
    auto entry = std::make_unique<Entry>(std::move(object), Key(key), hashOf(key));
    const Lock lock(mutex_);
    const std::size_t slot = slotOf(key, entry->hash);
    if (slot == Index::kNowhere) {
      index_.insert(entry->hash, entry.get());
    } else {
      gone.add(unlink(*index_.at(slot)));
      index_.replace(slot, entry.get());
    }
    linkAsNewest(*entry.release());
    if (limit_ != 0 && index_.size() > limit_) dropOldest(gone);
    return true;
  }

  /// `removeObjectForKey:` Does nothing when there is none.
  void removeObjectForKey(CacheKeyView<Key> key) override {
    Gone gone;
    const std::uint32_t hash = hashOf(key);
    const Lock lock(mutex_);
    const std::size_t slot = slotOf(key, hash);
    if (slot == Index::kNowhere) return;
    gone.add(unlink(*index_.at(slot)));
    index_.erase(slot);
  }

  /// `removeAllObjects` Gives the memory of the table back too.
  void removeAllObjects() override {
    Gone gone;
    const Lock lock(mutex_);
    while (uses_.previous != &uses_)
      gone.add(unlink(*static_cast<Entry*>(uses_.previous)));
    index_.clear();
  }

  /// `drain` The same as `removeAllObjects`.
  void drain() override { removeAllObjects(); }

 private:
  static constexpr std::size_t kDefaultSize = 100;

  /// A ring in the order of use: from its head `next` leads to the newest entry, then to older
  /// ones.
  struct Link {
    Link* next = this;
    Link* previous = this;
  };
  struct Entry : Link {
    Entry(Object kept, Key name, std::uint32_t hashOfName)
        : object(std::move(kept)), key(std::move(name)), hash(hashOfName) {}
    Object object;
    Key key;
    std::uint32_t hash;
  };
  using Index = HashIndex<Entry*>;

  /// Entries that left, destroyed at the end. Declare it before the lock.
  class Gone {
   public:
    Gone() = default;
    ~Gone() {
      while (first_)
        delete std::exchange(first_, static_cast<Entry*>(first_->previous));
    }
    Gone(const Gone&) = delete;
    Gone& operator=(const Gone&) = delete;
    void add(Entry* entry) { entry->previous = std::exchange(first_, entry); }

   private:
    Entry* first_ = nullptr;
  };

  explicit VaspCacheLru(std::size_t limit) : limit_(limit) {}

  static std::uint32_t hashOf(CacheKeyView<Key> key) {
    if constexpr (std::is_same_v<Key, std::string>)
      return static_cast<std::uint32_t>(textHash(key));
    else if constexpr (requires { key.hash(); })
      return static_cast<std::uint32_t>(key.hash());
    else  // spread: std::hash of an integer is the integer
      return static_cast<std::uint32_t>(std::hash<Key>{}(key)*0x9e3779b97f4a7c15U >> 32);
  }
  std::size_t slotOf(CacheKeyView<Key> key, std::uint32_t hash) const KELM_REQUIRES(mutex_) {
    return index_.find(hash, [&](const Entry* entry) { return entry->key == key; });
  }

  static Entry* unlink(Entry& entry) {
    entry.next->previous = entry.previous;
    entry.previous->next = entry.next;
    return &entry;
  }
  void linkAsNewest(Entry& entry) KELM_REQUIRES(mutex_) {
    entry.next = uses_.next;
    entry.previous = &uses_;
    uses_.next->previous = &entry;
    uses_.next = &entry;
  }
  void dropOldest(Gone& gone) KELM_REQUIRES(mutex_) {
    Entry* const oldest = unlink(*static_cast<Entry*>(uses_.previous));
    index_.erase(index_.find(oldest->hash, [&](const Entry* entry) { return entry == oldest; }));
    gone.add(oldest);
  }

  const std::size_t limit_;
  Mutex mutex_;
  Link uses_ KELM_GUARDED_BY(mutex_);
  Index index_ KELM_GUARDED_BY(mutex_);
};

}  // namespace kelm
