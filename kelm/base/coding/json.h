#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/base/result.h"
#include "kelm/base/value.h"

namespace kelm {

/// How deep lists and dictionaries may nest.
inline constexpr int kJsonMaxDepth = 512;

/// Reads a JSON text (RFC 8259, UTF-8). Integers keep 64 bits, signed when they fit, else unsigned;
/// longer ones and numbers with a fraction or exponent become doubles. Of a repeated key the last
/// value counts, at the first place. An error, with the byte offset under "offset", for malformed
/// text or UTF-8, trailing bytes (NUL too), a number out of a double's range, nesting deeper than
/// `kJsonMaxDepth`, and a top level that is neither list nor dictionary.
KELM_API Result<Value> parseJson(std::string_view json);

enum class JsonStyle {
  Compact,  ///< {"a":1,"b":[]}
  Pretty,   ///< two blanks a level, `"key" : value`, one entry a line
};

/// Writes a list or dictionary as JSON, keys in their order, "/" as "\/", non-ASCII as UTF-8; a
/// decimal with all of its digits (read back it is a double: to keep it, write its text).
/// Absent for any other top level, for NaN, infinity, data, dates and objects inside, for text
/// that is not valid UTF-8 and for nesting deeper than `kJsonMaxDepth`.
KELM_API std::optional<std::string> writeJson(const Value& value,
                                              JsonStyle style = JsonStyle::Compact);

}  // namespace kelm
