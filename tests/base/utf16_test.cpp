#include "kelm/base/utf16.h"

#include <gtest/gtest.h>

#include <random>
#include <tuple>

namespace kelm {
namespace {

constexpr const char* kFace = "\U0001F600";  // two units, four bytes
const std::string kBad = "\uFFFD";

TEST(Utf16, CountsPairsAsTwoAndMalformedBytesAsOneUnitEach) {
  using Row = std::pair<std::string, std::size_t>;
  const Row rows[] = {Row{"", 0}, Row{"twelve bytes and more", 21}, Row{"\u00e9\u20ac", 2},
                      Row{std::string("a\0b", 3), 3},
                      // foreign bytes, cut, overlong, a surrogate, above the last character
                      Row{"\xff\xfe", 2}, Row{"\xe2\x82", 2}, Row{"\xf0\x9f\x98", 3},
                      Row{"\xc0\x80", 2}, Row{"\xe0\x80\x80", 3}, Row{"\xf0\x80\x80\x80", 4},
                      Row{"\xed\xa0\x80", 3}, Row{"\xf4\x90\x80\x80", 4}};
  for (const auto& [text, units] : rows)
    EXPECT_EQ(utf16Length(text), units) << text;
}

TEST(Utf16, SubstringsEndWithTheTextAndShowAReplacementForHalfOfAPair) {
  const std::string text = std::string("a") + kFace + "b";
  using Row = std::tuple<std::size_t, std::size_t, std::string>;
  for (const auto& [location, length, expected] :
       {Row{0, 2, "a" + kBad}, Row{2, 2, kBad + "b"}, Row{4, 1, ""}, Row{9, 9, ""},
        Row{0, SIZE_MAX, text}, Row{2, SIZE_MAX, kBad + "b"}, Row{SIZE_MAX, SIZE_MAX, ""}})
    EXPECT_EQ(utf16Substring(text, location, length), expected) << location << ' ' << length;
}

/// One unit of text after another, without any short cut.
std::vector<std::string> unitsOf(std::string_view text) {
  std::vector<std::string> units;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t length = 1;  // of the shortest piece that is valid, so of one character
    while (length <= 4 && !(at + length <= text.size() && isValidUtf8(text.substr(at, length))))
      ++length;
    if (length == 5) length = 0;
    units.push_back(length == 0 ? kBad : std::string(text.substr(at, length)));
    if (length == 4) units.emplace_back();  // the low half
    at += std::max<std::size_t>(length, 1);
  }
  return units;
}

TEST(Utf16, EveryCutOfRandomTextAgreesWithWalkingUnitByUnit) {
  std::mt19937 random(3);
  const std::string pieces[] = {"a",   "0123456789", "\u00e9",   "\u20ac",
                                kFace, "\xff",       "\xe2\x82", "\x80"};
  for (int round = 0; round < 200; ++round) {
    std::string text;
    for (unsigned i = random() % 8; i > 0; --i)
      text += pieces[random() % std::size(pieces)];
    const std::vector<std::string> units = unitsOf(text);
    ASSERT_EQ(utf16Length(text), units.size()) << text;
    for (std::size_t from = 0; from <= units.size(); ++from)
      for (std::size_t to = from; to <= units.size(); ++to) {
        std::string expected;
        for (std::size_t i = from; i < to; ++i) {
          const bool isCutHigh = units[i].size() == 4 && i + 1 == to;
          expected += isCutHigh || (units[i].empty() && i == from) ? kBad : units[i];
        }
        ASSERT_EQ(utf16Substring(text, from, to - from), expected) << text << from << ' ' << to;
      }
  }
}

}  // namespace
}  // namespace kelm
