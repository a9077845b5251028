#include "kelm/base/value.h"

#include <cmath>
#include <functional>
#include <limits>

#include "kelm/base/text_hash.h"

namespace kelm {
namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;
constexpr double kTwoTo64 = 18446744073709551616.0;

/// The integer that a real is exactly, if one of the two kinds can hold it.
std::optional<std::int64_t> exactSigned(double real) {
  if (!(real >= -kTwoTo63 && real < kTwoTo63) || std::trunc(real) != real) return {};
  return static_cast<std::int64_t>(real);
}
std::optional<std::uint64_t> exactUnsigned(double real) {
  if (!(real >= 0 && real < kTwoTo64) || std::trunc(real) != real) return {};
  return static_cast<std::uint64_t>(real);
}

template <class T>
constexpr bool kIsNumber = std::is_same_v<T, std::int64_t> || std::is_same_v<T, std::uint64_t> ||
                           std::is_same_v<T, double> || std::is_same_v<T, Decimal>;

struct Equal {
  template <class A, class B>
  bool operator()(const A& a, const B& b) const {
    if constexpr (std::is_same_v<A, ObjectPointer> && std::is_same_v<B, ObjectPointer>)
      return a == b || (a && b && a->isEqual(*b));
    else if constexpr (std::is_same_v<A, B>)
      return a == b;
    else if constexpr (kIsNumber<A> && kIsNumber<B>)
      return numbers(a, b);
    else
      return false;
  }
  static bool numbers(std::int64_t a, std::uint64_t b) { return std::cmp_equal(a, b); }
  static bool numbers(std::int64_t a, double b) { return exactSigned(b) == a; }
  static bool numbers(std::uint64_t a, double b) { return exactUnsigned(b) == a; }
  static bool numbers(const Decimal& a, std::int64_t b) { return a == Decimal(b); }
  static bool numbers(const Decimal& a, std::uint64_t b) { return a == Decimal(b); }
  static bool numbers(const Decimal& a, double b) {
    return a.real() == b && Decimal::exactly(b) == a;
  }
  template <class A, class B>
  static bool numbers(const A& a, const B& b) {
    return numbers(b, a);
  }
};

std::size_t mixed(std::size_t seed, std::size_t more) {
  std::uint64_t bits = (seed ^ more) + 0x9e3779b97f4a7c15;
  bits = (bits ^ bits >> 30) * 0xbf58476d1ce4e5b9;
  bits = (bits ^ bits >> 27) * 0x94d049bb133111eb;
  return bits ^ bits >> 31;
}

/// Numbers that are equal across kinds meet in the integer kinds, else in the double.
struct Hash {
  std::size_t operator()(const Null&) const { return 1; }
  std::size_t operator()(bool value) const { return value ? 3 : 2; }
  std::size_t operator()(std::int64_t number) const {
    return mixed(4, static_cast<std::size_t>(number));
  }
  std::size_t operator()(std::uint64_t number) const { return mixed(4, number); }
  std::size_t operator()(double number) const {
    if (const auto exact = exactSigned(number)) return (*this)(*exact);
    if (const auto exact = exactUnsigned(number)) return (*this)(*exact);
    return mixed(5, std::hash<double>{}(number));
  }
  std::size_t operator()(const Decimal& number) const {
    if (const auto exact = number.exactSigned()) return (*this)(*exact);
    if (const auto exact = number.exactUnsigned()) return (*this)(*exact);
    return (*this)(number.real());
  }
  std::size_t operator()(const std::string& text) const { return textHash(text); }
  std::size_t operator()(const Data& data) const { return mixed(6, textHash(textOf(data))); }
  std::size_t operator()(const Date& date) const {
    return mixed(7, std::hash<double>{}(date.secondsSince1970));
  }
  std::size_t operator()(const List& list) const {
    std::size_t hash = 8;
    for (const Value& item : list)
      hash = mixed(hash * 31, item.hash());
    return hash;
  }
  std::size_t operator()(const Dictionary& dictionary) const {
    std::size_t hash = 9;
    for (const Dictionary::Entry& entry : dictionary)  // the order does not count
      hash += mixed(textHash(entry.key), entry.value.hash());
    return hash;
  }
  std::size_t operator()(const ObjectPointer& object) const { return object ? object->hash() : 1; }
};

std::int64_t clamped(double real) {
  if (std::isnan(real)) return 0;
  if (real >= kTwoTo63) return std::numeric_limits<std::int64_t>::max();
  if (real < -kTwoTo63) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(real);
}

}  // namespace

std::optional<std::string_view> Value::text() const {
  const auto* text = get<std::string>();
  return text ? std::optional<std::string_view>(*text) : std::nullopt;
}

std::optional<std::int64_t> Value::integer() const {
  if (const auto* number = get<std::int64_t>()) return *number;
  if (const auto* number = get<bool>()) return *number;
  if (const auto* number = get<double>()) return clamped(*number);
  if (const auto* number = get<Decimal>()) return number->integer();
  if (const auto* number = get<std::uint64_t>()) {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(std::min(*number, most));
  }
  return {};
}

std::optional<double> Value::real() const {
  if (const auto* number = get<double>()) return *number;
  if (const auto* number = get<Decimal>()) return number->real();
  if (const auto* number = get<std::int64_t>()) return static_cast<double>(*number);
  if (const auto* number = get<std::uint64_t>()) return static_cast<double>(*number);
  if (const auto* number = get<bool>()) return *number;
  return {};
}

std::optional<bool> Value::boolean() const {
  if (const auto* value = get<bool>()) return *value;
  const auto number = real();
  return number ? std::optional<bool>(*number != 0) : std::nullopt;
}

bool Value::operator==(const Value& other) const {
  return std::visit(Equal{}, storage_, other.storage_);
}

std::size_t Value::hash() const { return std::visit(Hash{}, storage_); }

}  // namespace kelm
