// link: kelm_validation
// Checks that run on every key stroke, beside the plain forms that a textbook would write.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "kelm/validation/iban_validator.h"
#include "kelm/validation/kelm_luhn_check.h"
#include "kelm/validation/smart_payment_utils.h"

namespace {

constexpr std::array<std::string_view, 7> kIbans = {
    "GB82 WEST 1234 5698 7654 32",  "IT60 X054 2811 1010 0000 0123 456",
    "DE89 3704 0044 0532 0130 00",  "FR14 2004 1010 0505 0001 3M02 606",
    "NO93 8601 1117 947",           "MT84 MALT 0110 0001 2345 MTLC AST0 01S",
    "ES91 2100 0418 4502 0005 1332"};
constexpr std::string_view kRearranged = "MALT011000012345MTLCAST001SMT84";
constexpr std::array<std::string_view, 4> kCards = {"4242424242424242", "5555555555554444",
                                                    "6011000990139424", "4111111111111112"};

/// Divides for the remainder of each character, and again where the sum grew large.
std::uint64_t plainMod97(const std::string& text) {
  std::uint64_t sum = 0;
  std::uint64_t result = 0;
  for (const char c : text) {
    const auto value = static_cast<std::uint64_t>(c >= '0' && c <= '9' ? c - '0' : c - 'A' + 10);
    sum = sum * (value < 10 ? 10 : 100) + value;
    result = sum % 97;
    sum = sum > 42'949'671 ? sum % 97 : sum;
  }
  return result;
}

/// Copies, a set of letters and a map of countries.
int plainIban(std::string_view iban) {
  static const std::set<char> kAllowed = [] {
    const std::string_view letters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    return std::set<char>(letters.begin(), letters.end());
  }();
  static const std::map<std::string, int> kCountries = kelm::IBANValidator::buildCountryTable();
  std::string text;
  for (const char c : iban)
    if (c != ' ') text += c;
  if (text.size() < 15) return 2;
  for (const char c : text)
    if (!kAllowed.contains(c)) return 2;
  const auto country = kCountries.find(text.substr(0, 2));
  const bool isKnown = country != kCountries.end();
  if (isKnown && static_cast<std::size_t>(country->second) != text.size()) return 2;
  if (plainMod97(text.substr(4) + text.substr(0, 4)) != 1) return 2;
  return isKnown ? 0 : 1;
}

bool plainLuhn(std::string_view text) {
  int sum = 0;
  bool isDoubled = false;
  for (std::size_t i = text.size(); i-- > 0;) {
    int digit = text[i] - '0';
    if (isDoubled) {
      digit *= 2;
      if (digit > 9) digit -= 9;
    }
    sum += digit;
    isDoubled = !isDoubled;
  }
  return sum % 10 == 0;
}

/// Registers both under a name, for the texts in turn, after comparing what they give.
template <class Texts, class Ours, class Peer>
void addPair(const std::string& work, const Texts& texts, Ours ours, Peer peer) {
  for (const std::string_view text : texts)
    if (static_cast<std::int64_t>(ours(text)) != static_cast<std::int64_t>(peer(text)))
      std::abort();
  const auto add = [&](const std::string& name, auto call) {
    benchmark::RegisterBenchmark(name.c_str(), [call, texts](benchmark::State& state) {
      std::size_t next = 0;
      for (auto _ : state) {
        std::string_view text = texts[next];
        next = next + 1 == texts.size() ? 0 : next + 1;
        benchmark::DoNotOptimize(text);
        benchmark::DoNotOptimize(call(text));
      }
    });
  };
  add(work + "/kelm", ours);
  add(work + "/peer", peer);
}

const bool kAdded = [] {
  addPair(
      "validate_iban", kIbans,
      [](std::string_view text) { return kelm::IBANValidator().validateIBAN(text); }, plainIban);
  addPair("mod97", std::array{kRearranged}, &kelm::SmartPaymentUtils::calculateMod97,
          [](std::string_view text) { return plainMod97(std::string(text)); });
  addPair(
      "luhn_16", kCards,
      [](std::string_view text) { return kelm::KelmLuhnCheck().doLuhnCheckWithString(text); },
      plainLuhn);
  return true;
}();

}  // namespace
