#include "kelm/collections/key_order.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace kelm {

std::uint32_t KeyOrder::at(std::size_t position) const {
  if (gaps_ == 0) return places_[position];
  std::size_t node = 0;  // so many blocks lie before the one with the position
  for (std::size_t step = std::bit_floor(live_.size() - 1); step > 0; step /= 2) {
    if (node + step >= live_.size() || live_[node + step] > position) continue;
    node += step;
    position -= live_[node];
  }
  for (std::size_t place = node * kBlock;; ++place)
    if (places_[place] != kGap && position-- == 0) return places_[place];
}

std::uint32_t KeyOrder::append(std::uint32_t number) {
  const std::size_t place = places_.size();
  places_.push_back(number);
  if (gaps_ > 0) countAppended(place);
  return static_cast<std::uint32_t>(place);
}

void KeyOrder::erase(std::size_t place) {
  if (gaps_ == 0) countBlocks();
  places_[place] = kGap;
  ++gaps_;
  addToBlock(place, static_cast<std::uint32_t>(-1));
}

void KeyOrder::closeGaps() { removeEach(kGap); }

void KeyOrder::insert(std::size_t position, std::uint32_t number) {
  closeGaps();
  places_.insert(places_.begin() + static_cast<std::ptrdiff_t>(position), number);
}

void KeyOrder::removeEach(std::uint32_t number) {
  std::erase_if(places_, [&](std::uint32_t each) { return each == number || each == kGap; });
  gaps_ = 0;
  live_.clear();
}

void KeyOrder::assign(std::vector<std::uint32_t> numbers) {
  places_ = std::move(numbers);
  gaps_ = 0;
  live_.clear();
}

void KeyOrder::countBlocks() {
  const std::size_t blocks = (places_.size() + kBlock - 1) / kBlock;
  live_.assign(blocks + 1, 0);
  for (std::size_t node = 1; node <= blocks; ++node) {
    live_[node] +=
        static_cast<std::uint32_t>(std::min(kBlock, places_.size() - (node - 1) * kBlock));
    const std::size_t parent = node + lowestBit(node);
    if (parent <= blocks) live_[parent] += live_[node];
  }
}

void KeyOrder::countAppended(std::size_t place) {
  const std::size_t node = place / kBlock + 1;
  if (node < live_.size()) return addToBlock(place, 1);
  std::uint32_t count = 1;
  for (std::size_t below = node - 1; below > node - lowestBit(node); below -= lowestBit(below))
    count += live_[below];
  live_.push_back(count);
}

void KeyOrder::addToBlock(std::size_t place, std::uint32_t change) {
  for (std::size_t node = place / kBlock + 1; node < live_.size(); node += lowestBit(node))
    live_[node] += change;
}

}  // namespace kelm
