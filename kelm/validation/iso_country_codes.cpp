#include "kelm/validation/iso_country_codes.h"

#include <array>
#include <cstdint>

#include "kelm/validation/iso_countries.h"

namespace kelm {
namespace {

constexpr std::size_t kMostDigits = 3;  // of the calling codes in the table

/// The number that up to three digits make; 0, which is no calling code, for anything else.
std::size_t codeNumber(std::string_view digits) {
  if (digits.size() > kMostDigits) return 0;
  std::size_t number = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9') return 0;
    number = number * 10 + static_cast<std::size_t>(digit - '0');
  }
  return number;
}

/// By number of the calling code, the first row that has it, counted from 1; 0 without one.
std::array<std::uint8_t, 1000> firstRows() {
  std::array<std::uint8_t, 1000> rows{};
  for (std::size_t row = IsoCountries::all().size(); row > 0; --row)
    rows[codeNumber(IsoCountries::all()[row - 1].calling.substr(1))] =
        static_cast<std::uint8_t>(row);
  return rows;
}

}  // namespace

IsoCountryInfoObj IsoCountryCodes::searchByCallingCode(std::string_view callingCode) {
  static const std::array<std::uint8_t, 1000> rows = firstRows();
  IsoCountryInfoObj found;
  const std::size_t row = rows[codeNumber(callingCode)];
  if (row == 0) return found;
  const IsoCountryInfo& country = IsoCountries::all()[row - 1];
  if (country.calling.substr(1) != callingCode) return found;  // a zero in front
  found.numeric = country.numeric;
  found.alpha3 = country.alpha3;
  found.alpha2 = country.alpha2;
  found.name = country.name;
  found.flag = IsoCountries::flag(country.alpha2).value_or("");
  found.currency = country.currency;
  return found;
}

}  // namespace kelm
