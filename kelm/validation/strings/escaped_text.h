#pragma once

#include <string>
#include <string_view>

namespace kelm {

/// The text with a backslash and a letter or the character itself for: " / and the controls
/// U+0008, tab, line feed, form feed, carriage return.
std::string escapedForJson(std::string_view text);

/// The text with "&#decimal;" for every UTF-16 unit but "*" to "9", without ":", "_" and Latin
/// letters; each malformed byte counts as U+FFFD.
std::string escapedForXml(std::string_view text);

}  // namespace kelm
