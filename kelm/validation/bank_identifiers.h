#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"

namespace kelm {

// For today's needs, beside `IBANValidator`, whose table and grouping are kept as they are. Nothing
// is trimmed or put in upper case, nothing is logged.

/// The length that the IBANs of a country ("IT") have in the IBAN registry (ISO 13616-2) as it was
/// at the end of 2024, with 89 countries. Absent for others.
KELM_API std::optional<std::size_t> registeredIbanLength(std::string_view country);

/// Whether `iban`, whose blanks are passed over, has the length that the registry gives its country
/// and the right check digits. False for countries that are not in the registry.
KELM_API bool isRegisteredIban(std::string_view iban);

/// The IBAN in groups of four, a blank between them, the last group as long as it is: the print
/// format of ISO 13616-1. Blanks that it has already go.
KELM_API std::string ibanInGroups(std::string_view iban);

/// Whether `code` has the shape of a business identifier code (ISO 9362:2014): four letters or
/// digits, in practice letters, a country of two letters, two letters or digits, and none or three
/// more. Whether the country or the code exists is not asked.
KELM_API bool isBic(std::string_view code);

}  // namespace kelm
