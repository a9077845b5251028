#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

namespace kelm::internal {

/// What a literal format may ask of an argument.
enum class ArgumentClass : char { Integer, Real, Text, Pointer, Object };

template <class T>
consteval ArgumentClass argumentClass() {
  using U = std::remove_cvref_t<T>;
  if constexpr (std::is_integral_v<U>)
    return ArgumentClass::Integer;
  else if constexpr (std::is_floating_point_v<U>)
    return ArgumentClass::Real;
  else if constexpr (std::is_convertible_v<U, std::string_view>)
    return ArgumentClass::Text;
  else if constexpr (std::is_pointer_v<U>)
    return ArgumentClass::Pointer;
  else
    return ArgumentClass::Object;
}

/// One conversion of a format, from behind its '%' to its letter. Positions count from 1.
struct Conversion {
  enum class Extent : char { None, Given, FromArgument };

  char letter = 0;  // 0: the format ended first
  bool left = false, plus = false, blank = false, alternative = false, zeros = false;
  Extent widthFrom = Extent::None, precisionFrom = Extent::None;
  int width = 0, precision = 0;
  std::size_t position = 0, widthPosition = 0, precisionPosition = 0;  // 0: the next argument
  int bytes = 0;  // 1 for "hh", 2 for "h", else 0

  static constexpr int kMost = 4096;

  constexpr void readFlags(std::string_view format, std::size_t& at) {
    for (; at < format.size(); ++at)
      switch (format[at]) {
        case '-':
          left = true;
          break;
        case '+':
          plus = true;
          break;
        case ' ':
          blank = true;
          break;
        case '#':
          alternative = true;
          break;
        case '0':
          zeros = true;
          break;
        case '\'':
          break;
        default:
          return;
      }
  }
  /// Digits, capped at `kMost`; 0 when there are none.
  static constexpr int readNumber(std::string_view format, std::size_t& at) {
    int number = 0;
    for (; at < format.size() && format[at] >= '0' && format[at] <= '9'; ++at)
      number = number < kMost ? number * 10 + (format[at] - '0') : number;
    return number < kMost ? number : kMost;
  }
  /// "12$": the 12, and `at` behind the '$'; else 0 and `at` unmoved.
  static constexpr std::size_t readPosition(std::string_view format, std::size_t& at) {
    std::size_t end = at;
    const int number = readNumber(format, end);
    if (number == 0 || end == format.size() || format[end] != '$') return 0;
    at = end + 1;
    return static_cast<std::size_t>(number);
  }
  static constexpr Extent readExtent(std::string_view format, std::size_t& at, int& number,
                                     std::size_t& argument) {
    if (at < format.size() && format[at] == '*') {
      argument = readPosition(format, ++at);
      return Extent::FromArgument;
    }
    const std::size_t start = at;
    number = readNumber(format, at);
    return at == start ? Extent::None : Extent::Given;
  }
  constexpr void readLength(std::string_view format, std::size_t& at) {
    const std::size_t start = at;
    while (at < format.size() && std::string_view("hlzjtqL").find(format[at]) != format.npos)
      ++at;
    const std::string_view length = format.substr(start, at - start);
    bytes = length == "hh" ? 1 : length == "h" ? 2 : 0;
  }

  /// Reads from behind a '%' on; `at` ends behind the letter.
  static constexpr Conversion read(std::string_view format, std::size_t& at) {
    Conversion c;
    const char first = at < format.size() ? format[at] : '\0';
    if (first == '@' || first == 's' || first == 'd') {  // most conversions are no more than this
      c.letter = first;
      ++at;
      return c;
    }
    c.position = readPosition(format, at);
    c.readFlags(format, at);
    c.widthFrom = readExtent(format, at, c.width, c.widthPosition);
    if (at < format.size() && format[at] == '.') {
      c.precisionFrom = readExtent(format, ++at, c.precision, c.precisionPosition);
      if (c.precisionFrom == Extent::None) c.precisionFrom = Extent::Given;  // "%.f" is "%.0f"
    }
    c.readLength(format, at);
    if (at < format.size()) c.letter = format[at++];
    return c;
  }
};

/// What the letter of a conversion prints; nothing when there is no such letter.
enum class Printed : char { Nothing, Anything, Integer, Byte, Real, Text, Pointer };

constexpr Printed printedBy(char letter) {
  switch (letter) {
    case '@':
      return Printed::Anything;
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
      return Printed::Integer;
    case 'c':
      return Printed::Byte;
    case 'f':
    case 'F':
    case 'e':
    case 'E':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      return Printed::Real;
    case 's':
      return Printed::Text;
    case 'p':
      return Printed::Pointer;
    default:
      return Printed::Nothing;
  }
}

/// Throws, so does not compile, when the conversion cannot print that kind of argument.
consteval void checkKind(char letter, ArgumentClass kind) {
  switch (printedBy(letter)) {
    case Printed::Anything:
      return;
    case Printed::Integer:
    case Printed::Byte:
      if (kind != ArgumentClass::Integer) throw "this conversion prints integers only";
      return;
    case Printed::Real:
      if (kind != ArgumentClass::Real) throw "this conversion prints reals only";
      return;
    case Printed::Text:
      if (kind != ArgumentClass::Text) throw "%s prints text only; %@ prints everything";
      return;
    case Printed::Pointer:
      if (kind != ArgumentClass::Pointer) throw "%p prints pointers only";
      return;
    case Printed::Nothing:
      throw "no such conversion";
  }
}

/// Throws, so does not compile, when the format does not fit the arguments exactly.
consteval void checkFormat(std::string_view format, std::span<const ArgumentClass> arguments) {
  std::uint64_t used = 0;
  std::size_t next = 0;
  const auto take = [&](std::size_t position) {
    const std::size_t index = position == 0 ? next++ : position - 1;
    if (index >= arguments.size()) throw "an argument is missing";
    used |= std::uint64_t{1} << index;
    return arguments[index];
  };
  if (arguments.size() > 64) throw "more than 64 arguments";
  for (std::size_t at = format.find('%'); at != format.npos; at = format.find('%', at)) {
    const Conversion c = Conversion::read(format, ++at);
    if (c.letter == 0) throw "the last conversion is cut off";
    if (c.letter == '%') continue;
    for (const auto& [from, position] :
         {std::pair(c.widthFrom, c.widthPosition), std::pair(c.precisionFrom, c.precisionPosition)})
      if (from == Conversion::Extent::FromArgument && take(position) != ArgumentClass::Integer)
        throw "a width or precision must be an integer";
    checkKind(c.letter, take(c.position));
  }
  const std::size_t count = arguments.size();
  const std::uint64_t all = count == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
  if (used != all) throw "an argument is never printed";
}

}  // namespace kelm::internal
