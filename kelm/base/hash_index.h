#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace kelm {

/// Finds entries, which stand elsewhere, by the hash of their keys. A `Place` says where an entry
/// stands; `Place{}` means nowhere. Open addressing with linear probing, at most half full.
template <class Place>
class HashIndex {
 public:
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

  /// The slot of the place that has this hash and for which `isWanted(place)` holds.
  template <class Predicate>
  std::size_t find(std::uint32_t hash, Predicate isWanted) const {
    if (slots_.empty()) return kNowhere;
    for (std::size_t slot = home(hash); slots_[slot].place != Place{}; slot = next(slot))
      if (slots_[slot].hash == hash && isWanted(slots_[slot].place)) return slot;
    return kNowhere;
  }
  Place at(std::size_t slot) const { return slots_[slot].place; }
  void replace(std::size_t slot, Place place) { slots_[slot].place = place; }

  /// Adds a place that is not in yet. Unchanged when memory is short.
  void insert(std::uint32_t hash, Place place) {
    reserve(count_ + 1);
    put({hash, place});
    ++count_;
  }

  /// Frees a slot; later members of its chain move back so that no chain is broken.
  void erase(std::size_t hole) {
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t slot = next(hole); slots_[slot].place != Place{}; slot = next(slot)) {
      const std::size_t wanted = home(slots_[slot].hash);
      if (((slot - wanted) & mask) < ((slot - hole) & mask)) continue;
      slots_[hole] = slots_[slot];
      hole = slot;
    }
    slots_[hole] = {};
    --count_;
  }

  /// Calls `change(place)` with every place, by reference. Linear in the size of the table.
  template <class Change>
  void changeEach(Change change) {
    for (Slot& slot : slots_)
      if (slot.place != Place{}) change(slot.place);
  }

  std::size_t size() const { return count_; }
  /// Makes room for so many places.
  void reserve(std::size_t count) {
    if (2 * count <= slots_.size()) return;
    std::vector<Slot> old(std::bit_ceil(count < 8 ? 16 : 2 * count));
    old.swap(slots_);
    for (const Slot& slot : old)
      if (slot.place != Place{}) put(slot);
  }

  /// Gives all memory back.
  void clear() { *this = HashIndex(); }

 private:
  struct Slot {
    std::uint32_t hash = 0;
    Place place{};
  };

  std::size_t next(std::size_t slot) const { return (slot + 1) & (slots_.size() - 1); }
  std::size_t home(std::uint32_t hash) const { return hash & (slots_.size() - 1); }

  void put(const Slot& added) {
    std::size_t slot = home(added.hash);
    while (slots_[slot].place != Place{})
      slot = next(slot);
    slots_[slot] = added;
  }

  std::vector<Slot> slots_;
  std::size_t count_ = 0;
};

}  // namespace kelm
