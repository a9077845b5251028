#include "kelm/base/utf16.h"

#include <gtest/gtest.h>

#include <random>

namespace kelm {
namespace {

constexpr const char* kFace = "\U0001F600";  // two units, four bytes
const std::string kBad = "\uFFFD";

TEST(Utf16, CountsPairsAsTwoAndMalformedBytesAsOneUnitEach) {
  const std::pair<std::string, std::size_t> rows[] = {
      {"", 0},
      {"abc", 3},
      {"twelve bytes and more", 21},
      {"\u00e9\u20ac", 2},
      {kFace, 2},
      {std::string("0123456") + kFace + "89", 11},
      {"\xff\xfe", 2},
      {"\xe2\x82", 2},          // cut
      {"\xf0\x9f\x98", 3},      // cut
      {"\xc0\x80", 2},          // overlong
      {"\xe0\x80\x80", 3},      // overlong
      {"\xf0\x80\x80\x80", 4},  // overlong
      {"\xed\xa0\x80", 3},      // a surrogate
      {"\xf4\x90\x80\x80", 4},  // above the last character
      {std::string("a\0b", 3), 3},
  };
  for (const auto& [text, units] : rows)
    EXPECT_EQ(utf16Length(text), units) << text;
}

TEST(Utf16, SubstringsShowAReplacementForEachHalfOfACutPair) {
  const std::string text = std::string("a") + kFace + "b";
  const struct {
    std::size_t location, length;
    std::string expected;
  } rows[] = {
      {0, 4, text},
      {0, 1, "a"},
      {0, 2, "a" + kBad},
      {1, 2, kFace},
      {1, 1, kBad},
      {2, 1, kBad},
      {2, 2, kBad + "b"},
      {3, 1, "b"},
      {4, 1, ""},
      {9, 9, ""},
      {1, 0, ""},
      {2, 0, ""},
      {0, SIZE_MAX, text},
      {2, SIZE_MAX, kBad + "b"},
      {SIZE_MAX, SIZE_MAX, ""},
  };
  for (const auto& row : rows)
    EXPECT_EQ(utf16Substring(text, row.location, row.length), row.expected)
        << row.location << ' ' << row.length;
  EXPECT_EQ(utf16Substring("a\xff\xfe"
                           "b",
                           1, 2),
            kBad + kBad);
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
          const bool isLow = units[i].empty();
          const bool isCutHigh = units[i].size() == 4 && i + 1 == to;
          if (isCutHigh || (isLow && i == from))
            expected += kBad;
          else
            expected += units[i];
        }
        ASSERT_EQ(utf16Substring(text, from, to - from), expected) << text << from << ' ' << to;
      }
  }
}

}  // namespace
}  // namespace kelm
