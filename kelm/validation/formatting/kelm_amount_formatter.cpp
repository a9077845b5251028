#include "kelm/validation/formatting/kelm_amount_formatter.h"

#include <algorithm>
#include <utility>

#include "kelm/base/error.h"
#include "kelm/base/format.h"
#include "kelm/base/utf16.h"
#include "kelm/validation/current_locale.h"
#include "kelm/validation/formatting/amount_number_format.h"

namespace kelm {
namespace {

constexpr std::string_view kServerLocale = "en_US";

std::string without(std::string_view text, const std::optional<std::string>& part) {
  std::string rest(text);
  if (!part || part->empty()) return rest;
  rest.clear();
  std::size_t at = 0;
  for (std::size_t found; (found = text.find(*part, at)) != text.npos; at = found + part->size())
    rest += text.substr(at, found - at);
  return rest += text.substr(at);
}

std::string withReplaced(std::string_view text, char from, char to) {
  std::string result(text);
  std::replace(result.begin(), result.end(), from, to);
  return result;
}

/// The width of the blank or tab that `text` starts with in UTF-8; 0 for anything else.
std::size_t leadingSpace(std::string_view text) {
  constexpr std::string_view kSpaces[] = {" ",      "\t",     "\u00a0", "\u1680", "\u2000",
                                          "\u2001", "\u2002", "\u2003", "\u2004", "\u2005",
                                          "\u2006", "\u2007", "\u2008", "\u2009", "\u200a",
                                          "\u200b", "\u202f", "\u205f", "\u3000"};
  for (const std::string_view space : kSpaces)
    if (text.starts_with(space)) return space.size();
  return 0;
}

std::string_view trimmed(std::string_view text) {
  while (const std::size_t width = leadingSpace(text))
    text.remove_prefix(width);
  std::size_t end = 0;  // behind the last character that is no space
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t width = leadingSpace(text.substr(at));
    at += std::max<std::size_t>(width, 1);
    if (width == 0) end = at;
  }
  return text.substr(0, end);
}

/// What the formatter of the server's locale makes of the commonest texts, without it.
bool isPlainNumber(std::string_view text) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  if (text.starts_with('-')) text.remove_prefix(1);
  return !text.empty() && isDigit(text.front()) && isDigit(text.back()) &&
         std::count(text.begin(), text.end(), '.') <= 1 &&
         std::all_of(text.begin(), text.end(), [&](char c) { return isDigit(c) || c == '.'; });
}

}  // namespace

KelmAmountFormatter::KelmAmountFormatter() : locale_(currentLocale()) {}

KelmAmountFormatter KelmAmountFormatter::defaultFormatter() {
  KelmAmountFormatter formatter;
  formatter.setMaxDecimalDigits(2);
  formatter.setMinDecimalDigits(2);
  formatter.setMaxIntegerDigits(7);
  formatter.setRoundingPolicy(6);
  formatter.setIsAmount(false);
  formatter.setCurrencySymbol("");  // makes it a formatter of amounts after all
  return formatter;
}

void KelmAmountFormatter::setLocale(std::optional<std::string_view> locale) {
  if (locale) locale_ = *locale;
}

void KelmAmountFormatter::setCurrencySymbol(std::optional<std::string> symbol) {
  currencySymbol_ = std::move(symbol);
  isAmount_ = true;
}

NumberStyle KelmAmountFormatter::style() const {
  NumberStyle style;
  style.locale = locale_;
  style.roundingMode = roundingPolicy_;
  style.minFractionDigits = minDecimalDigits_;
  style.maxFractionDigits = maxDecimalDigits_;
  style.maxIntegerDigits = maxIntegerDigits_;
  return style;
}

std::optional<Decimal> KelmAmountFormatter::numberWithFormattedString(
    std::optional<std::string_view> text) const {
  if (!text || text->empty()) return Decimal();
  std::string cleaned = without(*text, currencySymbol_);
  cleaned = without(cleaned, toAppendString_);
  cleaned = without(cleaned, toPrependString_);
  constexpr std::string_view kKept = "1234567890.,";
  std::erase_if(cleaned, [kKept](char c) { return kKept.find(c) == kKept.npos; });
  NumberStyle style = this->style();
  style.isCurrency = isAmount_;
  if (isAmount_ && currencySymbol_ && !currencySymbol_->empty())
    style.currencySymbol = currencySymbol_;
  return consolidateRoundingNumber(parsedNumber(cleaned, style, NumberReading::Lenient));
}

std::optional<Decimal> KelmAmountFormatter::numberWithEditingNumberString(
    std::optional<std::string_view> text) const {
  if (!text || text->empty()) return Decimal();
  const auto number = editingAttempt(*text);
  return number ? number : editingAttempt(withReplaced(*text, '.', ','));
}

std::optional<Decimal> KelmAmountFormatter::editingAttempt(std::string_view text) const {
  return consolidateRoundingNumber(parsedNumber(text, style(), NumberReading::Strict));
}

std::optional<Decimal> KelmAmountFormatter::numberWithNumberString(
    std::optional<std::string_view> text) {
  if (!text || text->empty()) return Decimal();
  const std::string number = withReplaced(*text, ',', '.');
  if (isPlainNumber(number)) return Decimal::fromText(number);
  NumberStyle style;
  style.locale = kServerLocale;
  style.hasPoint = true;
  return parsedNumber(number, style, NumberReading::Strict);
}

std::string KelmAmountFormatter::formattedStringWithNumber(
    const std::optional<Decimal>& number) const {
  NumberStyle style = this->style();
  style.isCurrency = isAmount_;
  if (isAmount_) style.currencySymbol = currencySymbol_ ? std::string_view(*currencySymbol_) : "";
  const std::string text = formattedNumber(number.value_or(Decimal()), style);
  return toPrependString_.value_or("").append(trimmed(text)).append(toAppendString_.value_or(""));
}

std::string KelmAmountFormatter::editingNumberStringWithNumber(
    const std::optional<Decimal>& number) const {
  NumberStyle style = this->style();
  style.isGrouped = false;
  return formattedNumber(number.value_or(Decimal()), style);
}

std::string KelmAmountFormatter::numberStringWithNumber(
    const std::optional<Decimal>& number) const {
  NumberStyle style = this->style();
  style.isGrouped = false;
  style.hasPoint = true;
  return formattedNumber(number.value_or(Decimal()), style);
}

std::string KelmAmountFormatter::editingNumberStringWithFormattedString(
    std::optional<std::string_view> text) const {
  return editingNumberStringWithNumber(numberWithFormattedString(text));
}
std::string KelmAmountFormatter::numberStringWithFormattedString(
    std::optional<std::string_view> text) const {
  return numberStringWithNumber(numberWithFormattedString(text));
}
std::string KelmAmountFormatter::formattedStringWithEditingNumberString(
    std::optional<std::string_view> text) const {
  return formattedStringWithNumber(numberWithEditingNumberString(text));
}
std::string KelmAmountFormatter::numberStringWithEditingNumberString(
    std::optional<std::string_view> text) const {
  return numberStringWithNumber(numberWithEditingNumberString(text));
}

std::optional<Decimal> KelmAmountFormatter::consolidateRoundingNumber(
    const std::optional<Decimal>& number) const {
  if (!number) return {};
  return numberWithNumberString(numberStringWithNumber(number));
}

std::optional<std::string> KelmAmountFormatter::roundNumber_withScale_andRoundingMode(
    std::optional<std::string_view> number, std::int32_t scale, std::uint64_t roundingMode) {
  const std::string locale = currentLocale();
  NumberStyle style;
  style.locale = locale;
  style.maxFractionDigits = scale;
  style.roundingMode = roundingMode;
  NumberStyle typed = style;
  typed.hasPoint = true;
  const auto parsed = parsedNumber(number.value_or(""), typed, NumberReading::Strict);
  return parsed ? std::optional(formattedNumber(*parsed, style)) : std::nullopt;
}

std::string KelmAmountFormatter::decimalPartFromNumberString(std::string_view number) const {
  const std::size_t point = number.find('.');
  if (point == number.npos) return normalizeToProperNumberOfDecimalDigits("0");
  const std::string_view rest = number.substr(point + 1);
  return normalizeToProperNumberOfDecimalDigits(rest.substr(0, rest.find('.')));
}

std::string KelmAmountFormatter::normalizeToProperNumberOfDecimalDigits(
    std::string_view text) const {
  if (maxDecimalDigits_ < 0)
    throw Exception(exception_name::kRange, format("maxDecimalDigits is %d", maxDecimalDigits_));
  std::string padded(text);
  const std::size_t length = utf16Length(text);
  const auto wanted = static_cast<std::size_t>(maxDecimalDigits_);
  if (length < wanted) padded.append(wanted - length, '0');
  return padded;
}

}  // namespace kelm
