#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace kelm {

/// Hands out what a collection held when the enumerator was made, one after the other.
template <class T>
class Enumerator {
 public:
  explicit Enumerator(std::vector<T> all) : all_(std::move(all)) {}
  /// `nextObject` Absent after the last one, from then on.
  std::optional<T> nextObject() {
    if (next_ == all_.size()) return std::nullopt;
    return std::move(all_[next_++]);
  }

 private:
  std::vector<T> all_;
  std::size_t next_ = 0;
};

}  // namespace kelm
