#include "kelm/device/small_categories.h"

#include <gtest/gtest.h>

#include "kelm/base/error.h"

namespace kelm::testing {
namespace {

TEST(SmallCategories, SizesKeepTheirLowest32Bits) {
  EXPECT_EQ(lengthInt("a\xF0\x9F\x92\xB3"), 3);
  if constexpr (sizeof(std::size_t) > 4) {
    const Value value;
    const std::uint8_t byte = 0;
    // Sizes alone are read, so nothing need be behind them.
    EXPECT_EQ(countInt({&value, (1ULL << 32) + 1}), 1);
    EXPECT_EQ(lengthInt(DataView(&byte, 0xFFFFFFFF)), -1);
    EXPECT_EQ(lengthUnsignedInt(DataView(&byte, 0xFFFFFFFF)), 0xFFFFFFFF);
  }
}

TEST(SmallCategories, MarkersCutTheTextOrRaise) {
  EXPECT_EQ(substringFromMarkerString("key=value=", "="), "value=");
  const struct {
    std::string text, start, end;
    std::optional<std::string> between;  // absent: raises
  } kRows[] = {
      {"<a>text</a>", "<a>", "</a>", "text"},
      {"<a></a>", "<a>", "</a>", ""},
      {"]x[y]", "[", "]", {}},  // the first end of all lies before the start
      {"ab", "ab", "b", {}},    // the end lies inside of the start
      {"text</a>", "<a>", "</a>", {}},
      {"<a>text", "<a>", "</a>", {}},
      {"text", "", "t", {}},
  };
  for (const auto& row : kRows) {
    if (row.between)
      EXPECT_EQ(substringFromMarkerString_toMarkerString(row.text, row.start, row.end),
                row.between);
    else
      EXPECT_THROW((void)substringFromMarkerString_toMarkerString(row.text, row.start, row.end),
                   Exception)
          << row.text;
  }
}

TEST(SmallCategories, AbsentValueKeepsTheEntry) {
  Dictionary dictionary{{"key", 1}};
  setOptionalObject_forKey(dictionary, std::nullopt, "key");
  EXPECT_EQ(dictionary, (Dictionary{{"key", 1}}));
  setOptionalObject_forKey(dictionary, Value(Null{}), "key");
  EXPECT_EQ(dictionary, (Dictionary{{"key", Null{}}}));
}

}  // namespace
}  // namespace kelm::testing
