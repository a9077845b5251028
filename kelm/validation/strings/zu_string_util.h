#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/base/utf16.h"
#include "kelm/base/value.h"
#include "kelm/validation/strings/character_set.h"
#include "kelm/validation/strings/text_size.h"

namespace kelm {

/// Escapes, capitals, searches and the size of texts.
///
/// Locales are identifiers such as "tr_TR"; an absent one stands for no language. Changing the
/// case gives U+FFFD for malformed bytes. "First character" means the first UTF-16 unit: what lies
/// above U+FFFF gets no capital. Texts of over 512 MiB are cut. Thread-safe.
class KELM_API ZuStringUtil {
 public:
  ZuStringUtil() = delete;
  using Text = std::optional<std::string_view>;

  /// `fontLeadingInComputationsDisabled:` Whether sizes leave out the font's leading, from now on
  /// and in the whole process; at first they do not.
  static void fontLeadingInComputationsDisabled(bool disabled);
  /// `isFontLeadingInComputationsDisabled`
  static bool isFontLeadingInComputationsDisabled();

  /// `escapeStringForJSON:` With a backslash in front of quotes and slashes and for line feed,
  /// backspace, form feed, carriage return and tab. Backslashes and all other characters stay, so
  /// that not every result is the inside of a JSON string (RFC 8259).
  static std::string escapeStringForJSON(std::string_view text);
  /// `escapeStringForXML:` With a decimal reference ("&#32;") for every UTF-16 unit but "*" to "/",
  /// digits, "_" and Latin letters; two for what lies above U+FFFF, which XML forbids. A text
  /// that starts with "B64:" is returned as it is. Absent for an absent text and the null object;
  /// of a `Value` pass `text()`.
  static std::optional<std::string> escapeStringForXML(Text text);
  static std::optional<std::string> escapeStringForXML(Null) { return {}; }

  /// `sizeOfString:withFont:referenceSize:adjustSizeToFillWidth:` The size in whole points, rounded
  /// up, of the text in lines of `referenceSize.width`, as many as `referenceSize.height` holds
  /// but one at least; a bound of 0 or less is none. `adjust` changes no size. Zero with one FATAL
  /// line without a font; one ERROR line for a width under 3 or a height under 10 points.
  static Size sizeOfString_withFont_referenceSize_adjustSizeToFillWidth(
      Text text, const std::optional<Font>& font, Size referenceSize, bool adjust);

  /// `lowercaseOfString:withLocale:` Absent for an absent text, with one ERROR line, as for an
  /// empty one. So the next four operations.
  static std::optional<std::string> lowercaseOfString_withLocale(Text text, Text locale);
  /// `uppercaseOfString:withLocale:`
  static std::optional<std::string> uppercaseOfString_withLocale(Text text, Text locale);
  /// `capitalWordsOfString:withLocale:` Words end at white space and the marks .?!',;:/()-
  static std::optional<std::string> capitalWordsOfString_withLocale(Text text, Text locale);
  /// `capitalSentencesOfString:withLocale:` Sentences end at the marks .?!
  static std::optional<std::string> capitalSentencesOfString_withLocale(Text text, Text locale);
  /// `capitalizeWordsOfString:afterSeparators:withLocale:` Each part between separators as
  /// `capitalizeString:withLocale:` gives it; one part without a set.
  static std::optional<std::string> capitalizeWordsOfString_afterSeparators_withLocale(
      Text text, const CharacterSet* separators, Text locale);
  /// `capitalizeString:withLocale:` The first character behind white space at the start in upper
  /// case, all that follows it in lower case. Absent for an absent text; nothing is logged.
  static std::optional<std::string> capitalizeString_withLocale(Text text, Text locale);

  /// `getWordTerminalCharacterSet` The same object on every call; it lives for ever.
  static const CharacterSet& getWordTerminalCharacterSet();
  /// `getSentenceTerminalCharacterSet` Likewise.
  static const CharacterSet& getSentenceTerminalCharacterSet();

  /// `firstRangeOfCharsInSet:inString:fromIndex:` The first run of the set's characters at or
  /// behind the index. Not found for an absent set or text and an index past the end.
  static TextRange firstRangeOfCharsInSet_inString_fromIndex(const CharacterSet* set, Text text,
                                                             std::int64_t index);
  /// `rangeOfCharacterFromSet:inString:` The same in the whole text.
  static TextRange rangeOfCharacterFromSet_inString(const CharacterSet* set, Text text);
  /// `rangeOfCharacterFromSet:range:inString:` The same within a range, as far as it lies in the
  /// text. Half a surrogate pair is in no set.
  static TextRange rangeOfCharacterFromSet_range_inString(const CharacterSet* set, TextRange range,
                                                          Text text);
};

}  // namespace kelm
