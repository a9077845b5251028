#include <algorithm>
#include <cstdint>

#include "kelm/base/text_hash.h"
#include "kelm/base/value.h"

namespace kelm {
namespace {

constexpr std::size_t kIndexFrom = 16;
constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

}  // namespace

/// Positions of the entries by the hash of their keys: open addressing with linear probing, at
/// most half full.
struct Dictionary::Index {
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t number = 0;  // position + 1; 0 for a free slot
  };
  std::vector<Slot> slots;

  static std::uint32_t hashOf(std::string_view key) {
    return static_cast<std::uint32_t>(textHash(key));
  }
  std::size_t next(std::size_t slot) const { return (slot + 1) & (slots.size() - 1); }
  std::size_t home(std::uint32_t hash) const { return hash & (slots.size() - 1); }

  void build(const std::vector<Entry>& entries) {
    std::size_t size = 4 * kIndexFrom;
    while (size < 4 * entries.size())
      size *= 2;
    slots.assign(size, {});
    for (std::size_t i = 0; i < entries.size(); ++i)
      insert(hashOf(entries[i].key), i);
  }

  void insert(std::uint32_t hash, std::size_t position) {
    std::size_t slot = home(hash);
    while (slots[slot].number != 0)
      slot = next(slot);
    slots[slot] = {hash, static_cast<std::uint32_t>(position + 1)};
  }

  std::size_t slotOf(std::string_view key, const std::vector<Entry>& entries) const {
    const std::uint32_t hash = hashOf(key);
    for (std::size_t slot = home(hash); slots[slot].number != 0; slot = next(slot))
      if (slots[slot].hash == hash && entries[slots[slot].number - 1].key == key) return slot;
    return kNowhere;
  }

  /// Frees a slot; later members of its chain move back so that no chain is broken.
  void free(std::size_t hole) {
    const std::size_t mask = slots.size() - 1;
    for (std::size_t slot = next(hole); slots[slot].number != 0; slot = next(slot)) {
      const std::size_t wanted = home(slots[slot].hash);
      if (((slot - wanted) & mask) < ((slot - hole) & mask)) continue;
      slots[hole] = slots[slot];
      hole = slot;
    }
    slots[hole] = {};
  }

  void closeGapAfter(std::size_t position) {
    for (Slot& slot : slots)
      if (slot.number > position + 1) --slot.number;
  }
};

Dictionary::Dictionary() = default;
Dictionary::Dictionary(Dictionary&& other) noexcept
    : entries_(std::move(other.entries_)), index_(std::move(other.index_)) {
  other.entries_.clear();
}
Dictionary& Dictionary::operator=(Dictionary&& other) noexcept {
  if (this == &other) return *this;
  // The old entries go last: `other` may stand inside one of them.
  std::vector<Entry> old = std::exchange(entries_, std::move(other.entries_));
  index_ = std::move(other.index_);
  other.entries_.clear();
  return *this;
}
Dictionary::~Dictionary() = default;

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
  entries_.reserve(entries.size());
  for (const Entry& entry : entries)
    set(entry.key, entry.value);
}

Dictionary::Dictionary(const Dictionary& other)
    : entries_(other.entries_),
      index_(other.index_ ? std::make_unique<Index>(*other.index_) : nullptr) {}

Dictionary& Dictionary::operator=(const Dictionary& other) {
  return *this = Dictionary(other);  // the copy comes first: `other` may be part of this
}

std::size_t Dictionary::size() const { return entries_.size(); }

std::size_t Dictionary::position(std::string_view key) const {
  if (index_) {
    const std::size_t slot = index_->slotOf(key, entries_);
    return slot == kNowhere ? kNowhere : index_->slots[slot].number - 1;
  }
  for (std::size_t i = 0; i < entries_.size(); ++i)
    if (entries_[i].key == key) return i;
  return kNowhere;
}

const Value* Dictionary::find(std::string_view key) const {
  const std::size_t at = position(key);
  return at == kNowhere ? nullptr : &entries_[at].value;
}

Value* Dictionary::find(std::string_view key) {
  return const_cast<Value*>(std::as_const(*this).find(key));
}

void Dictionary::set(std::string_view key, Value value) {
  if (Value* old = find(key)) {
    *old = std::move(value);
    return;
  }
  entries_.push_back({std::string(key), std::move(value)});
  if (entries_.size() < kIndexFrom) return;
  if (index_ && 2 * entries_.size() <= index_->slots.size()) {
    index_->insert(Index::hashOf(entries_.back().key), entries_.size() - 1);
    return;
  }
  if (!index_) index_ = std::make_unique<Index>();
  index_->build(entries_);
}

bool Dictionary::remove(std::string_view key) {
  const std::size_t at = position(key);
  if (at == kNowhere) return false;
  if (index_) {
    index_->free(index_->slotOf(key, entries_));
    if (at + 1 < entries_.size()) index_->closeGapAfter(at);
  }
  // The value goes last: `key` may be part of it.
  const Value gone = std::move(entries_[at].value);
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(at));
  if (entries_.size() < kIndexFrom) index_.reset();
  return true;
}

void Dictionary::clear() {
  index_.reset();
  entries_.clear();
}

void Dictionary::addEntries(const Dictionary& other) {
  if (this == &other) return;
  for (const Entry& entry : other)
    set(entry.key, entry.value);
}

const Dictionary::Entry* Dictionary::begin() const { return entries_.data(); }
const Dictionary::Entry* Dictionary::end() const { return entries_.data() + entries_.size(); }

bool Dictionary::operator==(const Dictionary& other) const {
  if (size() != other.size()) return false;
  return std::all_of(begin(), end(), [&](const Entry& entry) {
    const Value* match = other.find(entry.key);
    return match && *match == entry.value;
  });
}

}  // namespace kelm
