#include "kelm/validation/bank_identifiers.h"

#include <algorithm>
#include <cstdint>

#include "kelm/validation/mod97.h"

namespace kelm {

namespace {

constexpr std::size_t kPrefix = 4;
constexpr std::size_t kGroup = 4;

struct Registered {
  std::uint8_t length;
  std::string_view countries;  ///< two letters each, a blank between them
};
constexpr Registered kRegistry[] = {
    {15, "NO"},
    {16, "BE"},
    {18, "DK FI FK FO GL NL SD"},
    {19, "MK SI"},
    {20, "AT BA EE KZ LT LU MN XK"},
    {21, "CH HR LI LV"},
    {22, "BG BH CR DE GB GE IE ME RS VA"},
    {23, "AE GI IL IQ OM SO TL"},
    {24, "AD CZ ES MD PK RO SA SE SK TN VG"},
    {25, "LY PT ST"},
    {26, "IS TR"},
    {27, "BI DJ FR GR IT MC MR SM"},
    {28, "AL AZ BY CY DO GT HN HU LB NI PL SV"},
    {29, "BR EG PS QA UA"},
    {30, "JO KW MU YE"},
    {31, "MT SC"},
    {32, "LC"},
    {33, "RU"},
};

bool isLetter(char c) { return c >= 'A' && c <= 'Z'; }
bool isLetterOrDigit(char c) { return isLetter(c) || (c >= '0' && c <= '9'); }
/// Of a character in UTF-8.
bool isFirstByte(char c) { return (c & 0xC0) != 0x80; }

}  // namespace

std::optional<std::size_t> registeredIbanLength(std::string_view country) {
  if (country.size() != 2 || !isLetter(country[0]) || !isLetter(country[1])) return std::nullopt;
  for (const Registered& row : kRegistry)
    if (row.countries.find(country) != std::string_view::npos) return row.length;
  return std::nullopt;
}

bool isRegisteredIban(std::string_view iban) {
  std::string whole(iban);
  std::erase(whole, ' ');
  const auto length = registeredIbanLength(std::string_view(whole).substr(0, 2));
  if (!length || *length != whole.size()) return false;
  // ISO 7064 makes 02 to 98: these three leave the same remainder as 97, 98 and 02.
  const std::string_view check = std::string_view(whole).substr(2, 2);
  if (check == "00" || check == "01" || check == "99") return false;
  std::rotate(whole.begin(), whole.begin() + kPrefix, whole.end());
  Mod97 sum;
  for (const char c : whole) {
    const std::uint8_t value = kIbanValues[static_cast<std::uint8_t>(c)];
    if (value == kNoIbanCharacter) return false;
    sum.append(value);
  }
  return sum.remainder() == 1;
}

std::string ibanInGroups(std::string_view iban) {
  std::string groups;
  std::size_t length = 0;
  for (const char c : iban) {
    if (c == ' ') continue;
    if (isFirstByte(c) && length++ % kGroup == 0 && !groups.empty()) groups += ' ';
    groups += c;
  }
  return groups;
}

bool isBic(std::string_view code) {
  if (code.size() != 8 && code.size() != 11) return false;
  return std::all_of(code.begin(), code.end(), isLetterOrDigit) && isLetter(code[4]) &&
         isLetter(code[5]);
}

}  // namespace kelm
