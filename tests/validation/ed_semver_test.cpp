#include "kelm/validation/ed_semver.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "kelm/base/error.h"
#include "kelm/base/format.h"

namespace kelm {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

/// "major.minor.patch|prerelease|build", or "invalid".
std::string read(std::string_view text) {
  const EDSemver version = EDSemver::semverWithString(text);
  if (!version.isValid()) return "invalid";
  return format("%d.%d.%d|%@|%@", version.major(), version.minor(), version.patch(),
                version.prerelease(), version.build());
}

/// What a call raises.
std::string raised(auto call) {
  try {
    call();
  } catch (const Exception& exception) {
    return exception.what();
  }
  return "nothing";
}

TEST(EDSemver, ReadsWhatItCanAndMarksTheRest) {
  using Row = std::pair<std::string, std::string>;
  const Row rows[] = {
      // prefixes, blanks, missing numbers, zeros
      Row{"v1.2.3", "1.2.3||"}, Row{"v=1.2.3", "1.2.3||"}, Row{" v 1. 2.3 ", "1.2.3||"},
      Row{"1.2", "1.2.0||"}, Row{"1", "1.0.0||"}, Row{"01.0.007", "1.0.7||"},
      // prereleases and builds
      Row{"1.0.0-alpha-2", "1.0.0|2|"}, Row{"1.0.0-rc.1+build.5", "1.0.0|rc.1|build.5"},
      Row{"1.0.0+a+b-c", "1.0.0||b-c"}, Row{"1.2.3.4", "1.2.3|4|"},
      Row{"1.2.3.4-beta+7", "1.2.3|4|beta"}, Row{"1.2.3.4.5-beta+7", "1.2.3|4|5"},
      // odd digits, and too many
      Row{"1e2.\uFF11.\u0663", "1.1.3||"},
      Row{"99999999999999999999.9223372036854775807.9223372036854775808",
          format("%d.%d.%d||", kMost, kMost, kMost)},
      Row{std::string(100000, '1'), format("%d.0.0||", kMost)}};
  for (const auto& [text, shown] : rows)
    EXPECT_EQ(read(text), shown) << text.substr(0, 40);
  for (const std::string& text :
       {std::string("=v1.2.3"), std::string("-1"), std::string(), std::string("v"),
        std::string("1..2"), std::string("1.x.2"), std::string("1a"), std::string("1.2.3\n"),
        std::string("1\0.2", 4), std::string("1.2.\xFF"), std::string(100000, '.'),
        std::string(100000, 'v')})
    EXPECT_EQ(read(text), "invalid") << text.substr(0, 40);
  EXPECT_TRUE(raised([] { EDSemver::semverWithString("  "); }).starts_with(exception_name::kRange));
}

TEST(EDSemver, KeepsTheTextAndItsParts) {
  const EDSemver version = EDSemver::initWithString("v1.2-a.b.c.d+e");
  EXPECT_EQ(version.original(), "v1.2-a.b.c.d+e");
  EXPECT_EQ(version.description(), version.original());
  EXPECT_EQ(version.version(), (std::vector<std::string>{"1", "2", "0", "a.b.c.d", "e"}));
  EXPECT_EQ(version.pr(), (std::vector<std::string>{"a", "b", "c", "d"}));
  EXPECT_EQ(EDSemver::initWithString("1-a").pr(), (std::vector<std::string>{"a", "0", "0"}));
  EXPECT_EQ(version.debugDescription(),
            format("<EDSemver: %p (v1.2-a.b.c.d+e)>", static_cast<const void*>(&version)));
  const EDSemver invalid = EDSemver::initWithString("a.b.c-d");
  EXPECT_EQ(invalid.version(), (std::vector<std::string>{"a", "b", "c", "d", ""}));
  EXPECT_TRUE(invalid.prerelease().empty() && invalid.pr().empty());
}

TEST(EDSemver, OrdersByNumbersThenByPrereleaseText) {
  using Row = std::tuple<const char*, const char*, int>;
  for (const auto& [first, second, order] :
       {Row{"1.2.3-beta", "1.2.3", -1}, Row{"1.2.3", "1.2.3+build.7", 0},
        Row{"1.2.3-a+1", "v1.2.3-a+2", 0}, Row{"1.2.3-alpha.10", "1.2.3-alpha.9", -1},
        Row{"1.2.3-alpha", "1.2.3-beta", -1}, Row{"1.2.3-alpha", "1.2.3-alpha.1", -1},
        Row{"1.2.3-Beta", "1.2.3-alpha", -1}, Row{"2.0.0", "1.99.99", 1}, Row{"1.10.0", "1.9.9", 1},
        Row{"1.2.10", "1.2.9", 1}, Row{"1.2.3.4", "1.2.3", -1},
        Row{"1-\U0001F600", "1-\uE000", -1},  // D83D before E000
        Row{"1-\U0001F600", "1-\uD7FF", 1}}) {
    const EDSemver a = EDSemver::semverWithString(first);
    const EDSemver b = EDSemver::semverWithString(second);
    EXPECT_EQ(a.compare(&b), order) << first << ' ' << second;
    EXPECT_EQ(b.compare(&a), -order) << first << ' ' << second;
    EXPECT_EQ(a.isEqualTo(&b), order == 0);
    EXPECT_EQ(a.isLessThan(&b), order < 0);
    EXPECT_EQ(a.isGreaterThan(&b), order > 0);
  }
}

TEST(EDSemver, ComparesOnlyWithValidVersions) {
  const EDSemver version = EDSemver::semverWithString("1.2.3");
  const EDSemver invalid = EDSemver::semverWithString("a.b.c");
  const Object other;
  EXPECT_FALSE(version.isEqualTo(&other) || invalid.isLessThan(&other) ||
               version.isGreaterThan(nullptr));
  const std::string expected = "NSInvalidArgumentException: nil argument";
  EXPECT_EQ(raised([&] { version.compare(nullptr); }), expected);
  EXPECT_EQ(raised([&] { version.compare(&invalid); }), expected);
  EXPECT_EQ(raised([&] { invalid.isEqualTo(&version); }), expected);
}

}  // namespace
}  // namespace kelm
