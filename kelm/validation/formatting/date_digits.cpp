#include "kelm/validation/formatting/date_digits.h"

#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/fmtable.h>
#include <unicode/parsepos.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace kelm {
namespace {

using icu::FieldPosition;
using icu::UnicodeString;

bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }
bool isLetter(char16_t c) { return (c | 0x20) >= u'a' && (c | 0x20) <= u'z'; }

class DateDigits final : public icu::NumberFormat {
 public:
  DateDigits(std::shared_ptr<const icu::DecimalFormat> full, UnicodeString minus)
      : full_(std::move(full)), minus_(std::move(minus)) {}

  DateDigits* clone() const override { return new DateDigits(*this); }
  UClassID getDynamicClassID() const override {
    static const char id = 0;
    return const_cast<char*>(&id);
  }

  using icu::NumberFormat::format;
  using icu::NumberFormat::parse;

  UnicodeString& format(double number, UnicodeString& out, FieldPosition& position) const override {
    return full_->format(number, out, position);
  }
  UnicodeString& format(std::int32_t number, UnicodeString& out,
                        FieldPosition& position) const override {
    return format(std::int64_t{number}, out, position);
  }
  UnicodeString& format(std::int64_t number, UnicodeString& out, FieldPosition&) const override {
    std::array<char16_t, 20> digits;
    std::size_t first = digits.size();
    std::uint64_t rest = number < 0 ? 0 - static_cast<std::uint64_t>(number) : number;
    std::int32_t count = 0;
    for (; rest != 0 && count < getMaximumIntegerDigits(); rest /= 10, ++count)
      digits[--first] = static_cast<char16_t>(u'0' + rest % 10);
    if (number < 0) out.append(minus_);
    for (; count < std::max(getMinimumIntegerDigits(), 1); ++count)
      out.append(u'0');
    return out.append(digits.data() + first, static_cast<std::int32_t>(digits.size() - first));
  }

  /// Digits up to what cannot belong to a number; everything else is read the long way.
  void parse(const UnicodeString& text, icu::Formattable& result,
             icu::ParsePosition& position) const override {
    constexpr std::int32_t kSafeDigits = 9;
    const std::int32_t start = position.getIndex();
    const std::int32_t most = std::min(text.length(), start + kSafeDigits);
    std::int32_t at = start;
    std::int32_t number = 0;
    for (; at < most && isDigit(text.charAt(at)); ++at)
      number = number * 10 + (text.charAt(at) - u'0');
    const char16_t next = at < text.length() ? text.charAt(at) : u' ';
    if (at == start || next >= 0x80 || isDigit(next) || isLetter(next))
      return full_->parse(text, result, position);
    result.setLong(number);
    position.setIndex(at);
  }

 private:
  std::shared_ptr<const icu::DecimalFormat> full_;
  UnicodeString minus_;
};

}  // namespace

std::unique_ptr<icu::NumberFormat> quickDateDigits(const icu::NumberFormat& full) {
  const auto* decimal = dynamic_cast<const icu::DecimalFormat*>(&full);
  if (decimal == nullptr) return nullptr;
  UnicodeString prefix, suffix, minus, minusSuffix;
  decimal->getPositivePrefix(prefix);
  decimal->getPositiveSuffix(suffix);
  decimal->getNegativePrefix(minus);
  decimal->getNegativeSuffix(minusSuffix);
  const UnicodeString zero = decimal->getDecimalFormatSymbols()->getConstSymbol(
      icu::DecimalFormatSymbols::kZeroDigitSymbol);
  if (zero != u'0' || !prefix.isEmpty() || !suffix.isEmpty() || !minusSuffix.isEmpty())
    return nullptr;
  return std::make_unique<DateDigits>(std::shared_ptr<const icu::DecimalFormat>(decimal->clone()),
                                      minus);
}

}  // namespace kelm
