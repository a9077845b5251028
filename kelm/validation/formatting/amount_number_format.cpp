#include "kelm/validation/formatting/amount_number_format.h"

#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/fmtable.h>
#include <unicode/numberformatter.h>
#include <unicode/parsepos.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "kelm/validation/formatting/prototype_cache.h"
#include "kelm/validation/icu_text.h"

namespace kelm {
namespace {

using icu::DecimalFormat;
using icu::DecimalFormatSymbols;
using icu::Locale;
using icu::NumberFormat;
using icu::UnicodeString;
using icu::number::IntegerWidth;
using icu::number::LocalizedNumberFormatter;
using icu::number::Precision;

constexpr std::int32_t kMostDigits = 999;  // what the formatter itself takes
constexpr std::int32_t kMostCharacters = 4096;

std::unique_ptr<DecimalFormat> made(const Locale& locale, bool isCurrency) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<NumberFormat> format(
      NumberFormat::createInstance(locale, isCurrency ? UNUM_CURRENCY : UNUM_DECIMAL, status));
  auto* decimal = U_SUCCESS(status) ? dynamic_cast<DecimalFormat*>(format.get()) : nullptr;
  if (decimal == nullptr) return nullptr;  // such as the rules that spell Roman numerals
  static_cast<void>(format.release());
  return std::unique_ptr<DecimalFormat>(decimal);
}

/// The formatter of a locale with nothing set. Never nullptr while ICU has its data.
std::shared_ptr<const DecimalFormat> prototype(std::string_view localeName, bool isCurrency) {
  using Key = std::pair<std::string, bool>;
  static auto& cache = *new PrototypeCache<Key, DecimalFormat>;
  const Key key(localeName, isCurrency);
  return cache.get(key, [&key] {
    const Locale locale(key.first.c_str());
    std::unique_ptr<DecimalFormat> format = made(locale, key.second);
    if (!format) format = made(Locale(locale.getBaseName()), key.second);
    if (!format) format = made(Locale::getRoot(), key.second);
    return format;
  });
}

/// A formatter of one's own, its symbols as the style says and no other setting.
std::unique_ptr<DecimalFormat> copyWithSymbols(const DecimalFormat& plain,
                                               const NumberStyle& style) {
  std::unique_ptr<DecimalFormat> copy(plain.clone());
  if (!style.currencySymbol && !style.hasPoint) return copy;
  DecimalFormatSymbols symbols(*plain.getDecimalFormatSymbols());
  if (style.currencySymbol)
    symbols.setSymbol(DecimalFormatSymbols::kCurrencySymbol, icuText(*style.currencySymbol));
  if (style.hasPoint)
    symbols.setSymbol(DecimalFormatSymbols::kDecimalSeparatorSymbol, UnicodeString(u'.'));
  copy->setDecimalFormatSymbols(symbols);
  return copy;
}

/// The numbers of digits after the settings of a style, as the setters of the formatter resolve
/// them: each moves the opposite bound out of its way.
struct Digits {
  std::int32_t minFraction;
  std::int32_t maxFraction;
  std::int32_t maxInteger = -1;  // negative: no bound

  Digits(const DecimalFormat& plain, const NumberStyle& style)
      : minFraction(plain.getMinimumFractionDigits()),
        maxFraction(plain.getMaximumFractionDigits()) {
    if (style.minFractionDigits >= 0) {
      minFraction = std::min(style.minFractionDigits, kMostDigits);
      maxFraction = std::max(maxFraction, minFraction);
    }
    if (style.maxFractionDigits >= 0) {
      maxFraction = std::min(style.maxFractionDigits, kMostDigits);
      minFraction = std::min(minFraction, maxFraction);
    }
    if (style.maxIntegerDigits >= 0 && style.maxIntegerDigits <= kMostDigits)
      maxInteger = std::max(style.maxIntegerDigits, 1);
  }
};

/// Calling the setters of a `DecimalFormat` one by one makes it compile itself anew each time;
/// the formatter that stands behind it takes all of the settings at the cost of one.
LocalizedNumberFormatter configured(const DecimalFormat& plain, const NumberStyle& style,
                                    UErrorCode& status) {
  const LocalizedNumberFormatter* base = plain.toNumberFormatter(status);
  if (U_FAILURE(status)) return {};
  const std::uint64_t mode = style.roundingMode <= 6 ? style.roundingMode : 4;
  LocalizedNumberFormatter formatter =
      base->roundingMode(static_cast<UNumberFormatRoundingMode>(mode));
  const Digits digits(plain, style);
  if (style.minFractionDigits >= 0 || style.maxFractionDigits >= 0)
    formatter = std::move(formatter).precision(
        Precision::minMaxFraction(digits.minFraction, digits.maxFraction));
  if (digits.maxInteger >= 0)
    formatter = std::move(formatter).integerWidth(
        IntegerWidth::zeroFillTo(1).truncateAt(digits.maxInteger));
  if (!style.isGrouped) formatter = std::move(formatter).grouping(UNUM_GROUPING_OFF);
  return formatter;
}

}  // namespace

std::string formattedNumber(const Decimal& number, const NumberStyle& style) {
  std::shared_ptr<const DecimalFormat> plain = prototype(style.locale, style.isCurrency);
  std::string digits = number.text();
  if (!plain) return digits;
  if (style.currencySymbol || style.hasPoint) plain = copyWithSymbols(*plain, style);
  UErrorCode status = U_ZERO_ERROR;
  const UnicodeString text =
      configured(*plain, style, status)
          .formatDecimal({digits.data(), static_cast<std::int32_t>(digits.size())}, status)
          .toString(status);
  if (U_FAILURE(status)) return digits;
  return utf8Text(text);
}

std::optional<Decimal> parsedNumber(std::string_view text, const NumberStyle& style,
                                    NumberReading reading) {
  // A character takes three bytes at most, or two characters four.
  if (text.size() > 3 * kMostCharacters) return {};
  const UnicodeString typed = icuText(text);
  const auto plain = prototype(style.locale, style.isCurrency);
  if (!plain || typed.length() > kMostCharacters) return {};
  const auto format = copyWithSymbols(*plain, style);
  if (reading == NumberReading::Lenient)
    format->setLenient(true);
  else
    format->setParseNoExponent(true);
  icu::Formattable parsed;
  icu::ParsePosition position(0);
  format->parse(typed, parsed, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != typed.length()) return {};
  UErrorCode status = U_ZERO_ERROR;
  const icu::StringPiece digits = parsed.getDecimalNumber(status);
  if (U_FAILURE(status)) return {};
  return Decimal::fromText({digits.data(), static_cast<std::size_t>(digits.length())});
}

}  // namespace kelm
