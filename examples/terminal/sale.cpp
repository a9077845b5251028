#include "terminal/sale.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "kelm/base/format.h"

namespace terminal {

namespace {

bool allDigits(std::string_view text) {
  return !text.empty() &&
         std::ranges::all_of(text, [](unsigned char c) { return std::isdigit(c); });
}

// "12.50": at most nine digits, a point, exactly two digits.
bool isAmount(std::string_view text) {
  const std::size_t point = text.find('.');
  return point != std::string_view::npos && point <= 9 && allDigits(text.substr(0, point)) &&
         allDigits(text.substr(point + 1)) && text.size() - point - 1 == 2;
}

// "card 4242" or "IBAN IT 3456".
bool isAccount(std::string_view text) {
  const bool isCard = text.starts_with("card ") && text.size() == 9;
  const bool isIban = text.starts_with("IBAN ") && text.size() == 12 && text[7] == ' ';
  return (isCard || isIban) && std::ranges::all_of(text.substr(text.size() - 4),
                                                   [](unsigned char c) { return std::isalnum(c); });
}

std::int64_t hundredthsOf(std::string_view amount) {
  std::int64_t sum = 0;
  for (const char c : amount) {
    if (c != '.') sum = sum * 10 + (c - '0');
  }
  return sum;
}

// The fields of a sale in the order of a line, with the keys that the acquirer knows.
struct Field {
  const char* key;
  std::string Sale::*member;
};
constexpr std::array<Field, 6> kFields{{{"id", &Sale::id},
                                        {"time", &Sale::time},
                                        {"amount", &Sale::amount},
                                        {"currency", &Sale::currency},
                                        {"account", &Sale::account},
                                        {"description", &Sale::description}}};

}  // namespace

std::variant<Sale, std::string> parseSale(std::string_view line) {
  Sale sale;
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    const bool last = i + 1 == kFields.size();
    const std::size_t comma = last ? line.size() : line.find(',');
    if (comma == std::string_view::npos) {
      return kelm::format("%@ fields are needed, %@ found", kFields.size(), i + 1);
    }
    sale.*kFields[i].member = std::string(line.substr(0, comma));
    line.remove_prefix(last ? comma : comma + 1);
  }
  if (sale.id.empty()) return "the sale has no id";
  if (sale.time.size() < 20) return kelm::format("'%@' is no time", sale.time);
  if (!isAmount(sale.amount)) return kelm::format("'%@' is no amount such as 12.50", sale.amount);
  if (hundredthsOf(sale.amount) == 0) return "the amount is zero";
  if (sale.currency.size() != 3 ||
      !std::ranges::all_of(sale.currency, [](unsigned char c) { return std::isupper(c); })) {
    return kelm::format("'%@' is no currency code", sale.currency);
  }
  if (!isAccount(sale.account)) return kelm::format("'%@' is no masked account", sale.account);
  return sale;
}

std::string lineOf(const Sale& sale) {
  std::string line;
  for (const Field& field : kFields) {
    if (!line.empty()) line += ',';
    line += sale.*field.member;
  }
  return line;
}

kelm::Dictionary dictionaryOf(const Sale& sale) {
  kelm::Dictionary fields;
  for (const Field& field : kFields)
    fields.set(field.key, sale.*field.member);
  return fields;
}

std::optional<Sale> saleOf(const kelm::Dictionary& fields) {
  Sale sale;
  for (const Field& field : kFields) {
    const kelm::Value* value = fields.find(field.key);
    if (value == nullptr || !value->text()) return std::nullopt;
    sale.*field.member = std::string(*value->text());
  }
  return sale;
}

void Totals::add(const Sale& sale) {
  auto sum = std::ranges::find(hundredths_, sale.currency, [](const auto& s) { return s.first; });
  if (sum == hundredths_.end()) sum = hundredths_.insert(sum, {sale.currency, 0});
  sum->second += hundredthsOf(sale.amount);
}

std::string Totals::text() const {
  std::string text;
  for (const auto& [currency, sum] : hundredths_) {
    if (!text.empty()) text += ", ";
    text += kelm::format("%@ %@.%02lld", currency, sum / 100, sum % 100);
  }
  return text.empty() ? "nothing" : text;
}

}  // namespace terminal
