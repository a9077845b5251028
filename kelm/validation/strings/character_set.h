#pragma once

#include <array>
#include <string_view>
#include <vector>

#include "kelm/base/export.h"

namespace kelm {

/// A set of Unicode characters. A value type, never changed.
class KELM_API CharacterSet {
 public:
  CharacterSet() = default;
  /// The characters of a text; malformed bytes give U+FFFD.
  explicit CharacterSet(std::string_view characters);
  /// Unicode's White_Space characters, line ends included, and the zero-width space U+200B.
  static const CharacterSet& whitespaceAndNewline();

  CharacterSet joinedWith(const CharacterSet& other) const;
  bool contains(char32_t character) const {
    return character < low_.size() ? low_[character] : containsHigh(character);
  }

 private:
  void addHigh(const std::vector<char32_t>& characters);
  bool containsHigh(char32_t character) const;

  std::array<bool, 128> low_{};
  std::vector<char32_t> high_;  // sorted, from U+0080 on
};

}  // namespace kelm
