#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kelm/base/decimal.h"
#include "kelm/base/export.h"

namespace kelm {

struct NumberStyle;

/// Converts an amount or plain number between three texts and a decimal number: the formatted
/// string that the user sees, the editing number string of an input field (the locale's decimal
/// separator, no grouping), and the number string for servers (".", no grouping).
///
/// Locales are identifiers such as "it_IT". Texts of the user are read whole or not at all, never
/// with an exponent; more than 38 digits, or more than 4096 characters, are unparseable. Nothing
/// is logged. A value type; plain settings, which the next call uses. Not thread-safe; separate
/// objects are.
class KELM_API KelmAmountFormatter {
 public:
  /// `init` Plain numbers in the user's locale, rounded half up, its own digits.
  KelmAmountFormatter();
  /// `defaultFormatter` Amounts without a symbol in the user's locale: 2 fraction digits, at most 7
  /// integer digits (of longer ones the last 7 are shown), rounded half up.
  static KelmAmountFormatter defaultFormatter();

  /// `isAmount` True: currency style. False: decimal style.
  bool isAmount() const { return isAmount_; }
  void setIsAmount(bool isAmount) { isAmount_ = isAmount; }
  /// `minDecimalDigits` Fraction digits at least, 999 at most; negative: the locale's own.
  std::int32_t minDecimalDigits() const { return minDecimalDigits_; }
  void setMinDecimalDigits(std::int32_t digits) { minDecimalDigits_ = digits; }
  /// `maxDecimalDigits` Fraction digits at most, above the least number too; negative: the
  /// locale's own.
  std::int32_t maxDecimalDigits() const { return maxDecimalDigits_; }
  void setMaxDecimalDigits(std::int32_t digits) { maxDecimalDigits_ = digits; }
  /// `maxIntegerDigits` Integer digits at most: higher ones are cut off. Negative: no bound.
  std::int32_t maxIntegerDigits() const { return maxIntegerDigits_; }
  void setMaxIntegerDigits(std::int32_t digits) { maxIntegerDigits_ = digits; }
  const std::string& locale() const { return locale_; }
  /// `setLocale:` An absent locale changes nothing.
  void setLocale(std::optional<std::string_view> locale);
  /// `roundingPolicy` 0 ceiling, 1 floor, 2 towards zero, 3 away from zero, 4 half even, 5 half
  /// down, 6 half up; any other rounds half even.
  std::uint64_t roundingPolicy() const { return roundingPolicy_; }
  void setRoundingPolicy(std::uint64_t policy) { roundingPolicy_ = policy; }
  const std::optional<std::string>& currencySymbol() const { return currencySymbol_; }
  /// `setCurrencySymbol:` Keeps the symbol, absent too, and makes the style that of currencies.
  void setCurrencySymbol(std::optional<std::string> symbol);
  /// `toAppendString` Put behind formatted strings.
  const std::optional<std::string>& toAppendString() const { return toAppendString_; }
  void setToAppendString(std::optional<std::string> text) { toAppendString_ = std::move(text); }
  /// `toPrependString` Put in front of formatted strings.
  const std::optional<std::string>& toPrependString() const { return toPrependString_; }
  void setToPrependString(std::optional<std::string> text) { toPrependString_ = std::move(text); }

  /// `numberWithFormattedString:` The number without its sign, rounded and cut as the settings
  /// say: the symbol, the text behind, the text in front and then everything but ASCII digits, "."
  /// and "," is taken out before the rest is read leniently. Zero for an absent or empty text;
  /// absent when the rest is no number.
  std::optional<Decimal> numberWithFormattedString(std::optional<std::string_view> text) const;
  /// `numberWithEditingNumberString:` The number, rounded and cut as the settings say; when the
  /// text is none, that of the text with "," for every ".". Zero for an absent or empty text.
  std::optional<Decimal> numberWithEditingNumberString(std::optional<std::string_view> text) const;
  /// `numberWithNumberString:` The number; "," counts as ".". Zero for an absent or empty text.
  static std::optional<Decimal> numberWithNumberString(std::optional<std::string_view> text);

  /// `formattedStringWithNumber:` The number in the locale's style without white space at its
  /// ends, between the two texts. Zero for an absent number, here and below.
  std::string formattedStringWithNumber(const std::optional<Decimal>& number) const;
  /// `editingNumberStringWithNumber:` The number with the locale's decimal separator and digits.
  std::string editingNumberStringWithNumber(const std::optional<Decimal>& number) const;
  /// `numberStringWithNumber:` The number with "."; the digits are the locale's here too.
  std::string numberStringWithNumber(const std::optional<Decimal>& number) const;

  /// `editingNumberStringWithFormattedString:` What is no number counts as zero, here and below.
  std::string editingNumberStringWithFormattedString(std::optional<std::string_view> text) const;
  /// `numberStringWithFormattedString:`
  std::string numberStringWithFormattedString(std::optional<std::string_view> text) const;
  /// `formattedStringWithEditingNumberString:`
  std::string formattedStringWithEditingNumberString(std::optional<std::string_view> text) const;
  /// `numberStringWithEditingNumberString:`
  std::string numberStringWithEditingNumberString(std::optional<std::string_view> text) const;

  /// `consolidateRoundingNumber:` The number rounded and cut as the settings say. Absent for an
  /// absent one.
  std::optional<Decimal> consolidateRoundingNumber(const std::optional<Decimal>& number) const;
  /// `roundNumber:withScale:andRoundingMode:` The number of a text with ".", rounded to `scale`
  /// fraction digits at most (negative: the locale's own) and formatted for the user's locale.
  /// Absent when the text is no number.
  static std::optional<std::string> roundNumber_withScale_andRoundingMode(
      std::optional<std::string_view> number, std::int32_t scale, std::uint64_t roundingMode);
  /// `decimalPartFromNumberString:` What stands between the first and the second "." ("0" without
  /// one), padded.
  std::string decimalPartFromNumberString(std::string_view number) const;
  /// `normalizeToProperNumberOfDecimalDigits:` The text with "0" behind it up to
  /// `maxDecimalDigits`, which must be set: while it is negative this raises a range failure
  /// (`Exception`).
  std::string normalizeToProperNumberOfDecimalDigits(std::string_view text) const;

 private:
  NumberStyle style() const;
  std::optional<Decimal> editingAttempt(std::string_view text) const;

  std::string locale_;
  bool isAmount_ = false;
  std::int32_t minDecimalDigits_ = -1;
  std::int32_t maxDecimalDigits_ = -1;
  std::int32_t maxIntegerDigits_ = -1;
  std::uint64_t roundingPolicy_ = 6;
  std::optional<std::string> currencySymbol_;
  std::optional<std::string> toAppendString_;
  std::optional<std::string> toPrependString_;
};

}  // namespace kelm
