#pragma once

#include <optional>
#include <string>

#include "kelm/base/data.h"
#include "kelm/base/export.h"
#include "kelm/base/result.h"
#include "kelm/base/value.h"

namespace kelm {

/// How deep lists and dictionaries may nest.
inline constexpr int kPropertyListMaxDepth = 512;

/// Reads an XML property list, always as UTF-8; the XML declaration and a DOCTYPE line may be
/// missing. Integers keep 64 bits, signed when they fit, else unsigned; dates are UTC to the
/// second; reals may be "nan", "inf" and "infinity" with a sign. Of a repeated key the last value
/// counts, at the first place. An error, with the line under "line", for malformed XML, unknown or
/// misplaced elements, a number, date or Base64 text that is not exactly one, an entity or a
/// document type of its own, and nesting deeper than `kPropertyListMaxDepth`.
KELM_API Result<Value> parsePropertyList(DataView xml);

/// Writes any value as an XML property list, keys in their order, a tab a level. Dates are cut to
/// the second; a decimal is a real with all of its digits, read back as a double. Absent for `Null`
/// and objects inside, for text that XML cannot hold (not valid UTF-8, control characters but tab
/// and line ends, U+FFFE, U+FFFF), for dates outside of the years 0 to 9999 and for nesting deeper
/// than `kPropertyListMaxDepth`.
KELM_API std::optional<std::string> writePropertyList(const Value& value);

}  // namespace kelm
