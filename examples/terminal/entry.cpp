#include "terminal/entry.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <optional>

#include "kelm/base/date.h"
#include "kelm/base/decimal.h"
#include "kelm/base/format.h"
#include "kelm/validation/formatting/kelm_amount_formatter.h"
#include "kelm/validation/formatting/kelm_date_formatter.h"
#include "kelm/validation/formatting/time_zone.h"
#include "kelm/validation/iban_validator.h"
#include "kelm/validation/kelm_luhn_check.h"

namespace terminal {

namespace {

constexpr const char* kTimePattern = "yyyy-MM-dd'T'HH:mm:ss";
constexpr std::size_t kTimeLength = 19;
constexpr const char* kMost = "9999999.99";  // the formatter shows seven digits and two decimals
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

/// Whether `typed` is how the formatter writes the number, with or without its grouping and the
/// zeros at its end. Reading alone is lenient: it makes 340 of "3.40" in it_IT, drops signs and the
/// eighth digit, and rounds.
bool isWrittenSo(std::string_view typed, const kelm::Decimal& number,
                 kelm::KelmAmountFormatter formatter) {
  for (std::int32_t digits = 0; digits <= formatter.maxDecimalDigits(); ++digits) {
    formatter.setMinDecimalDigits(digits);
    if (typed == formatter.formattedStringWithNumber(number) ||
        typed == formatter.editingNumberStringWithNumber(number))
      return true;
  }
  return false;
}

/// "1250.00" for the "1.250,00" of a locale; absent when that is no amount above zero.
std::optional<std::string> readAmount(std::string_view typed, const std::string& locale) {
  const kelm::KelmAmountFormatter formatter = amounts(locale);
  // The first one knows how the locale groups amounts, the second one its own digits.
  for (const auto& number : {formatter.numberWithFormattedString(typed),
                             formatter.numberWithEditingNumberString(typed)}) {
    if (number && *number > kelm::Decimal() && isWrittenSo(typed, *number, formatter))
      return amounts("en_US_POSIX").numberStringWithNumber(number);
  }
  return std::nullopt;
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

struct Time {
  kelm::Date date;
  kelm::TimeZone zone;
};

/// The zone that "+01:00" or "Z" stands for.
std::optional<kelm::TimeZone> zoneOf(std::string_view offset) {
  if (offset == "Z") return kelm::TimeZone::fixed(0);
  const auto isDigit = [&](std::size_t at) { return offset[at] >= '0' && offset[at] <= '9'; };
  if (offset.size() != 6 || (offset[0] != '+' && offset[0] != '-') || offset[3] != ':' ||
      !isDigit(1) || !isDigit(2) || !isDigit(4) || offset[4] > '5' || !isDigit(5))
    return std::nullopt;
  const auto twoDigits = [&](std::size_t at) {
    return (offset[at] - '0') * 10 + (offset[at + 1] - '0');
  };
  const int seconds = (twoDigits(1) * 60 + twoDigits(4)) * 60;
  return kelm::TimeZone::fixed(offset[0] == '-' ? -seconds : seconds);
}

/// Absent for what is no time, also for February 30, which the formatter alone takes for March 2.
std::optional<Time> readTime(std::string_view typed) {
  const std::string_view local = typed.substr(0, kTimeLength);
  const auto zone = zoneOf(typed.substr(local.size()));
  if (!zone) return std::nullopt;
  kelm::KelmDateFormatter times;
  times.setLocale("en_US_POSIX");
  times.setDateFormat(kTimePattern);
  times.setTimezone(&*zone);
  const auto date = times.dateWithFormattedString(local);
  if (!date || times.formattedStringWithDate(date) != local) return std::nullopt;
  return Time{*date, *zone};
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
  if (!readTime(time))
    return kelm::format("'%@' is no time such as 2026-03-14T08:15:09+01:00", time);
  const auto number = readAmount(amount, locale);
  if (!number)
    return kelm::format("'%@' is no amount such as %@, at most %@", amount,
                        amounts(locale).formattedStringWithNumber(1250),
                        amounts(locale).formattedStringWithNumber(kelm::Decimal::fromText(kMost)));
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
  const auto time = readTime(sale.time);
  kelm::KelmDateFormatter times;
  times.setLocale(locale);
  times.setDateFormat("d MMMM yyyy, HH:mm");
  times.setTimezone(time ? &time->zone : nullptr);
  const auto printed =
      times.formattedStringWithDate(time ? std::optional(time->date) : std::nullopt);
  kelm::KelmAmountFormatter formatter = amounts(locale);
  formatter.setCurrencySymbol(sale.currency);
  const auto amount = kelm::KelmAmountFormatter::numberWithNumberString(sale.amount);
  return kelm::format("%@  %@  %@  %@  %@", sale.id, printed,
                      formatter.formattedStringWithNumber(amount), sale.account, sale.description);
}

}  // namespace terminal
