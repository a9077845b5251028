#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"

namespace kelm {

/// True for four decimals from 0 to 255 without leading zeros, with dots between them.
KELM_API bool isIpv4Address(std::string_view text);

/// Returns an IPv6 address (RFC 4291, section 2.2, without a zone) as RFC 5952 writes it: lower
/// case, the longest run of zeros as "::", an IPv4 address embedded as such. Absent if malformed.
KELM_API std::optional<std::string> canonicalIpv6Address(std::string_view text);

}  // namespace kelm
