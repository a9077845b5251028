#include "kelm/validation/strings/zu_string_util.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "kelm/base/export.h"
#include "kelm/base/format.h"
#include "kelm/testing/log_capture.h"

// Fontconfig links its patterns by offsets, which the leak checker cannot follow.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" KELM_API const char* __lsan_default_suppressions();
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

namespace kelm {
namespace {

using Lines = std::vector<std::string>;

Size measured(std::optional<std::string_view> text, const std::optional<Font>& font,
              Size reference = {}) {
  return ZuStringUtil::sizeOfString_withFont_referenceSize_adjustSizeToFillWidth(text, font,
                                                                                 reference, false);
}

TEST(StringUtil, EscapesForJsonOnlyWhatItNames) {
  const std::string blanks(31, ' ');
  using Row = std::pair<std::string, std::string>;
  for (const auto& [text, escaped] :
       {Row{"", ""}, Row{R"(a"b/c\d)", R"(a\"b\/c\d)"}, Row{"\n\b\f\r\t", R"(\n\b\f\r\t)"},
        Row{std::string("\0\v\x1F\x7F", 4), std::string("\0\v\x1F\x7F", 4)},
        Row{"\u00E9\U0001F600\xFF", "\u00E9\U0001F600\xFF"},
        Row{blanks + "/" + blanks, blanks + "\\/" + blanks}, Row{blanks + " \"", blanks + " \\\""}})
    EXPECT_EQ(ZuStringUtil::escapeStringForJSON(text), escaped) << text;
  EXPECT_EQ(ZuStringUtil::escapeStringForJSON(std::string(1000000, '"')).size(), 2000000U);
}

TEST(StringUtil, EscapesForXmlEveryUnitButAFew) {
  const std::string kept = "*+,-./0123456789_ABCXYZabcxyz";
  const std::string words(300, 'w');
  using Row = std::pair<std::string, std::string>;
  for (const auto& [text, escaped] :
       {Row{"", ""}, Row{"B64:AA &", "B64:AA &"}, Row{" B64:", "&#32;B64&#58;"}, Row{kept, kept},
        Row{"a&b", "a&#38;b"}, Row{")^`@[{:", "&#41;&#94;&#96;&#64;&#91;&#123;&#58;"},
        Row{std::string("\0\t\x7F", 3), "&#0;&#9;&#127;"}, Row{"\u00E9\u20AC", "&#233;&#8364;"},
        Row{"x\U0001F600y", "x&#55357;&#56832;y"}, Row{"a\xF0\x9F", "a&#65533;&#65533;"},
        Row{words + "<" + words, words + "&#60;" + words}})
    EXPECT_EQ(ZuStringUtil::escapeStringForXML(text), escaped) << text;
  EXPECT_EQ(ZuStringUtil::escapeStringForXML(std::nullopt), std::nullopt);
  EXPECT_EQ(ZuStringUtil::escapeStringForXML(Null()), std::nullopt);
  EXPECT_EQ(ZuStringUtil::escapeStringForXML(std::string(1000, '<')).value().size(), 5000U);
}

TEST(StringUtil, ChangesTheCaseAsTheLanguageDoes) {
  using Row = std::array<const char*, 4>;
  for (const auto& [text, locale, lower, upper] :
       {Row{"Title I", "en_US", "title i", "TITLE I"}, Row{"Iiİı", "tr_TR", "ıiiı", "IİİI"},
        Row{"İ", "en_US", "i\u0307", "İ"}, Row{"Straße", "de_DE", "straße", "STRASSE"},
        Row{"ΟΔΟΣ ά", "el_GR", "οδος ά", "ΟΔΟΣ Α"}, Row{"ά", "en_US", "ά", "Ά"},
        Row{"Ì", "lt_LT", "i\u0307\u0300", "Ì"},
        Row{"i\u0307\u0300", "lt", "i\u0307\u0300", "I\u0300"},
        Row{"\U00010400\U00010428", "", "\U00010428\U00010428", "\U00010400\U00010400"},
        Row{"a\xFF", "nonsense_locale_", "a\uFFFD", "A\uFFFD"}}) {
    EXPECT_EQ(ZuStringUtil::lowercaseOfString_withLocale(text, locale), lower);
    EXPECT_EQ(ZuStringUtil::uppercaseOfString_withLocale(text, locale), upper);
  }
  EXPECT_EQ(ZuStringUtil::uppercaseOfString_withLocale("i", std::nullopt), "I");
}

TEST(StringUtil, CapitalisesWordsAndSentences) {
  using Row = std::array<const char*, 5>;
  for (const auto& [text, locale, words, sentences, whole] :
       {Row{"jean-luc o'neil", "en", "Jean-Luc O'Neil", "Jean-luc o'neil", "Jean-luc o'neil"},
        Row{"  hELLO wORLD", "en", "  Hello World", "  Hello world", "  Hello world"},
        Row{"hello WORLD. how are YOU? fine", "en", "Hello World. How Are You? Fine",
            "Hello world. How are you? Fine", "Hello world. how are you? fine"},
        Row{" \u00A0\u200B\n", "en", " \u00A0\u200B\n", " \u00A0\u200B\n", " \u00A0\u200B\n"},
        Row{"..a.!\u2003bC", "en", "..A.!\u2003Bc", "..A.!\u2003Bc", "..a.!\u2003bc"},
        Row{"istanbul IRMAK", "tr", "İstanbul Irmak", "İstanbul ırmak", "İstanbul ırmak"},
        Row{"ßtraße", "de", "SStraße", "SStraße", "SStraße"},
        Row{"ΟΔΟΣ ΟΔΟΣ", "el", "Οδος Οδος", "Οδος οδος", "Οδος οδος"},
        Row{"\U00010428A", "en", "\U00010428a", "\U00010428a", "\U00010428a"},
        Row{"\U0001F600 b\U0001F600C", "en", "\U0001F600 B\U0001F600c", "\U0001F600 b\U0001F600c",
            "\U0001F600 b\U0001F600c"}}) {
    EXPECT_EQ(ZuStringUtil::capitalWordsOfString_withLocale(text, locale), words);
    EXPECT_EQ(ZuStringUtil::capitalSentencesOfString_withLocale(text, locale), sentences);
    EXPECT_EQ(ZuStringUtil::capitalizeString_withLocale(text, locale), whole);
  }
  const CharacterSet smiles("\U0001F600");
  EXPECT_EQ(ZuStringUtil::capitalizeWordsOfString_afterSeparators_withLocale("a\U0001F600bC d",
                                                                             &smiles, "en"),
            "A\U0001F600Bc d");
  EXPECT_EQ(ZuStringUtil::capitalizeWordsOfString_afterSeparators_withLocale("a.b", nullptr, "en"),
            "A.b");
}

TEST(StringUtil, LogsAbsentAndEmptyTexts) {
  const testing::LogCapture log;
  for (auto* change :
       {ZuStringUtil::lowercaseOfString_withLocale, ZuStringUtil::uppercaseOfString_withLocale,
        ZuStringUtil::capitalWordsOfString_withLocale,
        ZuStringUtil::capitalSentencesOfString_withLocale,
        ZuStringUtil::capitalizeString_withLocale}) {
    EXPECT_EQ(change(std::nullopt, "en"), std::nullopt);
    EXPECT_EQ(change("", "en"), "");
  }
  const std::string empty = "ERROR capitalWordsOfString: <empty> is <empty>";
  const std::string words = "ERROR capitalWordsOfString: nil is nil";
  EXPECT_EQ(log.lines(),
            (Lines{"ERROR lowercaseOfString: nil is nil", empty,
                   "ERROR uppercaseOfString: nil is nil", empty, words, empty, words, empty}));
  for (const auto& record : log.records())
    EXPECT_EQ(record.aspect, 0x200000);
}

TEST(StringUtil, FindsRunsByUtf16Position) {
  const CharacterSet set(" \U0001F600");
  const CharacterSet replacement("\uFFFD");
  const TextRange none{std::numeric_limits<std::int64_t>::max(), 0};
  const std::string text = "a\U0001F600 b \xFF";
  constexpr auto& within = ZuStringUtil::rangeOfCharacterFromSet_range_inString;
  using Row = std::pair<TextRange, TextRange>;
  for (const auto& [range, found] :
       {Row{{0, 7}, {1, 3}}, Row{{0, 3}, {1, 2}}, Row{{0, 2}, none}, Row{{2, 5}, {3, 1}},
        Row{{4, 1}, none}, Row{{4, 99}, {5, 1}}, Row{{7, 1}, none}, Row{{99, 1}, none},
        Row{{-5, 99}, {1, 3}}, Row{{0, -1}, none}})
    EXPECT_EQ(within(&set, range, text), found) << range.location << '+' << range.length;
  constexpr auto& search = ZuStringUtil::rangeOfCharacterFromSet_inString;
  EXPECT_EQ(search(&set, text), (TextRange{1, 3}));
  EXPECT_EQ(search(&replacement, text), (TextRange{6, 1}));
  EXPECT_EQ(search(nullptr, text), none);
  EXPECT_EQ(search(&set, std::nullopt), none);
  EXPECT_EQ(search(&set, ""), none);
  constexpr auto& searchFrom = ZuStringUtil::firstRangeOfCharsInSet_inString_fromIndex;
  EXPECT_EQ(searchFrom(&set, text, 4), (TextRange{5, 1}));
  EXPECT_EQ(searchFrom(&set, text, 7), none);
}

TEST(StringUtil, KeepsItsTwoSets) {
  const CharacterSet& words = ZuStringUtil::getWordTerminalCharacterSet();
  for (const char32_t c : U".?!',;:/()- \t\u0085\u00A0\u200B\u2029\u3000")
    EXPECT_EQ(words.contains(c), c != 0) << static_cast<std::uint32_t>(c);
  for (const char32_t c : U"\"_&a0\u200C\uFEFF")
    EXPECT_FALSE(words.contains(c)) << static_cast<std::uint32_t>(c);
  const CharacterSet& sentences = ZuStringUtil::getSentenceTerminalCharacterSet();
  EXPECT_TRUE(sentences.contains('!'));
  EXPECT_FALSE(sentences.contains(' ') || sentences.contains(';'));
}

TEST(StringUtil, MeasuresTextWithTheFontsLeadingUnlessToldNot) {
  // A hundred points of Liberation Sans: 90.53 up, 21.19 down, 3.27 between lines.
  const Font font{"Liberation Sans", 100};
  EXPECT_EQ(measured("Ag", font).height, 115);
  EXPECT_EQ(measured("Ag\nAg", font).height, 230);
  ZuStringUtil::fontLeadingInComputationsDisabled(true);
  EXPECT_EQ(measured("Ag", font).height, 112);
  EXPECT_EQ(measured("Ag\nAg", font).height, 224);
  ZuStringUtil::fontLeadingInComputationsDisabled(false);
}

TEST(StringUtil, MeasuresWithinTheReferenceSize) {
  const Font font{"DejaVu Sans", 100};  // a line is 116.41 high, an "a" 61.28 wide
  EXPECT_EQ(measured("aaa", font), (Size{184, 117}));
  EXPECT_EQ(measured("a aa", font, {140, 0}), (Size{123, 233}));
  EXPECT_EQ(measured("aaaaa", font, {140, 0}), (Size{123, 350}));
  EXPECT_EQ(measured("aaaaa", font, {140, 240}), (Size{123, 233}));
  EXPECT_EQ(measured("aaaaa", font, {140, 5}), (Size{123, 117}));
  EXPECT_EQ(measured("aaa", font, {1e300, -1}), (Size{184, 117}));
  // Texts and fonts without a bound: linear, and never past what Pango can count.
  const std::string line(100000, 'a');
  EXPECT_NEAR(measured(line, font).width, 6128e3, 2e4);
  EXPECT_NEAR(measured("aaa", Font{"DejaVu Sans", 1e9}).width, 1.838e9, 1e7);
}

TEST(StringUtil, RoundsSizesUpAndLogsSmallOnes) {
  const testing::LogCapture log;
  const auto withSize = [](double size) { return Font{"DejaVu Sans", size}; };
  EXPECT_EQ(measured("aaaa", withSize(8)), (Size{20, 10}));   // 9.31
  EXPECT_EQ(measured("il", withSize(4.5)), (Size{3, 6}));     // 2.5 x 5.24
  EXPECT_EQ(measured("aaaa", withSize(7.5)), (Size{19, 9}));  // 8.73
  EXPECT_EQ(measured("", withSize(10)), (Size{0, 12}));
  EXPECT_EQ(measured(std::nullopt, withSize(10), {9.5, 2}), Size{});
  EXPECT_EQ(measured("a", withSize(std::nan(""))), Size{});
  EXPECT_EQ(ZuStringUtil::sizeOfString_withFont_referenceSize_adjustSizeToFillWidth(
                "a", std::nullopt, {100, 50}, true),
            Size{});
  const std::string dimension =
      "ERROR INVALID DIMENSION THE STR:%@ withFont:<Font: DejaVu Sans; "
      "size: %@> isRefSize:%@ adj:NO hasSize:%@";
  const auto line = [&](auto... parts) { return formatAtRunTime(dimension, parts...); };
  EXPECT_EQ(
      log.lines(),
      (Lines{line("il", "4.5", "{0, 0}", "{3, 6}"), line("aaaa", "7.5", "{0, 0}", "{19, 9}"),
             line("", "10", "{0, 0}", "{0, 12}"), line("(null)", "10", "{9.5, 2}", "{0, 0}"),
             line("a", "NaN", "{0, 0}", "{0, 0}"),
             "FATAL INVALID NIL FONT THE STR:a withFont:(null) isRefSize:{100, 50} adj:YES"}));
  for (const auto& record : log.records())
    EXPECT_EQ(record.aspect, 0xa00000);
}

TEST(StringUtil, MeasuresHostileText) {
  const testing::LogCapture log;
  const Font font{"DejaVu Sans", 12};
  EXPECT_EQ(measured(std::string("a\0b", 3), font), measured("ab", font));
  EXPECT_EQ(measured("\xF0\x9F", font), measured("\uFFFD\uFFFD", font));
  EXPECT_GT(measured("a", Font{std::string("No Such Family\0", 15), 12}).width, 3);
  EXPECT_GT(measured(std::string(10000, '\n'), font).height, 100000);
}

}  // namespace
}  // namespace kelm
