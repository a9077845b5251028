#include <algorithm>
#include <cstdint>

#include "kelm/base/hash_index.h"
#include "kelm/base/text_hash.h"
#include "kelm/base/value.h"

namespace kelm {
namespace {

constexpr std::size_t kIndexFrom = 16;
constexpr std::size_t kFirstEntries = 4;  // room that is made at once for few entries

std::uint32_t hashOf(std::string_view key) { return static_cast<std::uint32_t>(textHash(key)); }

}  // namespace

/// Positions of the entries, each plus 1.
struct Dictionary::Index : HashIndex<std::uint32_t> {
  void add(const Entry& entry, std::size_t position) {
    insert(hashOf(entry.key), static_cast<std::uint32_t>(position + 1));
  }
  std::size_t slotOf(std::string_view key, const std::vector<Entry>& entries) const {
    return find(hashOf(key), [&](std::uint32_t number) { return entries[number - 1].key == key; });
  }
  void closeGapAfter(std::size_t position) {
    changeEach([position](std::uint32_t& number) { number -= number > position + 1 ? 1 : 0; });
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
    return slot == Index::kNowhere ? Index::kNowhere : index_->at(slot) - 1;
  }
  for (std::size_t i = 0; i < entries_.size(); ++i)
    if (entries_[i].key == key) return i;
  return Index::kNowhere;
}

const Value* Dictionary::find(std::string_view key) const {
  const std::size_t at = position(key);
  return at == Index::kNowhere ? nullptr : &entries_[at].value;
}

Value* Dictionary::find(std::string_view key) {
  return const_cast<Value*>(std::as_const(*this).find(key));
}

void Dictionary::set(std::string_view key, Value value) {
  if (Value* old = find(key)) {
    *old = std::move(value);
    return;
  }
  if (entries_.capacity() == 0) entries_.reserve(kFirstEntries);
  entries_.push_back({std::string(key), std::move(value)});
  if (entries_.size() < kIndexFrom) return;
  if (index_) return index_->add(entries_.back(), entries_.size() - 1);
  index_ = std::make_unique<Index>();
  index_->reserve(2 * kIndexFrom);
  for (std::size_t i = 0; i < entries_.size(); ++i)
    index_->add(entries_[i], i);
}

void Dictionary::reserve(std::size_t entries) { entries_.reserve(entries); }

bool Dictionary::remove(std::string_view key) {
  const std::size_t at = position(key);
  if (at == Index::kNowhere) return false;
  if (index_) {
    index_->erase(index_->slotOf(key, entries_));
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
