#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "kelm/base/hash_index.h"
#include "kelm/base/value.h"
#include "kelm/collections/key_order.h"

namespace kelm {

/// Values by key, and an order in which a key may stand more than once. Entries never move when
/// others leave, so that removing one touches only its own places. Not thread-safe; constant
/// operations may run at the same time.
class OrderedEntries {
 public:
  struct Entry {
    std::string key;
    Value value;
    std::uint32_t place = 0;   ///< one of those in the order; of a free entry: the next free one
    std::uint32_t places = 0;  ///< how often the key stands in the order
  };
  class Iterator;

  /// The number of entries, and of positions in the order.
  std::size_t size() const { return index_.size(); }
  std::size_t length() const { return order_.size(); }
  const Value* find(std::string_view key) const;
  /// `position` must be below length().
  const Entry& at(std::size_t position) const { return entries_[order_.at(position)]; }
  /// Over the order.
  Iterator begin() const;
  Iterator end() const;

  void reserve(std::size_t count);
  /// A new key comes last, a known one keeps its places.
  void set(std::string_view key, Value value);
  /// The key comes last, also when it stands elsewhere already.
  void append(std::string_view key, Value value);
  /// The same at a position, which must not be above length(). Linear.
  void insert(std::size_t position, std::string_view key, Value value);
  /// From all its places. Linear when it has several.
  void remove(std::string_view key);
  void clear();
  /// Keeps the order of equals. Whatever `isBefore` answers, some order comes out; when it throws,
  /// the old one stays.
  void sort(const std::function<bool(std::string_view, std::string_view)>& isBefore);

 private:
  using Index = HashIndex<std::uint32_t>;
  static constexpr std::uint32_t kNone = static_cast<std::uint32_t>(-1);

  std::size_t slotOf(std::string_view key) const;
  std::uint32_t numberOf(std::string_view key);
  void renumber();

  std::vector<Entry> entries_;
  std::uint32_t free_ = kNone;  ///< the first free entry
  Index index_;                 ///< numbers of entries, each plus 1
  KeyOrder order_;              ///< numbers of entries
};

/// Walks the keys.
class OrderedEntries::Iterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = std::string;
  using difference_type = std::ptrdiff_t;
  using pointer = const std::string*;
  using reference = const std::string&;

  Iterator() = default;
  Iterator(const OrderedEntries& owner, std::size_t place) : owner_(&owner), place_(place) {
    skipGaps();
  }
  const Entry& entry() const { return owner_->entries_[places()[place_]]; }
  reference operator*() const { return entry().key; }
  pointer operator->() const { return &entry().key; }
  Iterator& operator++() {
    ++place_;
    skipGaps();
    return *this;
  }
  Iterator operator++(int) {
    const Iterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const Iterator&) const = default;

 private:
  const std::vector<std::uint32_t>& places() const { return owner_->order_.places(); }
  void skipGaps() {
    while (place_ < places().size() && places()[place_] == KeyOrder::kGap)
      ++place_;
  }

  const OrderedEntries* owner_ = nullptr;
  std::size_t place_ = 0;
};

inline OrderedEntries::Iterator OrderedEntries::begin() const { return {*this, 0}; }
inline OrderedEntries::Iterator OrderedEntries::end() const {
  return {*this, order_.places().size()};
}

}  // namespace kelm
