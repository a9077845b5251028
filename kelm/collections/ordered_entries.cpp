#include "kelm/collections/ordered_entries.h"

#include <algorithm>
#include <utility>

#include "kelm/base/text_hash.h"

namespace kelm {

namespace {

std::uint32_t hashOf(std::string_view key) { return static_cast<std::uint32_t>(textHash(key)); }

/// Unlike the standard's sorts it stays inside the range even if the comparison contradicts itself.
template <class Before>
void mergeSort(std::vector<std::uint32_t>& numbers, Before before) {
  std::vector<std::uint32_t> merged;
  merged.reserve(numbers.size());
  for (std::size_t width = 1; width < numbers.size(); width *= 2) {
    const auto end = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size());
    const auto after = [&](auto at) {
      return at + std::min(static_cast<std::ptrdiff_t>(width), end - at);
    };
    merged.clear();
    for (auto from = numbers.begin(); from != end; from = after(after(from)))
      std::merge(from, after(from), after(from), after(after(from)), std::back_inserter(merged),
                 before);
    numbers.swap(merged);
  }
}

}  // namespace

const Value* OrderedEntries::find(std::string_view key) const {
  const std::size_t slot = slotOf(key);
  return slot == Index::kNowhere ? nullptr : &entries_[index_.at(slot) - 1].value;
}

void OrderedEntries::reserve(std::size_t count) {
  entries_.reserve(count);
  index_.reserve(count);
  order_.reserve(count);
}

// Below, the value that is replaced goes last: its destructor may do anything, and `key` may be
// part of it.

void OrderedEntries::set(std::string_view key, Value value) {
  const std::size_t slot = slotOf(key);
  if (slot == Index::kNowhere) return append(key, std::move(value));
  std::swap(entries_[index_.at(slot) - 1].value, value);
}

void OrderedEntries::append(std::string_view key, Value value) {
  const std::uint32_t number = numberOf(key);
  Entry& entry = entries_[number];
  entry.place = order_.append(number);
  ++entry.places;
  std::swap(entry.value, value);
}

void OrderedEntries::insert(std::size_t position, std::string_view key, Value value) {
  if (position == length()) return append(key, std::move(value));
  const std::uint32_t number = numberOf(key);
  order_.insert(position, number);
  renumber();
  Entry& entry = entries_[number];
  ++entry.places;
  std::swap(entry.value, value);
}

void OrderedEntries::remove(std::string_view key) {
  const std::size_t slot = slotOf(key);
  if (slot == Index::kNowhere) return;
  const std::uint32_t number = index_.at(slot) - 1;
  Entry& entry = entries_[number];
  if (entry.places == 1)
    order_.erase(entry.place);
  else
    order_.removeEach(number);
  if (order_.isSparse()) order_.closeGaps();
  if (!order_.hasGaps()) renumber();
  index_.erase(slot);
  const Entry gone = std::exchange(entry, Entry{{}, {}, free_, 0});
  free_ = number;
}

void OrderedEntries::clear() { const OrderedEntries gone = std::exchange(*this, {}); }

void OrderedEntries::sort(const std::function<bool(std::string_view, std::string_view)>& isBefore) {
  std::vector<std::uint32_t> numbers = order_.places();
  std::erase(numbers, KeyOrder::kGap);
  mergeSort(numbers, [&](std::uint32_t a, std::uint32_t b) {
    return isBefore(entries_[a].key, entries_[b].key);
  });
  order_.assign(std::move(numbers));
  renumber();
}

std::size_t OrderedEntries::slotOf(std::string_view key) const {
  return index_.find(hashOf(key),
                     [&](std::uint32_t number) { return entries_[number - 1].key == key; });
}

/// The number of a key's entry, which is made when there is none; it then stands nowhere yet.
std::uint32_t OrderedEntries::numberOf(std::string_view key) {
  if (const std::size_t slot = slotOf(key); slot != Index::kNowhere) return index_.at(slot) - 1;
  Entry made{std::string(key), {}, 0, 0};
  index_.reserve(index_.size() + 1);  // from here on only the new entry's memory can be short
  std::uint32_t number = free_;
  if (number == kNone) {
    number = static_cast<std::uint32_t>(entries_.size());
    entries_.push_back(std::move(made));
  } else {
    std::swap(entries_[number], made);
    free_ = made.place;
  }
  index_.insert(hashOf(entries_[number].key), number + 1);
  return number;
}

/// Tells every entry its place again.
void OrderedEntries::renumber() {
  const std::vector<std::uint32_t>& places = order_.places();
  for (std::size_t place = 0; place < places.size(); ++place)
    if (places[place] != KeyOrder::kGap)
      entries_[places[place]].place = static_cast<std::uint32_t>(place);
}

}  // namespace kelm
