#include "kelm/validation/ed_semver.h"

#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/fmtable.h>
#include <unicode/locid.h>
#include <unicode/parsepos.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <limits>

#include "kelm/base/error.h"
#include "kelm/base/format.h"
#include "kelm/validation/current_locale.h"
#include "kelm/validation/icu_text.h"

namespace kelm {
namespace {

/// The number that the leading digits, of any script, behind a sign make; the nearest one when it
/// takes more than 64 bits.
std::int64_t integerValue(std::string_view text) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  const icu::UnicodeString units = icuText(text);
  const bool isNegative = units.startsWith(u'-');
  std::int32_t at = isNegative || units.startsWith(u'+') ? 1 : 0;
  std::int64_t value = 0;
  for (; at < units.length(); at = units.moveIndex32(at, 1)) {
    const std::int32_t digit = u_charDigitValue(units.char32At(at));
    if (digit < 0) break;
    if (value > (kMost - digit) / 10) return isNegative ? -kMost - 1 : kMost;
    value = value * 10 + digit;
  }
  return isNegative ? -value : value;
}

bool isAllDigits(const icu::UnicodeString& text) {
  for (std::int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1))
    if (u_charDigitValue(text.char32At(at)) < 0) return false;
  return !text.isEmpty();
}

bool isNumber(std::string_view text) {
  constexpr std::size_t kMostBytes = 4096;  // longer numbers take the parser's time squared
  const icu::UnicodeString typed = icuText(text);
  if (isAllDigits(typed)) return true;
  if (text.size() > kMostBytes) return false;
  UErrorCode status = U_ZERO_ERROR;
  const icu::DecimalFormatSymbols symbols(icu::Locale(currentLocale().c_str()), status);
  const icu::DecimalFormat format(u"#", symbols, status);
  if (U_FAILURE(status)) return false;
  icu::Formattable number;
  icu::ParsePosition position(0);
  format.parse(typed, number, position);
  return position.getErrorIndex() < 0 && position.getIndex() == typed.length() && !typed.isEmpty();
}

/// Cuts `text` at the first `mark`; what stands behind the last one, empty without one.
std::string_view takeLastPart(std::string_view& text, char mark) {
  const std::size_t first = text.find(mark);
  if (first == text.npos) return {};
  const std::string_view last = text.substr(text.rfind(mark) + 1);
  text = text.substr(0, first);
  return last;
}

/// The order of two texts by UTF-16 units: that of their bytes, but that characters of four bytes,
/// whose units are surrogates, come before U+E000 and what follows it.
int compareUnits(std::string_view a, std::string_view b) {
  const auto [x, y] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  if (x == a.end() || y == b.end()) return (x != a.end()) - (y != b.end());
  const auto rank = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte == 0xEE || byte == 0xEF ? byte + 0x100 : byte;
  };
  return rank(*x) < rank(*y) ? -1 : 1;
}

int order(std::int64_t a, std::int64_t b) { return (a > b) - (a < b); }

}  // namespace

EDSemver EDSemver::semverWithString(std::string_view text) { return EDSemver(text); }
EDSemver EDSemver::initWithString(std::string_view text) { return EDSemver(text); }

EDSemver::EDSemver(std::string_view text)
    : original_(text), version_(lex(text)), isValid_(check()) {
  if (!isValid_) return;
  major_ = integerValue(version_[0]);
  minor_ = integerValue(version_[1]);
  patch_ = integerValue(version_[2]);
  prerelease_ = version_[3];
  build_ = version_[4];
  pr_ = parse_strict(prerelease_, false);
}

std::vector<std::string> EDSemver::lex(std::string_view text) {
  std::string rest(text);
  if (!rest.empty()) {
    std::erase(rest, ' ');
    if (rest.empty()) raiseOutOfRange(0, 0);
    if (rest.starts_with('v')) rest.erase(0, 1);
    if (rest.starts_with('=')) rest.erase(0, 1);
  }
  std::string_view main = rest;
  const std::string_view build = takeLastPart(main, '+');
  const std::string_view prerelease = takeLastPart(main, '-');
  std::vector<std::string> parts = parse_strict(main, false);
  parts.emplace_back(prerelease);
  parts.emplace_back(build);
  return parts;
}

std::vector<std::string> EDSemver::parse_strict(std::string_view text, bool /*strict*/) {
  std::vector<std::string> parts;
  for (std::size_t dot; (dot = text.find('.')) != text.npos; text.remove_prefix(dot + 1))
    parts.emplace_back(text.substr(0, dot));
  parts.emplace_back(text);
  while (parts.size() < 3)
    parts.emplace_back("0");
  return parts;
}

bool EDSemver::check() const {
  return !original_.empty() && std::all_of(version_.begin(), version_.begin() + 3, isNumber);
}

int EDSemver::compare(const EDSemver* other) const {
  if (other == nullptr || !isValid_ || !other->isValid_)
    throw Exception(exception_name::kInvalidArgument, "nil argument");
  if (const int byMajor = order(major_, other->major_)) return byMajor;
  if (const int byMinor = order(minor_, other->minor_)) return byMinor;
  if (const int byPatch = order(patch_, other->patch_)) return byPatch;
  if (prerelease_.empty() || other->prerelease_.empty())
    return prerelease_.empty() - other->prerelease_.empty();
  return compareUnits(prerelease_, other->prerelease_);
}

bool EDSemver::comparesAs(int order, const Object* other) const {
  const auto* version = dynamic_cast<const EDSemver*>(other);
  return version != nullptr && compare(version) == order;
}

bool EDSemver::isEqualTo(const Object* other) const { return comparesAs(0, other); }
bool EDSemver::isLessThan(const Object* other) const { return comparesAs(-1, other); }
bool EDSemver::isGreaterThan(const Object* other) const { return comparesAs(1, other); }

std::string EDSemver::description() const { return original_; }

std::string EDSemver::debugDescription() const {
  return format("<EDSemver: %p (%@)>", static_cast<const void*>(this), original_);
}

}  // namespace kelm
