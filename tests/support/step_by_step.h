#pragma once

// Amounts and dates printed and read with formatters of ICU's that are made for each text and set
// setter by setter: what the formatters of the library must agree with, and be faster than.

#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/validation/formatting/kelm_amount_formatter.h"

namespace kelm::testing {

inline icu::UnicodeString icuOf(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

inline std::string utf8Of(const icu::UnicodeString& text) {
  std::string result;
  return text.toUTF8String(result);
}

inline std::unique_ptr<icu::DecimalFormat> numberFormat(const char* locale, bool isCurrency) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::NumberFormat> made(icu::NumberFormat::createInstance(
      icu::Locale(locale), isCurrency ? UNUM_CURRENCY : UNUM_DECIMAL, status));
  return std::unique_ptr<icu::DecimalFormat>(&dynamic_cast<icu::DecimalFormat&>(*made.release()));
}

inline void setSymbol(icu::DecimalFormat& format,
                      icu::DecimalFormatSymbols::ENumberFormatSymbol which, std::string_view text) {
  icu::DecimalFormatSymbols symbols(*format.getDecimalFormatSymbols());
  symbols.setSymbol(which, icuOf(text));
  format.setDecimalFormatSymbols(symbols);
}

inline void applySettings(icu::DecimalFormat& format, const KelmAmountFormatter& settings) {
  format.setRoundingMode(static_cast<icu::DecimalFormat::ERoundingMode>(settings.roundingPolicy()));
  if (settings.minDecimalDigits() >= 0)
    format.setMinimumFractionDigits(settings.minDecimalDigits());
  if (settings.maxDecimalDigits() >= 0)
    format.setMaximumFractionDigits(settings.maxDecimalDigits());
  if (settings.maxIntegerDigits() >= 0) format.setMaximumIntegerDigits(settings.maxIntegerDigits());
  format.setMinimumIntegerDigits(1);
}

inline icu::UnicodeString printed(const icu::DecimalFormat& format, const Decimal& number) {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString text;
  return format.format(icu::StringPiece(number.text()), text, nullptr, status);
}

inline std::optional<Decimal> read(const icu::DecimalFormat& format,
                                   const icu::UnicodeString& text) {
  icu::Formattable number;
  icu::ParsePosition position(0);
  format.parse(text, number, position);
  UErrorCode status = U_ZERO_ERROR;
  if (position.getErrorIndex() >= 0 || position.getIndex() != text.length()) return {};
  const icu::StringPiece digits = number.getDecimalNumber(status);
  return Decimal::fromText({digits.data(), static_cast<std::size_t>(digits.length())});
}

/// What formattedStringWithNumber() prints, without the texts around it.
inline std::string amountPrintedStepByStep(const KelmAmountFormatter& settings,
                                           const Decimal& number) {
  const auto format = numberFormat(settings.locale().c_str(), settings.isAmount());
  if (settings.isAmount())
    setSymbol(*format, icu::DecimalFormatSymbols::kCurrencySymbol,
              settings.currencySymbol().value_or(""));
  applySettings(*format, settings);
  icu::UnicodeString text = printed(*format, number);
  const auto isSpace = [](char16_t c) { return c == u' ' || c == u'\u00a0'; };
  while (isSpace(text.charAt(0)))
    text.remove(0, 1);
  while (isSpace(text.charAt(text.length() - 1)))
    text.truncate(text.length() - 1);
  return utf8Of(text);
}

/// What numberWithFormattedString() reads from a text of digits and separators.
inline std::optional<Decimal> amountReadStepByStep(const KelmAmountFormatter& settings,
                                                   std::string_view cleaned) {
  const auto format = numberFormat(settings.locale().c_str(), settings.isAmount());
  if (settings.isAmount() && !settings.currencySymbol().value_or("").empty())
    setSymbol(*format, icu::DecimalFormatSymbols::kCurrencySymbol, *settings.currencySymbol());
  applySettings(*format, settings);
  format->setLenient(true);
  const auto number = read(*format, icuOf(cleaned));
  if (!number) return {};

  const auto server = numberFormat(settings.locale().c_str(), false);
  server->setGroupingUsed(false);
  applySettings(*server, settings);
  setSymbol(*server, icu::DecimalFormatSymbols::kDecimalSeparatorSymbol, ".");
  const icu::UnicodeString rounded = printed(*server, *number);
  const auto english = numberFormat("en_US", false);
  setSymbol(*english, icu::DecimalFormatSymbols::kDecimalSeparatorSymbol, ".");
  return read(*english, rounded);
}

inline icu::SimpleDateFormat dateFormat(std::string_view pattern, const char* locale,
                                        const icu::TimeZone& zone) {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(icuOf(pattern), icu::Locale(locale), status);
  format.adoptTimeZone(zone.clone());
  format.set2DigitYearStart(-631152000000.0, status);
  return format;
}

inline std::optional<std::string> datePrintedStepByStep(const icu::SimpleDateFormat& format,
                                                        double seconds) {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString text;
  format.format(seconds * 1000.0 + 0.5, text, nullptr, status);
  return U_SUCCESS(status) ? std::optional(utf8Of(text)) : std::nullopt;
}

/// The seconds since 1970 of a date.
inline std::optional<double> dateReadStepByStep(icu::SimpleDateFormat& format,
                                                std::string_view typed) {
  const icu::UnicodeString text = icuOf(typed);
  format.setLenient(true);
  const std::unique_ptr<icu::Calendar> calendar(format.getCalendar()->clone());
  calendar->clear();
  calendar->set(UCAL_YEAR, 2000);
  icu::ParsePosition position(0);
  format.parse(text, *calendar, position);
  UErrorCode status = U_ZERO_ERROR;
  if (position.getErrorIndex() >= 0 || position.getIndex() == 0 ||
      position.getIndex() != text.length())
    return {};
  const double milliseconds = calendar->getTime(status);
  return U_SUCCESS(status) ? std::optional(milliseconds / 1000.0) : std::nullopt;
}

}  // namespace kelm::testing
