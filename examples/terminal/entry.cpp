#include "terminal/entry.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

#include "kelm/base/decimal.h"
#include "kelm/base/format.h"
#include "kelm/validation/iban_validator.h"
#include "kelm/validation/kelm_amount_formatter.h"
#include "kelm/validation/kelm_date_formatter.h"
#include "kelm/validation/kelm_luhn_check.h"

namespace terminal {

namespace {

constexpr const char* kTimePattern = "yyyy-MM-dd'T'HH:mm:ssXXX";
constexpr std::size_t kShortestCard = 12;
constexpr std::size_t kLongestCard = 19;

bool allDigits(std::string_view text) {
  return std::ranges::all_of(text, [](unsigned char c) { return std::isdigit(c); });
}

std::string withoutBlanks(std::string_view text) {
  std::string result(text);
  std::erase(result, ' ');
  return result;
}

kelm::KelmAmountFormatter amounts(const std::string& locale) {
  kelm::KelmAmountFormatter formatter = kelm::KelmAmountFormatter::defaultFormatter();
  formatter.setLocale(locale);
  return formatter;
}

/// "1250.00" for the "1.250,00" of a locale; absent when that is no amount above zero.
std::optional<std::string> readAmount(std::string_view typed, const std::string& locale) {
  // The formatter leaves out what is no digit: a letter is more likely a slip.
  const bool isPlain = std::ranges::none_of(typed, [](unsigned char c) { return std::isalpha(c); });
  const kelm::KelmAmountFormatter formatter = amounts(locale);
  const auto number = formatter.numberWithFormattedString(typed);
  if (!isPlain || !number || *number == kelm::Decimal()) return std::nullopt;
  kelm::KelmAmountFormatter plain = amounts("en_US_POSIX");
  return plain.numberStringWithNumber(number);
}

/// The account as it is kept; absent when its check digits are wrong.
std::optional<std::string> maskedAccount(const std::string& account) {
  const std::string tail =
      account.substr(account.size() - std::min<std::size_t>(4, account.size()));
  if (allDigits(account)) {
    const bool isCard = account.size() >= kShortestCard && account.size() <= kLongestCard &&
                        kelm::KelmLuhnCheck().doLuhnCheckWithString(account);
    return isCard ? std::optional("card " + tail) : std::nullopt;
  }
  if (kelm::IBANValidator().validateElectronicIBAN(account) != kelm::IBANValidationResultValid)
    return std::nullopt;
  return "IBAN " + account.substr(0, 2) + ' ' + tail;
}

/// The zone of a time that ends with "+01:00" or "Z".
std::optional<kelm::TimeZone> zoneOf(std::string_view time) {
  if (time.ends_with('Z')) return kelm::KelmDateFormatter::timezoneWithTimezoneOffsetString("0");
  const std::string_view offset = time.substr(time.size() - 6);
  const auto twoDigits = [&](std::size_t at) {
    return (offset[at] - '0') * 10 + (offset[at + 1] - '0');
  };
  const int minutes = twoDigits(1) * 60 + twoDigits(4);
  return kelm::KelmDateFormatter::timezoneWithTimezoneOffsetString(
      kelm::format("%d", (offset[0] == '-' ? -minutes : minutes) * 60'000));
}

}  // namespace

std::variant<Sale, std::string> parseEntry(std::string_view line, const std::string& locale) {
  std::array<std::string_view, 6> fields;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const bool isLast = i + 1 == fields.size();
    const std::size_t end = isLast ? line.size() : line.find(';');
    if (end == std::string_view::npos)
      return kelm::format("%@ fields are needed, %@ found", fields.size(), i + 1);
    fields[i] = line.substr(0, end);
    line.remove_prefix(isLast ? end : end + 1);
  }
  const auto& [id, time, amount, currency, account, description] = fields;
  if (std::ranges::any_of(fields, [](auto field) { return field.empty(); }))
    return "a field is empty";
  kelm::KelmDateFormatter times;
  times.setDateFormat(kTimePattern);
  if (!times.dateWithFormattedString(time)) return kelm::format("'%@' is no time", time);
  const auto number = readAmount(amount, locale);
  if (!number) return kelm::format("'%@' is no amount above zero", amount);
  const std::string whole = withoutBlanks(account);
  const auto masked = maskedAccount(whole);
  if (!masked) {
    return allDigits(whole) ? "the card number is mistyped" : "the IBAN is mistyped or unknown";
  }
  Sale sale{std::string(id),       std::string(time), *number,
            std::string(currency), *masked,           std::string(description)};
  if (sale.id.find(',') != std::string::npos) return "the id holds a comma";
  // The checks that the acquirer makes too.
  const auto checked = parseSale(lineOf(sale));
  if (const auto* problem = std::get_if<std::string>(&checked)) return *problem;
  return sale;
}

std::string receiptOf(const Sale& sale, const std::string& locale) {
  kelm::KelmDateFormatter times;
  times.setDateFormat(kTimePattern);
  const auto time = times.dateWithFormattedString(sale.time);
  const auto zone = zoneOf(sale.time);
  times.setTimezone(zone ? &*zone : nullptr);
  times.setLocale(locale);
  times.setDateFormat("d MMMM yyyy, HH:mm");
  kelm::KelmAmountFormatter formatter = amounts(locale);
  formatter.setCurrencySymbol(sale.currency);
  const auto amount = kelm::KelmAmountFormatter::numberWithNumberString(sale.amount);
  return kelm::format("%@  %@  %@  %@  %@", sale.id, times.formattedStringWithDate(time),
                      formatter.formattedStringWithNumber(amount), sale.account, sale.description);
}

}  // namespace terminal
