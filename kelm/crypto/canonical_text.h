#pragma once

#include <string>

#include "kelm/base/export.h"
#include "kelm/base/value.h"

namespace kelm {

/// What is signed of a configuration: its values as text, joined with ";". Keys put the values of
/// a dictionary in order (by UTF-16 units) but are not part of the text. Numbers stand in their
/// shortest form (RFC 8785, 3.2.2.3; integers with all digits), a bool as true or false, null as
/// "<null>".
KELM_API std::string canonicalText(const Value& configuration);

/// Appends the values that canonicalText() joins; a bool as its text, others as they are.
void appendCanonicalValues(const Dictionary& dictionary, List& values);
void appendCanonicalValues(const List& list, List& values);
void appendCanonicalValues(const Value& value, List& values);

}  // namespace kelm
