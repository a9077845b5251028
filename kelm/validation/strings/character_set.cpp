#include "kelm/validation/strings/character_set.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>

#include "kelm/validation/icu_text.h"

namespace kelm {

CharacterSet::CharacterSet(std::string_view characters) {
  const icu::UnicodeString text = icuText(characters);
  std::vector<char32_t> high;
  for (std::int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
    const auto character = static_cast<char32_t>(text.char32At(at));
    if (character < low_.size())
      low_[character] = true;
    else
      high.push_back(character);
  }
  addHigh(high);
}

const CharacterSet& CharacterSet::whitespaceAndNewline() {
  static const auto& set = *new CharacterSet(
      "\t\n\v\f\r \u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009"
      "\u200A\u200B\u2028\u2029\u202F\u205F\u3000");
  return set;
}

CharacterSet CharacterSet::joinedWith(const CharacterSet& other) const {
  CharacterSet joined = *this;
  for (std::size_t low = 0; low < low_.size(); ++low)
    joined.low_[low] = low_[low] || other.low_[low];
  joined.addHigh(other.high_);
  return joined;
}

void CharacterSet::addHigh(const std::vector<char32_t>& characters) {
  high_.insert(high_.end(), characters.begin(), characters.end());
  std::sort(high_.begin(), high_.end());
  high_.erase(std::unique(high_.begin(), high_.end()), high_.end());
}

bool CharacterSet::containsHigh(char32_t character) const {
  return std::binary_search(high_.begin(), high_.end(), character);
}

}  // namespace kelm
