// link: kelm_formatting ICU::uc ICU::i18n
// Amounts and dates beside the same steps with formatters of ICU's that are made for each text.

#include <benchmark/benchmark.h>
#include <unicode/timezone.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "kelm/validation/formatting/kelm_amount_formatter.h"
#include "kelm/validation/formatting/kelm_date_formatter.h"
#include "tests/support/step_by_step.h"

namespace {

using benchmark::DoNotOptimize;
using benchmark::State;
using kelm::Date;
using kelm::Decimal;
using kelm::KelmAmountFormatter;
using kelm::KelmDateFormatter;
using kelm::TimeZone;

/// Registers both under a name, after comparing what they give.
template <class Ours, class Peer>
void addPair(const std::string& work, Ours ours, Peer peer) {
  if (ours() != peer()) std::abort();
  const auto add = [](const std::string& name, auto call) {
    benchmark::RegisterBenchmark(name.c_str(), [call](State& state) {
      for (auto _ : state)
        DoNotOptimize(call());
    });
  };
  add(work + "/kelm", ours);
  add(work + "/peer", peer);
}

void addAmounts(const std::string& locale, const std::string& typed) {
  KelmAmountFormatter currency = KelmAmountFormatter::defaultFormatter();
  currency.setLocale(locale);
  KelmAmountFormatter euros = currency;
  euros.setCurrencySymbol("\u20ac");
  KelmAmountFormatter plain = currency;
  plain.setIsAmount(false);
  const Decimal number = Decimal::fromText("1234.5").value();
  const struct {
    std::string style;
    KelmAmountFormatter formatter;
  } styles[] = {{"decimal", plain}, {"currency", currency}, {"currency_symbol", euros}};
  for (const auto& [style, formatter] : styles) {
    std::string kind = style;
    kind.append("_").append(locale);
    addPair(
        "amount_format_" + kind,
        [formatter = formatter, number] { return formatter.formattedStringWithNumber(number); },
        [formatter = formatter, number] {
          return kelm::testing::amountPrintedStepByStep(formatter, number);
        });
    addPair(
        "amount_parse_" + kind,
        [formatter = formatter, typed] { return formatter.numberWithFormattedString(typed); },
        [formatter = formatter, typed] {
          return kelm::testing::amountReadStepByStep(formatter, typed);
        });
  }
}

void addDates(const std::string& locale) {
  static const TimeZone& rome = *new TimeZone(TimeZone::named("Europe/Rome").value());
  static const icu::TimeZone& theirRome = *icu::TimeZone::createTimeZone("Europe/Rome");
  static constexpr const char* kPattern = "dd/MM/yyyy HH:mm:ss";
  static constexpr const char* kText = "14/11/2023 23:13:20";
  KelmDateFormatter dates;
  dates.setLocale(locale);
  dates.setDateFormat(kPattern);
  dates.setTimezone(&rome);
  addPair(
      "date_format_" + locale, [dates] { return dates.formattedStringWithDate(Date{1.7e9}); },
      [locale] {
        const auto format = kelm::testing::dateFormat(kPattern, locale.c_str(), theirRome);
        return kelm::testing::datePrintedStepByStep(format, 1.7e9);
      });
  addPair(
      "date_parse_" + locale,
      [dates]() -> std::optional<double> {
        return dates.dateWithFormattedString(kText).value().secondsSince1970;
      },
      [locale] {
        auto format = kelm::testing::dateFormat(kPattern, locale.c_str(), theirRome);
        return kelm::testing::dateReadStepByStep(format, kText);
      });
}

const bool kAdded = [] {
  addAmounts("en_US", "1,234.50");
  addAmounts("it_IT", "1.234,50");
  addDates("en_US");
  addDates("it_IT");
  return true;
}();

}  // namespace
