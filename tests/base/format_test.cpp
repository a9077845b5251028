#include "kelm/base/format.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>

namespace kelm {
namespace {

TEST(Format, DescribesEveryKindOfArgument) {
  EXPECT_EQ(format("%@|%@|%@|%@", 1, 1.5, true, "text"), "1|1.5|1|text");
  EXPECT_EQ(format("%@ %@", std::optional<std::string>(), std::string("x")), "(null) x");
  EXPECT_EQ(format("%@", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(format("%@", std::optional<Error>(posixError(1))), describe(posixError(1)));
  EXPECT_EQ(format("%2$@ %1$@ %2$@", "a", "b"), "b a b");
  EXPECT_EQ(format("%-6@|%6@|%.2@", "ab", 7, "abc"), "ab    |     7|ab");
}

TEST(FormatAtRunTime, HostileFormatsPrintAsTheyStandOrSayWhatIsMissing) {
  for (const char* cut :
       {"%", "100%", "%5", "%-08.3ll", "%1$", "%*", "%0$d", "% ", "%\xc3\xa9", ""})
    EXPECT_EQ(formatAtRunTime(cut, 7, "text", 1.5), cut);
  using Row = std::pair<const char*, const char*>;
  const Row rows[] = {// unknown conversions, arguments that are missing or of another kind
                      Row{"%y%d", "%y7"}, Row{"%k %d", "%k 7"}, Row{"%$d", "%$d"},
                      Row{"%%%%", "%%"}, Row{"%5%|%-%", "%|%"},
                      Row{"%d %s %f %d", "7 text 1.500000 (missing)"}, Row{"%9$d", "(missing)"},
                      Row{"%99999999999999999999$d", "(missing)"}, Row{"%s", "7"},
                      Row{"%2$d %2$f %2$c %2$p %2$x", "text text text text text"},
                      Row{"%3$d %3$s %3$x %3$c", "1.5 1.5 1.5 1.5"}, Row{"%1$f %1$g %1$p", "7 7 7"},
                      Row{"%n%s", "text"}, Row{"%1$n", ""}, Row{"%ls %hhs", "7 text"},
                      // widths from arguments that are none, and one that is
                      Row{"%2$*2$s", "text"}, Row{"%2$*9$s", "text"}, Row{"%2$.*3$s", "text"},
                      Row{"%2$-*1$s|", "text   |"}};
  for (const auto& [format, expected] : rows)
    EXPECT_EQ(formatAtRunTime(format, 7, "text", 1.5), expected) << format;
}

TEST(FormatAtRunTime, WidthsAndPrecisionsAreCappedAndCutNoUtf8Sequence) {
  EXPECT_EQ(formatAtRunTime("%99999999999d", 1).size(), 4096U);
  EXPECT_EQ(formatAtRunTime("%.99999999999d", 1).size(), 4096U);
  EXPECT_EQ(formatAtRunTime("%*d", std::numeric_limits<std::int64_t>::min(), 1).size(), 4096U);
  EXPECT_EQ(formatAtRunTime("%*d", std::numeric_limits<std::uint64_t>::max(), 1).size(), 4096U);
  const double most = std::numeric_limits<double>::max();
  EXPECT_EQ(formatAtRunTime("%.5000f", -most).size(), 1U + 309 + 1 + 4096);
  EXPECT_EQ(formatAtRunTime("%#.5000g", 0x1p-1074).size(),
            formatAtRunTime("%.4095e", 1.0).size() + 1);
  EXPECT_EQ(formatAtRunTime("%.*d", -5, 3), "3");
  EXPECT_EQ(format("[%.3s|%.2s]", "a\u00e9\u00e9", "a\u00e9"), "[a\u00e9|a]");
  EXPECT_EQ(format("[%.3s|%.4s]", "\U0001F600", "\U0001F600x"), "[|\U0001F600]");
  EXPECT_EQ(format("[%.6s]", "\x80\x80\x80\x80\x80\x80\x80\x80"), "[\x80\x80\x80\x80\x80\x80]");
}

/// The same conversion by the C library and by ours.
template <class T>
void expectAsPrintf(const std::string& conversion, T value) {
  char expected[1024];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int length = std::snprintf(expected, sizeof expected, conversion.c_str(), value);
#pragma GCC diagnostic pop
  ASSERT_LT(length, static_cast<int>(sizeof expected));
  ASSERT_EQ(formatAtRunTime(conversion, value), expected) << conversion;
}

std::string randomConversion(std::mt19937_64& random, std::string_view letters,
                             std::string_view length, std::string_view flags) {
  std::string conversion = "%";
  for (const char flag : flags)
    if (random() % 4 == 0) conversion += flag;
  if (random() % 2 == 0) conversion += std::to_string(random() % 30 + 1);
  if (random() % 2 == 0)
    conversion += "." + (random() % 5 == 0 ? std::string() : std::to_string(random() % 25));
  return conversion.append(length) += letters[random() % letters.size()];
}

TEST(Format, RandomIntegersPrintAsTheCLibraryPrintsThem) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t bits = random() >> random() % 64;
    const auto conversion = [&](std::string_view letters, std::string_view length) {
      // '#' has no meaning for d, i and u, '+' and ' ' have none for the others
      const char* const flags = letters == "di" ? "-+ 0" : letters == "u" ? "-0" : "-#0";
      return randomConversion(random, letters, length, flags);
    };
    expectAsPrintf(conversion("di", "ll"), static_cast<long long>(bits));
    expectAsPrintf(conversion("di", ""), static_cast<int>(bits));
    expectAsPrintf(conversion("di", "hh"), static_cast<int>(bits));
    expectAsPrintf(conversion("xXo", "h"), static_cast<unsigned>(bits));
    expectAsPrintf(conversion("xXo", "z"), static_cast<std::size_t>(bits));
    expectAsPrintf(conversion("u", "j"), static_cast<std::uintmax_t>(bits));
  }
}

TEST(Format, RandomRealsPrintAsTheCLibraryPrintsThem) {
  std::mt19937_64 random(2);
  for (int i = 0; i < 20000; ++i) {
    const double any = std::bit_cast<double>(random());
    const double ordinary =
        static_cast<double>(static_cast<std::int64_t>(random() >> random() % 64)) /
        std::pow(10, static_cast<double>(random() % 8));
    for (const double value : {any, ordinary, -ordinary})
      expectAsPrintf(randomConversion(random, "fFeEgG", "", "-+ #0"), value);
  }
  for (const double value : {0.0, -0.0, 0.5, 1.5, 2.5, 9.5, 99.5, 9.9999e-5, 999999.5, 1e6, 5e-324,
                             HUGE_VAL, -HUGE_VAL, std::nan("")})
    for (int i = 0; i < 200; ++i)
      expectAsPrintf(randomConversion(random, "fFeEgG", "", "-+ 0"), value);
}

}  // namespace
}  // namespace kelm
