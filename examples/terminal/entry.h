#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "terminal/sale.h"

namespace terminal {

/// Reads what a cashier types, or a file holds: "id;time;amount;currency;account;description". The
/// amount is one of `locale` ("1.250,00" in it_IT), the account a card number or an IBAN, with or
/// without blanks; both are checked, and of the account only the last four signs are kept. On a bad
/// line the text says what is wrong with it.
std::variant<Sale, std::string> parseEntry(std::string_view line, const std::string& locale);

/// What the customer gets: the time, amount and account of a sale in the words of `locale`.
std::string receiptOf(const Sale& sale, const std::string& locale);

}  // namespace terminal
