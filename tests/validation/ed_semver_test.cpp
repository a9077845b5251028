#include "kelm/validation/ed_semver.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
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

TEST(EDSemver, ReadsWhatItCanAndMarksTheRest) {
  const struct {
    std::string text;
    std::string shown;
  } rows[] = {
      {"v1.2.3", "1.2.3||"},
      {"v=1.2.3", "1.2.3||"},
      {" v 1. 2.3 ", "1.2.3||"},
      {"=v1.2.3", "invalid"},
      {"1.2", "1.2.0||"},
      {"1", "1.0.0||"},
      {"01.0.007", "1.0.7||"},
      {"1.0.0-alpha-2", "1.0.0|2|"},
      {"1.0.0-rc.1+build.5", "1.0.0|rc.1|build.5"},
      {"1.0.0+a+b-c", "1.0.0||b-c"},
      {"1.2.3.4", "1.2.3|4|"},
      {"1.2.3.4-beta+7", "1.2.3|4|beta"},
      {"1.2.3.4.5-beta+7", "1.2.3|4|5"},
      {"-1", "invalid"},
      {"", "invalid"},
      {"v", "invalid"},
      {"1..2", "invalid"},
      {"1.x.2", "invalid"},
      {"1a", "invalid"},
      {"1.2.3\n", "invalid"},
      {std::string("1\0.2", 4), "invalid"},
      {"1.2.\xFF", "invalid"},
      {"1e2.\uFF11.\u0663", "1.1.3||"},
      {"99999999999999999999.9223372036854775807.9223372036854775808",
       format("%d.%d.%d||", kMost, kMost, kMost)},
      {std::string(100000, '1'), format("%d.0.0||", kMost)},
      {std::string(100000, '.'), "invalid"},
      {std::string(100000, 'v'), "invalid"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(read(row.text), row.shown) << row.text.substr(0, 40);
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

TEST(EDSemver, RaisesForBlanksAlone) {
  for (const char* blanks : {" ", "   "})
    try {
      EDSemver::semverWithString(blanks);
      ADD_FAILURE() << "nothing raised";
    } catch (const Exception& raised) {
      EXPECT_EQ(raised.name(), exception_name::kRange);
    }
}

TEST(EDSemver, OrdersByNumbersThenByPrereleaseText) {
  const struct {
    const char* a;
    const char* b;
    int order;
  } rows[] = {
      {"1.2.3-beta", "1.2.3", -1},
      {"1.2.3", "1.2.3+build.7", 0},
      {"1.2.3-a+1", "v1.2.3-a+2", 0},
      {"1.2.3-alpha.10", "1.2.3-alpha.9", -1},
      {"1.2.3-alpha", "1.2.3-beta", -1},
      {"1.2.3-alpha", "1.2.3-alpha.1", -1},
      {"1.2.3-Beta", "1.2.3-alpha", -1},
      {"2.0.0", "1.99.99", 1},
      {"1.10.0", "1.9.9", 1},
      {"1.2.10", "1.2.9", 1},
      {"1.2.3.4", "1.2.3", -1},
      {"1-\U0001F600", "1-\uE000", -1},  // D83D before E000
      {"1-\U0001F600", "1-\uD7FF", 1},
  };
  for (const auto& row : rows) {
    const EDSemver a = EDSemver::semverWithString(row.a);
    const EDSemver b = EDSemver::semverWithString(row.b);
    EXPECT_EQ(a.compare(&b), row.order) << row.a << ' ' << row.b;
    EXPECT_EQ(b.compare(&a), -row.order) << row.a << ' ' << row.b;
    EXPECT_EQ(a.isEqualTo(&b), row.order == 0);
    EXPECT_EQ(a.isLessThan(&b), row.order < 0);
    EXPECT_EQ(a.isGreaterThan(&b), row.order > 0);
  }
}

TEST(EDSemver, ComparesOnlyWithValidVersions) {
  const EDSemver version = EDSemver::semverWithString("1.2.3");
  const EDSemver invalid = EDSemver::semverWithString("a.b.c");
  const Object other;
  EXPECT_FALSE(version.isEqualTo(&other) || invalid.isLessThan(&other) ||
               version.isGreaterThan(nullptr));
  const auto reason = [](auto compare) -> std::string {
    try {
      compare();
      return "";
    } catch (const Exception& raised) {
      return raised.what();
    }
  };
  const std::string expected = "NSInvalidArgumentException: nil argument";
  EXPECT_EQ(reason([&] { version.compare(nullptr); }), expected);
  EXPECT_EQ(reason([&] { version.compare(&invalid); }), expected);
  EXPECT_EQ(reason([&] { invalid.isEqualTo(&version); }), expected);
}

}  // namespace
}  // namespace kelm
