#include "kelm/base/format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace kelm {
namespace {

using internal::Conversion;
using internal::Printed;
using Extent = Conversion::Extent;

/// Holds the longest real: 309 digits before the point, `kMost` behind it, and the ornaments.
using Buffer = std::array<char, Conversion::kMost + 400>;

char asciiUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

void appendAligned(std::string& out, std::string_view text, const Conversion& c) {
  const std::size_t width = static_cast<std::size_t>(c.width);
  const std::size_t gap = width > text.size() ? width - text.size() : 0;
  if (gap != 0 && !c.left) out.append(gap, ' ');
  out.append(text);
  if (gap != 0 && c.left) out.append(gap, ' ');
}

/// A number in its field: sign or radix prefix, zeros, digits.
void appendNumber(std::string& out, std::string_view prefix, std::string_view digits,
                  std::size_t zeros, bool fillsWithZeros, const Conversion& c) {
  const std::size_t length = prefix.size() + zeros + digits.size();
  const std::size_t width = static_cast<std::size_t>(c.width);
  std::size_t gap = width > length ? width - length : 0;
  if (gap != 0 && fillsWithZeros && !c.left) zeros += std::exchange(gap, 0);
  if (gap != 0 && !c.left) out.append(gap, ' ');
  out.append(prefix).append(zeros, '0').append(digits);
  if (gap != 0 && c.left) out.append(gap, ' ');
}

std::string_view signOf(bool negative, const Conversion& c) {
  return negative ? "-" : c.plus ? "+" : c.blank ? " " : "";
}

template <class T>
T cut(T value, int bytes) {
  using Short = std::conditional_t<std::is_signed_v<T>, std::int16_t, std::uint16_t>;
  using Byte = std::conditional_t<std::is_signed_v<T>, std::int8_t, std::uint8_t>;
  return bytes == 1 ? static_cast<Byte>(value) : bytes == 2 ? static_cast<Short>(value) : value;
}

/// The bits of an integer argument as its own type has them, after the promotion to 32 bits.
std::uint64_t bitsOf(const FormatArgument& argument) {
  if (argument.kind() == FormatArgument::Kind::Unsigned) return argument.asUnsigned();
  const auto bits = static_cast<std::uint64_t>(argument.asSigned());
  return argument.size() <= 4 ? static_cast<std::uint32_t>(bits) : bits;
}

void appendInteger(std::string& out, const Conversion& c, const FormatArgument& argument) {
  const bool isDecimal = c.letter == 'd' || c.letter == 'i';
  bool negative = false;
  std::uint64_t magnitude;
  if (isDecimal && argument.kind() == FormatArgument::Kind::Signed) {
    const std::int64_t value = cut(argument.asSigned(), c.bytes);
    negative = value < 0;
    magnitude = negative ? -static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  } else {
    magnitude = cut(bitsOf(argument), c.bytes);
  }

  char buffer[24];
  const int base = c.letter == 'o' ? 8 : c.letter == 'x' || c.letter == 'X' ? 16 : 10;
  char* end = std::to_chars(buffer, buffer + sizeof buffer, magnitude, base).ptr;
  if (c.letter == 'X') std::transform(buffer, end, buffer, asciiUpper);
  std::string_view digits(buffer, static_cast<std::size_t>(end - buffer));

  const bool hasPrecision = c.precisionFrom != Extent::None;
  if (hasPrecision && c.precision == 0 && magnitude == 0) digits = {};
  const std::size_t wanted = hasPrecision ? static_cast<std::size_t>(c.precision) : 1;
  std::size_t zeros = wanted > digits.size() ? wanted - digits.size() : 0;
  std::string_view prefix = isDecimal ? signOf(negative, c) : "";
  if (c.alternative && base == 16 && magnitude != 0) prefix = c.letter == 'x' ? "0x" : "0X";
  if (c.alternative && base == 8 && zeros == 0 && !digits.starts_with('0')) zeros = 1;
  appendNumber(out, prefix, digits, zeros, c.zeros && !hasPrecision, c);
}

/// With '#' the zeros of %g stay: the exponent, found by writing it, decides between its forms.
char* writeUnstripped(Buffer& buffer, double value, int precision) {
  const int digits = std::max(precision, 1);
  char* const first = buffer.data();
  char* const last = first + buffer.size();
  char* end = std::to_chars(first, last, value, std::chars_format::scientific, digits - 1).ptr;
  const char* const mark = std::find(first, end, 'e');
  if (mark == end) return end;
  int exponent = 0;
  std::from_chars(mark[1] == '+' ? mark + 2 : mark + 1, end, exponent);
  if (exponent < -4 || exponent >= digits) return end;
  return std::to_chars(first, last, value, std::chars_format::fixed, digits - 1 - exponent).ptr;
}

/// Writes the magnitude in the form of `letter`, a lower-case one, and returns its end.
char* writeReal(Buffer& buffer, double value, char letter, const Conversion& c) {
  char* const first = buffer.data();
  char* const last = first + buffer.size();
  const int precision = c.precisionFrom != Extent::None ? c.precision : 6;
  switch (letter) {
    case 'f':
      return std::to_chars(first, last, value, std::chars_format::fixed, precision).ptr;
    case 'e':
      return std::to_chars(first, last, value, std::chars_format::scientific, precision).ptr;
    case 'g':
      if (c.alternative) return writeUnstripped(buffer, value, precision);
      return std::to_chars(first, last, value, std::chars_format::general, precision).ptr;
    default:
      if (c.precisionFrom == Extent::None)
        return std::to_chars(first, last, value, std::chars_format::hex).ptr;
      return std::to_chars(first, last, value, std::chars_format::hex, precision).ptr;
  }
}

/// '#' keeps the point of a number without a fraction.
char* keepPoint(char* first, char* end) {
  if (std::find(first, end, '.') != end) return end;
  char* const mark = std::find_if(first, end, [](char c) { return c == 'e' || c == 'p'; });
  std::move_backward(mark, end, end + 1);
  *mark = '.';
  return end + 1;
}

void appendReal(std::string& out, const Conversion& c, double value) {
  const bool isUpper = c.letter >= 'A' && c.letter <= 'Z';
  const char letter = isUpper ? static_cast<char>(c.letter - 'A' + 'a') : c.letter;
  const bool isFinite = std::isfinite(value);
  Buffer buffer;
  char* const first = buffer.data();
  char* end = writeReal(buffer, std::abs(value), letter, c);
  if (c.alternative && isFinite) end = keepPoint(first, end);
  if (isUpper) std::transform(first, end, first, asciiUpper);
  std::string prefix(signOf(std::signbit(value), c));
  if (letter == 'a' && isFinite) prefix += isUpper ? "0X" : "0x";
  const std::string_view digits(first, static_cast<std::size_t>(end - first));
  appendNumber(out, prefix, digits, 0, c.zeros && isFinite, c);
}

/// The beginning of a text, at most `most` bytes, without a torn UTF-8 sequence at its end.
std::string_view beginning(std::string_view text, std::size_t most) {
  if (text.size() <= most) return text;
  std::size_t end = most;
  const auto isInside = [&] { return (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80; };
  while (end > 0 && most - end < 3 && isInside())
    --end;
  return text.substr(0, isInside() ? most : end);
}

std::string textOfArgument(const FormatArgument& argument) {
  using Kind = FormatArgument::Kind;
  switch (argument.kind()) {
    case Kind::Signed:
      return describe(argument.asSigned());
    case Kind::Unsigned:
      return describe(argument.asUnsigned());
    case Kind::Real:
      return describe(argument.asReal());
    case Kind::Text:
      return std::string(argument.asText());
    case Kind::Described:
      return argument.described();
    case Kind::Pointer:
      break;
  }
  char buffer[24] = "0x";
  const auto address = reinterpret_cast<std::uintptr_t>(argument.asPointer());
  return {buffer, std::to_chars(buffer + 2, buffer + sizeof buffer, address, 16).ptr};
}

/// Walks through one format and hands out its arguments.
class Formatter {
 public:
  Formatter(std::string& out, std::span<const FormatArgument> arguments)
      : out_(out), arguments_(arguments) {}

  void append(std::string_view format) {
    std::size_t at = 0;
    while (at < format.size()) {
      const std::size_t start = std::min(format.find('%', at), format.size());
      out_.append(format, at, start - at);
      if (start == format.size()) return;
      at = start + 1;
      Conversion c = Conversion::read(format, at);
      if (!convert(c)) out_.append(format, start, at - start);
    }
  }

 private:
  const FormatArgument* take(std::size_t position) {
    const std::size_t index = position == 0 ? next_++ : position - 1;
    return index < arguments_.size() ? &arguments_[index] : nullptr;
  }

  /// A width or precision from an argument; absent when there is none of use.
  std::optional<int> takeExtent(std::size_t position) {
    constexpr std::int64_t most = Conversion::kMost;
    const FormatArgument* argument = take(position);
    if (!argument) return {};
    if (argument->kind() == FormatArgument::Kind::Signed)
      return static_cast<int>(std::clamp(argument->asSigned(), -most, most));
    if (argument->kind() == FormatArgument::Kind::Unsigned)
      return static_cast<int>(std::min<std::uint64_t>(argument->asUnsigned(), most));
    return {};
  }

  void resolveExtents(Conversion& c) {
    if (c.widthFrom == Extent::FromArgument) {
      c.width = takeExtent(c.widthPosition).value_or(0);
      if (c.width < 0) c.left = true;
      c.width = std::abs(c.width);
    }
    if (c.precisionFrom == Extent::FromArgument) {
      c.precision = takeExtent(c.precisionPosition).value_or(-1);
      if (c.precision < 0) c.precisionFrom = Extent::None;
    }
  }

  /// False when the letter is unknown: nothing was written or taken.
  bool convert(Conversion& c) {
    if (c.letter == '%') {
      out_ += '%';
      return true;
    }
    const Printed printed = internal::printedBy(c.letter);
    if (printed == Printed::Nothing && c.letter != 'n') return false;
    resolveExtents(c);
    const FormatArgument* argument = take(c.position);
    if (c.letter == 'n') return true;
    if (!argument)
      appendAligned(out_, "(missing)", c);
    else
      print(c, printed, *argument);
    return true;
  }

  void print(const Conversion& c, Printed printed, const FormatArgument& argument) {
    using Kind = FormatArgument::Kind;
    const Kind kind = argument.kind();
    const bool isInteger = kind == Kind::Signed || kind == Kind::Unsigned;
    if (kind == Kind::Text && (printed == Printed::Text || printed == Printed::Anything)) {
      const bool isCut = c.precisionFrom != Extent::None;
      const auto most = static_cast<std::size_t>(c.precision);
      appendAligned(out_, isCut ? beginning(argument.asText(), most) : argument.asText(), c);
    } else if (isInteger && printed == Printed::Integer) {
      appendInteger(out_, c, argument);
    } else if (isInteger && printed == Printed::Byte) {
      const char byte = static_cast<char>(bitsOf(argument));
      appendAligned(out_, {&byte, 1}, c);
    } else if (kind == Kind::Real && printed == Printed::Real) {
      appendReal(out_, c, argument.asReal());
    } else {
      appendAligned(out_, textOfArgument(argument), c);
    }
  }

  std::string& out_;
  std::span<const FormatArgument> arguments_;
  std::size_t next_ = 0;
};

}  // namespace

void appendFormat(std::string& out, std::string_view format,
                  std::span<const FormatArgument> arguments) {
  std::size_t expected = out.size() + format.size();
  for (const FormatArgument& argument : arguments)
    expected += argument.kind() == FormatArgument::Kind::Text ? argument.asText().size() : 16;
  if (expected > out.capacity()) out.reserve(std::max(expected, 2 * out.capacity()));
  Formatter(out, arguments).append(format);
}

}  // namespace kelm
