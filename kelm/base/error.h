#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "kelm/base/export.h"
#include "kelm/base/value.h"

namespace kelm {

/// Why a service failed: the space that the code belongs to, the code, and details by key.
/// `userInfo` holds the readable sentence under `kSentenceKey`.
struct KELM_API Error {
  static constexpr std::string_view kSentenceKey = "NSLocalizedDescription";

  std::string domain;
  std::int64_t code = 0;
  Dictionary userInfo;

  /// An error whose sentence is `sentence`; an empty one stores none.
  static Error make(std::string_view domain, std::int64_t code, std::string_view sentence = {});
  /// The sentence of `userInfo`, else one made from domain and code.
  std::string localizedDescription() const;

  bool operator==(const Error&) const;
};

/// Domains of the errors that the library itself makes.
namespace error_domain {
inline constexpr std::string_view kPosix = "posix";    // code: errno
inline constexpr std::string_view kUrl = "url";        // code: url_error
inline constexpr std::string_view kFormat = "format";  // malformed bytes or text
}  // namespace error_domain

/// An errno as an error; the sentence is the system's, followed by the path if one is given.
KELM_API Error posixError(int errnoValue, std::string_view path = {});

/// A raised failure: a programming error, never an ordinary result. what() is "name: reason".
class KELM_API Exception : public std::runtime_error {
 public:
  Exception(std::string_view name, std::string_view reason);

  const std::string& name() const { return name_; }
  const std::string& reason() const { return reason_; }

 private:
  std::string name_;
  std::string reason_;
};

namespace exception_name {
inline constexpr std::string_view kGeneric = "NSGenericException";
inline constexpr std::string_view kInvalidArgument = "NSInvalidArgumentException";
inline constexpr std::string_view kRange = "NSRangeException";
inline constexpr std::string_view kUndefinedKey = "NSUnknownKeyException";
}  // namespace exception_name

/// Raises the range failure for `index` in a collection of `count`.
[[noreturn]] KELM_API void raiseOutOfRange(std::size_t index, std::size_t count);

}  // namespace kelm
