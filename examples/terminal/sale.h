#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "kelm/base/value.h"

namespace terminal {

/// One sale as the till keeps and delivers it.
struct Sale {
  std::string id;
  std::string time;      ///< ISO 8601 with its offset
  std::string amount;    ///< exact decimal text, two digits after the point
  std::string currency;  ///< ISO 4217 letters
  std::string account;   ///< "card 4242" or "IBAN IT 3456": the last four signs alone
  std::string description;

  bool operator==(const Sale&) const = default;
};

/// Reads "id,time,amount,currency,account,description"; the description may hold commas. On a bad
/// line the text says what is wrong with it.
std::variant<Sale, std::string> parseSale(std::string_view line);
/// The line that parseSale reads.
std::string lineOf(const Sale& sale);

/// The sale as the acquirer gets it, and back.
kelm::Dictionary dictionaryOf(const Sale& sale);
std::optional<Sale> saleOf(const kelm::Dictionary& fields);

/// Sums of amounts by currency, in hundredths.
class Totals {
 public:
  void add(const Sale& sale);
  /// "EUR 123.40, GBP 5.00"; "nothing" when there were no sales.
  std::string text() const;

 private:
  std::vector<std::pair<std::string, std::int64_t>> hundredths_;
};

}  // namespace terminal
