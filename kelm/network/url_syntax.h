#pragma once

#include <string_view>

namespace kelm {

/// Whether a text can be a URL at all: not empty, only the characters of RFC 3986 (so neither
/// blanks, controls, quotes nor non-ASCII letters), "%" only before two hexadecimal digits, "#" at
/// most once, brackets only around an IP literal as the host, and a scheme, if there is one, of
/// its grammar. A relative reference can; whether it can be sent is the session's matter.
bool isFormableUrl(std::string_view url);

}  // namespace kelm
