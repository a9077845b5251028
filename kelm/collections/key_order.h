#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelm {

/// A sequence of numbers that stand at places. Taking one away leaves a gap and moves no other;
/// live numbers are counted by blocks (a Fenwick tree), so that the number at a position is found
/// without closing the gaps. Not thread-safe; const operations change nothing.
class KeyOrder {
 public:
  static constexpr std::uint32_t kGap = static_cast<std::uint32_t>(-1);

  std::size_t size() const { return places_.size() - gaps_; }
  /// The numbers by place, gaps included.
  const std::vector<std::uint32_t>& places() const { return places_; }
  /// The number at a position, which must be below size(). Constant while there is no gap, else
  /// logarithmic.
  std::uint32_t at(std::size_t position) const;

  void reserve(std::size_t count) { places_.reserve(count); }
  /// Returns the place.
  std::uint32_t append(std::uint32_t number);
  /// Leaves a gap. Logarithmic, but linear for the first gap.
  void erase(std::size_t place);
  bool hasGaps() const { return gaps_ > 0; }
  /// Whether most places are gaps: time to closeGaps().
  bool isSparse() const { return gaps_ > size(); }

  // These are linear, and numbers move to other places.
  void closeGaps();
  void insert(std::size_t position, std::uint32_t number);
  /// Removes a number wherever it stands.
  void removeEach(std::uint32_t number);
  void assign(std::vector<std::uint32_t> numbers);

 private:
  static constexpr std::size_t kBlock = 64;

  static std::size_t lowestBit(std::size_t node) { return node & (~node + 1); }
  void countBlocks();
  void countAppended(std::size_t place);
  void addToBlock(std::size_t place, std::uint32_t change);

  std::vector<std::uint32_t> places_;
  std::size_t gaps_ = 0;
  /// Node i counts the live numbers of the lowestBit(i) blocks up to the i-th. Empty without gaps.
  std::vector<std::uint32_t> live_;
};

}  // namespace kelm
