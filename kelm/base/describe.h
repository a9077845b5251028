#pragma once

#include <concepts>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kelm/base/data.h"
#include "kelm/base/date.h"
#include "kelm/base/decimal.h"
#include "kelm/base/error.h"
#include "kelm/base/export.h"
#include "kelm/base/value.h"

namespace kelm {

/// What "%@" prints: text as it is; numbers as the shortest decimal text that reads back as the
/// same number (1, 100000, 1e+21); a bool as 1 or 0; absence as "(null)"; `Null` as "<null>";
/// data as "{length = 3, bytes = 0x010203}" (longer than 24 bytes: the first 16 and last 8);
/// a date as "2023-11-14 22:13:20 +0000"; lists as "(\n    a,\n    b\n)" and dictionaries as
/// "{\n    key = value;\n}", indented by four blanks a level, their texts as they are; an error
/// as "Error Domain=posix Code=2 \"No such file\"", followed by " UserInfo={key=value, ...}" when
/// it knows more than the sentence; an object as its own description. Nesting deeper than 512
/// levels prints "...".
KELM_API std::string describe(std::string_view text);
KELM_API std::string describe(bool value);
KELM_API std::string describe(std::int64_t number);
KELM_API std::string describe(std::uint64_t number);
KELM_API std::string describe(double number);
KELM_API std::string describe(const Decimal& number);
KELM_API std::string describe(DataView data);
KELM_API std::string describe(Date date);
KELM_API std::string describe(const List& list);
KELM_API std::string describe(const Dictionary& dictionary);
KELM_API std::string describe(const Value& value);
/// The same inside something that is itself indented by `level` levels.
KELM_API std::string describe(const Value& value, std::size_t level);
KELM_API std::string describe(const Error& error);
KELM_API std::string describe(const std::exception& exception);
KELM_API std::string describe(const Object& object);

inline std::string describe(const char* text) {
  return text ? describe(std::string_view(text)) : "(null)";
}
inline std::string describe(const std::string& text) { return text; }
inline std::string describe(const Data& data) { return describe(DataView(data)); }
inline std::string describe(std::nullopt_t) { return "(null)"; }
/// Other pointers would print as a bool.
std::string describe(const void*) = delete;
inline std::string describe(std::nullptr_t) { return "(null)"; }

template <std::integral T>
requires(!std::same_as<T, bool>) std::string describe(T number) {
  if constexpr (std::is_signed_v<T>)
    return describe(static_cast<std::int64_t>(number));
  else
    return describe(static_cast<std::uint64_t>(number));
}
inline std::string describe(float number) { return describe(static_cast<double>(number)); }

template <class T>
std::string describe(const std::optional<T>& value) {
  return value ? describe(*value) : "(null)";
}
template <class T>
std::string describe(const std::shared_ptr<T>& object) {
  return object ? describe(*object) : "(null)";
}
template <class T>
std::string describe(const std::vector<T>& list) {
  return describe(List(list.begin(), list.end()));
}

/// The shortest decimal text that reads back as the same double, by the rules of ECMAScript's
/// Number::toString (also RFC 8785): 1, 100000, 1e+21, 1e-7, 0 for -0, NaN, Infinity.
KELM_API std::string shortestText(double number);

}  // namespace kelm
