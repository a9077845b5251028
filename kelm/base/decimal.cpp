#include "kelm/base/decimal.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

namespace kelm {
namespace {

constexpr std::size_t kLimbDigits = 19;
/// Past every exponent that matters, and far from an overflow.
constexpr std::int64_t kFarExponent = std::int64_t{1} << 60;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The parts of a number's text. Leading zeros of the digits are dropped, so that only the
/// significant ones are kept, at most one more than fit.
struct Spelling {
  bool isNegative = false;
  std::string digits;
  std::int64_t exponent = 0;  // of the last digit

  /// Reads the digits and the point from the front of `text`; false when there is no digit.
  bool readDigits(std::string_view& text) {
    bool hasDigit = false;
    bool isAfterPoint = false;
    std::int64_t zeros = 0;  // not yet known to be followed by another digit
    for (; !text.empty(); text.remove_prefix(1)) {
      const char c = text.front();
      if (c == '.' && !isAfterPoint) {
        isAfterPoint = true;
        continue;
      }
      if (!isDigit(c)) break;
      hasDigit = true;
      if (isAfterPoint) --exponent;
      if (c == '0') {
        ++zeros;
        continue;
      }
      append(zeros, c);
      zeros = 0;
    }
    exponent += zeros;
    return hasDigit;
  }

  /// Reads "e", a sign or none, and digits; false when they are malformed.
  bool readExponent(std::string_view text) {
    if (text.empty()) return true;
    if (text.front() != 'e' && text.front() != 'E') return false;
    text.remove_prefix(1);
    const bool isBelowZero = text.starts_with('-');
    if (isBelowZero || text.starts_with('+')) text.remove_prefix(1);
    if (text.empty() || !std::all_of(text.begin(), text.end(), isDigit)) return false;
    std::int64_t number = 0;
    for (const char c : text)
      number = std::min(number * 10 + (c - '0'), kFarExponent / 16);
    exponent += isBelowZero ? -number : number;
    return true;
  }

 private:
  void append(std::int64_t zeros, char digit) {
    constexpr std::int64_t kEnough = Decimal::kMostDigits + 1;
    if (!digits.empty()) digits.append(static_cast<std::size_t>(std::min(zeros, kEnough)), '0');
    digits += digit;
    if (digits.size() > kEnough) digits.resize(kEnough);
  }
};

std::uint64_t numberOf(std::string_view digits) {
  std::uint64_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

}  // namespace

std::optional<Decimal> Decimal::fromText(std::string_view text) {
  Spelling spelling;
  spelling.isNegative = text.starts_with('-');
  if (spelling.isNegative || text.starts_with('+')) text.remove_prefix(1);
  if (!spelling.readDigits(text) || !spelling.readExponent(text)) return {};
  std::string& digits = spelling.digits;
  if (digits.empty()) return Decimal();
  if (digits.size() > kMostDigits || spelling.exponent < kLeastExponent) return {};
  const std::int64_t surplus = spelling.exponent - kMostExponent;
  if (surplus > kMostDigits - static_cast<std::int64_t>(digits.size())) return {};
  if (surplus > 0) digits.append(static_cast<std::size_t>(surplus), '0');

  Decimal decimal;
  const std::size_t split = digits.size() - std::min(digits.size(), kLimbDigits);
  decimal.high_ = numberOf(std::string_view(digits).substr(0, split));
  decimal.low_ = numberOf(std::string_view(digits).substr(split));
  decimal.exponent_ =
      static_cast<std::int16_t>(spelling.exponent - std::max<std::int64_t>(surplus, 0));
  decimal.isNegative_ = spelling.isNegative;
  return decimal;
}

std::optional<Decimal> Decimal::exactly(double number) {
  std::array<char, 800> buffer;  // no double has more than 767 digits
  const auto [end, error] =
      std::to_chars(buffer.begin(), buffer.end(), number, std::chars_format::scientific, 766);
  if (error != std::errc{}) return {};
  return fromText({buffer.begin(), end});
}

std::string Decimal::digits() const {
  std::string text = std::to_string(low_);
  if (high_ == 0) return text;
  return std::to_string(high_) + std::string(kLimbDigits - text.size(), '0') + text;
}

std::string Decimal::text() const {
  if (isZero()) return "0";
  std::string digits = this->digits();
  const int point = static_cast<int>(digits.size()) + exponent_;  // digits before the point
  digits.erase(digits.find_last_not_of('0') + 1);
  const int count = static_cast<int>(digits.size());
  const auto zeros = [](int number) { return std::string(static_cast<std::size_t>(number), '0'); };
  std::string text = isNegative_ ? "-" : "";
  if (point > 21 || point <= -6) {
    text += digits.front();
    if (count > 1) text.append(".").append(digits, 1);
    text.append(point > 0 ? "e+" : "e-").append(std::to_string(point > 0 ? point - 1 : 1 - point));
  } else if (point <= 0) {
    text.append("0.").append(zeros(-point)).append(digits);
  } else if (point >= count) {
    text.append(digits).append(zeros(point - count));
  } else {
    text.append(digits, 0, static_cast<std::size_t>(point)).append(".");
    text.append(digits, static_cast<std::size_t>(point));
  }
  return text;
}

std::optional<std::uint64_t> Decimal::integerPart() const {
  std::string digits = this->digits();
  if (isZero() || static_cast<int>(digits.size()) + exponent_ <= 0) return 0;
  if (static_cast<int>(digits.size()) + exponent_ > 20) return {};
  digits.resize(digits.size() + static_cast<std::size_t>(exponent_), '0');
  std::uint64_t number = 0;
  if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec != std::errc{})
    return {};
  return number;
}

std::int64_t Decimal::integer() const {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  const std::uint64_t part = integerPart().value_or(std::numeric_limits<std::uint64_t>::max());
  if (!isNegative_) return static_cast<std::int64_t>(std::min(part, kMost));
  return static_cast<std::int64_t>(0 - std::min(part, kMost + 1));
}

double Decimal::real() const {
  const std::string text = this->text();
  double number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::optional<std::int64_t> Decimal::exactSigned() const {
  const std::int64_t number = integer();
  return Decimal(number) == *this ? std::optional(number) : std::nullopt;
}

std::optional<std::uint64_t> Decimal::exactUnsigned() const {
  const std::uint64_t number = integerPart().value_or(0);
  return Decimal(number) == *this ? std::optional(number) : std::nullopt;
}

std::strong_ordering Decimal::operator<=>(const Decimal& other) const {
  if (isZero() || other.isZero() || isNegative_ != other.isNegative_) {
    const auto sign = [](const Decimal& d) { return d.isZero() ? 0 : d.isNegative_ ? -1 : 1; };
    return sign(*this) <=> sign(other);
  }
  const auto aligned = [](const Decimal& d) {
    std::string digits = d.digits();
    const int point = static_cast<int>(digits.size()) + d.exponent_;
    digits.resize(kMostDigits, '0');
    return std::pair(point, std::move(digits));
  };
  return isNegative_ ? aligned(other) <=> aligned(*this) : aligned(*this) <=> aligned(other);
}

}  // namespace kelm
