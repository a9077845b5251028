#include "kelm/validation/strings/zu_string_util.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <atomic>
#include <cmath>

#include "kelm/base/format.h"
#include "kelm/logging/vasp_logger.h"
#include "kelm/validation/icu_text.h"
#include "kelm/validation/strings/escaped_text.h"
#include "kelm/validation/strings/measured_text.h"

namespace kelm {
namespace {

using icu::Locale;
using icu::UnicodeString;

constexpr LogAspect kFont = 0x800000;
constexpr double kLeastWidth = 3;
constexpr double kLeastHeight = 10;
constexpr const char* kSizeOrigin =
    "+[ZuStringUtil sizeOfString:withFont:referenceSize:adjustSizeToFillWidth:]";

std::atomic<bool> disableFontLeadingInComputations = false;

Locale localeOf(ZuStringUtil::Text name) {
  return name ? Locale(std::string(*name).c_str()) : Locale::getRoot();
}

/// The text in the units that ranges count: one for each malformed byte.
UnicodeString unitsOf(std::string_view text) {
  return icuText(isValidUtf8(text) ? std::string(text) : repairedUtf8(text));
}

struct Run {
  std::int32_t start;
  std::int32_t end;
};

/// The first run of the set's characters between `from` and `to`; {to, to} without one.
Run firstRun(const CharacterSet& set, const UnicodeString& text, std::int32_t from,
             std::int32_t to) {
  const char16_t* const units = text.getBuffer();
  Run run{to, to};
  for (std::int32_t at = from; at < to;) {
    const std::int32_t start = at;
    UChar32 character;
    U16_NEXT(units, at, to, character);
    const bool isInSet = set.contains(static_cast<char32_t>(character));
    if (isInSet && run.start == to) run.start = start;
    if (isInSet || run.start == to) continue;
    run.end = start;
    break;
  }
  return run;
}

/// Appends a part of a text, its first character behind white space in upper case.
void appendCapitalized(UnicodeString& out, const UnicodeString& text, std::int32_t from,
                       std::int32_t to, const Locale& locale) {
  const char16_t* const units = text.getBuffer();
  std::int32_t first = from;
  while (first < to && CharacterSet::whitespaceAndNewline().contains(units[first]))
    ++first;  // no white space takes two units
  out.append(text, from, first - from);
  if (first == to) return;
  out.append(UnicodeString(text, first, 1).toUpper(locale));
  out.append(UnicodeString(text, first + 1, to - first - 1).toLower(locale));
}

std::string capitalized(std::string_view typed, const CharacterSet& separators,
                        const Locale& locale) {
  const UnicodeString text = unitsOf(typed);
  UnicodeString out(text.length(), 0, 0);
  for (std::int32_t at = 0; at < text.length();) {
    const Run run = firstRun(separators, text, at, text.length());
    appendCapitalized(out, text, at, run.start, locale);
    out.append(text, run.start, run.end - run.start);
    at = run.end;
  }
  return utf8Text(out);
}

/// Whether there is a text to work on; logs why there is none. `message` is what an absent one
/// logs.
bool hasText(ZuStringUtil::Text text, const char* from, std::string_view message) {
  if (text && !text->empty()) return true;
  VaspLogger::logwithLevel_aspect_from_message(
      log_level::kError, log_aspect::kFrontend, from, "%@",
      text ? "capitalWordsOfString: <empty> is <empty>" : message);
  return false;
}

/// The absent or empty text itself.
std::optional<std::string> same(ZuStringUtil::Text text) {
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

}  // namespace

void ZuStringUtil::fontLeadingInComputationsDisabled(bool disabled) {
  disableFontLeadingInComputations = disabled;
}
bool ZuStringUtil::isFontLeadingInComputationsDisabled() {
  return disableFontLeadingInComputations;
}

std::string ZuStringUtil::escapeStringForJSON(std::string_view text) {
  return escapedForJson(text);
}

std::optional<std::string> ZuStringUtil::escapeStringForXML(Text text) {
  if (!text) return {};
  return text->starts_with("B64:") ? std::string(*text) : escapedForXml(*text);
}

Size ZuStringUtil::sizeOfString_withFont_referenceSize_adjustSizeToFillWidth(
    Text text, const std::optional<Font>& font, Size referenceSize, bool adjust) {
  constexpr LogAspect kAspects = log_aspect::kFrontend | kFont;
  const char* const adjusts = adjust ? "YES" : "NO";
  if (!font) {
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kFatal, kAspects, kSizeOrigin,
        "INVALID NIL FONT THE STR:%@ withFont:%@ isRefSize:%@ adj:%@", text, font, referenceSize,
        adjusts);
    return {};
  }
  Size size;
  if (text)
    size = measuredText(*text, *font, referenceSize, !isFontLeadingInComputationsDisabled());
  size = {std::ceil(size.width), std::ceil(size.height)};
  if (size.width < kLeastWidth || size.height < kLeastHeight)
    VaspLogger::logwithLevel_aspect_from_message(
        log_level::kError, kAspects, kSizeOrigin,
        "INVALID DIMENSION THE STR:%@ withFont:%@ isRefSize:%@ adj:%@ hasSize:%@", text, font,
        referenceSize, adjusts, size);
  return size;
}

std::optional<std::string> ZuStringUtil::lowercaseOfString_withLocale(Text text, Text locale) {
  if (!hasText(text, "+[ZuStringUtil lowercaseOfString:withLocale:]",
               "lowercaseOfString: nil is nil"))
    return same(text);
  return utf8Text(unitsOf(*text).toLower(localeOf(locale)));
}

std::optional<std::string> ZuStringUtil::uppercaseOfString_withLocale(Text text, Text locale) {
  if (!hasText(text, "+[ZuStringUtil uppercaseOfString:withLocale:]",
               "uppercaseOfString: nil is nil"))
    return same(text);
  return utf8Text(unitsOf(*text).toUpper(localeOf(locale)));
}

std::optional<std::string> ZuStringUtil::capitalWordsOfString_withLocale(Text text, Text locale) {
  return capitalizeWordsOfString_afterSeparators_withLocale(text, &getWordTerminalCharacterSet(),
                                                            locale);
}

std::optional<std::string> ZuStringUtil::capitalSentencesOfString_withLocale(Text text,
                                                                             Text locale) {
  return capitalizeWordsOfString_afterSeparators_withLocale(
      text, &getSentenceTerminalCharacterSet(), locale);
}

std::optional<std::string> ZuStringUtil::capitalizeWordsOfString_afterSeparators_withLocale(
    Text text, const CharacterSet* separators, Text locale) {
  if (!hasText(text, "+[ZuStringUtil capitalizeWordsOfString:afterSeparators:withLocale:]",
               "capitalWordsOfString: nil is nil"))
    return same(text);
  return capitalized(*text, separators ? *separators : CharacterSet(), localeOf(locale));
}

std::optional<std::string> ZuStringUtil::capitalizeString_withLocale(Text text, Text locale) {
  if (!text || text->empty()) return same(text);
  return capitalized(*text, CharacterSet(), localeOf(locale));
}

const CharacterSet& ZuStringUtil::getWordTerminalCharacterSet() {
  static const auto& set = *new CharacterSet(
      CharacterSet(".?!',;:/()-").joinedWith(CharacterSet::whitespaceAndNewline()));
  return set;
}

const CharacterSet& ZuStringUtil::getSentenceTerminalCharacterSet() {
  static const auto& set = *new CharacterSet(".?!");
  return set;
}

TextRange ZuStringUtil::firstRangeOfCharsInSet_inString_fromIndex(const CharacterSet* set,
                                                                  Text text, std::int64_t index) {
  return rangeOfCharacterFromSet_range_inString(set, {index, TextRange::kNotFound}, text);
}

TextRange ZuStringUtil::rangeOfCharacterFromSet_inString(const CharacterSet* set, Text text) {
  return firstRangeOfCharsInSet_inString_fromIndex(set, text, 0);
}

TextRange ZuStringUtil::rangeOfCharacterFromSet_range_inString(const CharacterSet* set,
                                                               TextRange range, Text text) {
  if (set == nullptr || !text) return {};
  const UnicodeString units = unitsOf(*text);
  const std::int64_t size = units.length();
  const std::int64_t from = std::clamp<std::int64_t>(range.location, 0, size);
  const std::int64_t to = from + std::clamp<std::int64_t>(range.length, 0, size - from);
  const Run run =
      firstRun(*set, units, static_cast<std::int32_t>(from), static_cast<std::int32_t>(to));
  if (run.start == to) return {};
  return {run.start, run.end - run.start};
}

}  // namespace kelm
