#pragma once

#include <concepts>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "kelm/base/describe.h"
#include "kelm/base/export.h"
#include "kelm/base/format_check.h"

namespace kelm {

/// One argument of a format, of a known kind, borrowed for the call.
class KELM_API FormatArgument {
 public:
  enum class Kind : std::uint8_t { Signed, Unsigned, Real, Pointer, Text, Described };
  using Describer = std::string (*)(const void*);

  template <std::integral T>
  FormatArgument(const T& number)  // NOLINT(google-explicit-constructor)
      : kind_(std::is_signed_v<T> ? Kind::Signed : Kind::Unsigned), size_(sizeof(T)) {
    if constexpr (std::is_signed_v<T>)
      signed_ = number;
    else
      unsigned_ = number;
  }
  template <std::floating_point T>
  FormatArgument(const T& number)  // NOLINT(google-explicit-constructor)
      : kind_(Kind::Real), size_(sizeof(double)), real_(static_cast<double>(number)) {}
  FormatArgument(const std::string& text) : FormatArgument(std::string_view(text)) {}  // NOLINT
  FormatArgument(const std::string_view& text)  // NOLINT(google-explicit-constructor)
      : kind_(Kind::Text), size_(text.size()), text_(text.data()) {}
  FormatArgument(const char* const& text)  // NOLINT(google-explicit-constructor)
      : FormatArgument(text ? std::string_view(text) : std::string_view("(null)")) {}
  template <std::size_t N>
  FormatArgument(const char (&text)[N])  // NOLINT(google-explicit-constructor)
      : FormatArgument(std::string_view(text)) {}
  FormatArgument(const void* const& pointer)  // NOLINT(google-explicit-constructor)
      : kind_(Kind::Pointer), size_(sizeof pointer), pointer_(pointer) {}
  /// Anything else with a describe() overload; described only when it is printed.
  template <class T>
  requires(!std::is_arithmetic_v<T> && !std::is_array_v<T> && !std::is_pointer_v<T> &&
           requires(const T& object) { describe(object); })
      FormatArgument(const T& object)  // NOLINT(google-explicit-constructor)
      : kind_(Kind::Described),
        size_(0),
        pointer_(&object),
        describer_([](const void* o) { return describe(*static_cast<const T*>(o)); }) {}

  Kind kind() const { return kind_; }
  /// Bytes of the integer that was passed.
  std::size_t size() const { return size_; }
  std::int64_t asSigned() const { return signed_; }
  std::uint64_t asUnsigned() const { return unsigned_; }
  double asReal() const { return real_; }
  const void* asPointer() const { return pointer_; }
  std::string_view asText() const { return {text_, size_}; }
  std::string described() const { return describer_(pointer_); }

 private:
  Kind kind_;
  std::size_t size_;
  union {
    std::int64_t signed_;
    std::uint64_t unsigned_;
    double real_;
    const char* text_;
    const void* pointer_;
  };
  Describer describer_ = nullptr;
};

/// Appends `format` with its arguments to `out`. printf's conversions d i u x X o c s p f F e E g
/// G a A with flags, width, precision ("*" too) and lengths hh h l ll z j t q L, positions
/// ("%2$@"), "%%", and "%@" for the description of any argument; no locale. Integers print by
/// their own value whatever the length says, but for hh and h, which cut; u x X o see negative
/// ones in their own width, 32 bits at least. Texts are never cut inside a UTF-8 sequence.
/// Never throws but for want of memory or from a description, never reads more than it was given:
/// a conversion that does not fit its argument prints the description, a missing argument prints
/// "(missing)", surplus arguments print nothing, an unknown or cut conversion prints as it stands,
/// "%n" prints nothing. Widths and precisions are capped at 4096.
KELM_API void appendFormat(std::string& out, std::string_view format,
                           std::span<const FormatArgument> arguments);

/// A literal format that was checked against its arguments when it was compiled.
template <class... Arguments>
class FormatString {
 public:
  template <std::size_t N>
  consteval FormatString(const char (&format)[N])  // NOLINT(google-explicit-constructor)
      : text_(format, N - 1) {
    constexpr internal::ArgumentClass kClasses[] = {internal::argumentClass<Arguments>()...,
                                                    internal::ArgumentClass::Object};
    internal::checkFormat(text_, std::span(kClasses, sizeof...(Arguments)));
  }
  std::string_view text() const { return text_; }

 private:
  std::string_view text_;
};

/// The formatted text. The literal form does not compile with wrong, missing or extra arguments.
template <class... Arguments>
std::string format(FormatString<std::type_identity_t<Arguments>...> format,
                   const Arguments&... arguments) {
  const FormatArgument list[] = {FormatArgument(arguments)..., FormatArgument(0)};
  std::string out;
  appendFormat(out, format.text(), std::span(list, sizeof...(Arguments)));
  return out;
}

/// The same for a format that is known only at run time.
template <class... Arguments>
std::string formatAtRunTime(std::string_view format, const Arguments&... arguments) {
  const FormatArgument list[] = {FormatArgument(arguments)..., FormatArgument(0)};
  std::string out;
  appendFormat(out, format, std::span(list, sizeof...(Arguments)));
  return out;
}

}  // namespace kelm
