#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kelm/base/export.h"

namespace kelm {

/// A country or territory. The texts live for ever.
struct IsoCountryInfo {
  std::string_view name;       // the English short name of ISO 3166-1
  std::string_view numeric;    // ISO 3166-1, three digits
  std::string_view alpha2;     // ISO 3166-1
  std::string_view alpha3;     // ISO 3166-1
  std::string_view calling;    // ITU-T E.164, with "+"
  std::string_view currency;   // ISO 4217
  std::string_view continent;  // AF, AN, AS, EU, NA, OC or SA
};

/// The countries as they stood when the table was made: names and currencies of about 2013 to 2015,
/// and some older. Kept as they are; docs/strings.md lists what surprises. Thread-safe.
class KELM_API IsoCountries {
 public:
  IsoCountries() = delete;

  /// `all` The 249 entries of ISO 3166-1 in the order of their names, "Å" as "A".
  static std::span<const IsoCountryInfo> all();
  /// `flag(countryCode:)` One symbol for each character of the upper-cased code, two of which a
  /// screen shows as a flag; codes are not checked. Absent for an empty code and where a
  /// character has no symbol to go to, above U+10FFFF.
  static std::optional<std::string> flag(std::string_view countryCode);
};

}  // namespace kelm
