#include "kelm/validation/iso_country_codes.h"

#include <gtest/gtest.h>
#include <unicode/coll.h>
#include <unicode/locid.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "kelm/base/coding/json.h"
#include "kelm/validation/iso_countries.h"

namespace kelm {
namespace {

/// The records of one of Debian's lists by a key of theirs.
std::map<std::string, Dictionary> listed(const std::string& number, std::string_view key) {
  std::ifstream file("/usr/share/iso-codes/json/iso_" + number + ".json");
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const auto document = parseJson(text);
  const std::string root = number == "3166-1" ? number : number.substr(number.find('_') + 1);
  std::map<std::string, Dictionary> records;
  for (const Value& entry : *document->get<Dictionary>()->find(root)->get<List>()) {
    const auto& record = *entry.get<Dictionary>();
    records[std::string(*record.find(key)->text())] = record;
  }
  return records;
}

TEST(IsoCountries, AgreeWithTheCurrentStandardWhereNothingChanged) {
  const auto countries = listed("3166-1", "alpha_2");
  const auto currencies = listed("4217", "alpha_3");
  ASSERT_EQ(countries.size(), 249U);
  const std::set<std::string_view> renamed{"CV", "CD", "CZ", "MK", "SZ", "TR"};
  const std::set<std::string_view> replaced{"BYR", "FIM", "MRO", "STD", "VEF", "ZWD"};
  for (const IsoCountryInfo& row : IsoCountries::all()) {
    const std::string code(row.alpha2);
    ASSERT_TRUE(countries.contains(code)) << code;
    const auto field = [&](std::string_view key) {
      return countries.at(code).find(key)->text().value();
    };
    EXPECT_EQ(row.alpha3, field("alpha_3"));
    EXPECT_EQ(row.numeric, field("numeric")) << code;
    EXPECT_EQ(IsoCountries::flag(code), field("flag"));
    EXPECT_EQ(row.name == field("name"), !renamed.contains(code)) << row.name;
    EXPECT_EQ(currencies.contains(std::string(row.currency)), !replaced.contains(row.currency))
        << row.currency;
  }
}

TEST(IsoCountries, AreOneTableInTheOrderOfNames) {
  const auto all = IsoCountries::all();
  ASSERT_EQ(all.size(), 249U);
  const std::set<std::string_view> continents{"AF", "AN", "AS", "EU", "NA", "OC", "SA"};
  std::set<std::string_view> codes;
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Collator> order(
      icu::Collator::createInstance(icu::Locale::getEnglish(), status));
  ASSERT_TRUE(U_SUCCESS(status));
  std::string last;
  for (const IsoCountryInfo& row : all) {
    EXPECT_TRUE(codes.insert(row.alpha2).second) << row.alpha2;
    EXPECT_TRUE(continents.contains(row.continent)) << row.name;
    EXPECT_EQ(row.calling.front(), '+');
    EXPECT_EQ(row.calling.find_first_not_of("0123456789", 1), row.calling.npos) << row.name;
    const std::string name(row.name);
    EXPECT_EQ(order->compareUTF8(last, name, status), UCOL_LESS) << last << ' ' << name;
    last = name;
  }
}

TEST(IsoCountries, KeepTheirOldAndOddRows) {
  const auto row = [](std::string_view alpha2) {
    return *std::ranges::find(IsoCountries::all(), alpha2, &IsoCountryInfo::alpha2);
  };
  using Row = std::pair<std::string_view, std::string_view>;
  for (const auto& [alpha2, expected] :
       {Row{"AS", "+684 USD OC"}, Row{"AI", "+264 XCD NA"}, Row{"AQ", "+672 AUD AN"},
        Row{"AR", "+54 ARS SA"}, Row{"HK", "+852 HKD AS"}, Row{"EH", "+212 MAD AF"},
        Row{"ZW", "+263 ZWD AF"}, Row{"AX", "+358 FIM EU"}, Row{"MK", "+389 MKD EU"},
        Row{"RU", "+7 RUB EU"}, Row{"BS", "+1 BSD NA"}, Row{"VA", "+379 EUR EU"}}) {
    std::string shown(row(alpha2).calling);
    shown.append(" ").append(row(alpha2).currency).append(" ").append(row(alpha2).continent);
    EXPECT_EQ(shown, expected) << alpha2;
  }
  EXPECT_EQ(row("MK").name, "Macedonia, the former Yugoslav Republic of");
}

TEST(IsoCountries, FlagIsTheSymbolsOfTheUpperCasedCode) {
  using Row = std::pair<const char*, std::optional<std::string>>;
  for (const auto& [code, flag] :
       {Row{"it", "\U0001F1EE\U0001F1F9"}, Row{"ABC", "\U0001F1E6\U0001F1E7\U0001F1E8"},
        Row{"1", "\U0001F1D6"}, Row{"\u00DF", "\U0001F1F8\U0001F1F8"},  // in upper case "SS"
        Row{"\U000F0E5A", "\U0010FFFF"}, Row{"a\U000F0E5B", std::nullopt}, Row{"", std::nullopt}})
    EXPECT_EQ(IsoCountries::flag(code), flag) << code;
}

TEST(IsoCountryCodes, FindTheFirstCountryOfACallingCode) {
  using Row = std::pair<const char*, const char*>;
  for (const auto& [code, alpha2] :
       {Row{"93", "AF"}, Row{"7", "KZ"}, Row{"39", "IT"}, Row{"1", "BS"}, Row{"684", "AS"},
        Row{"47", "BV"}, Row{"263", "ZW"}, Row{"44", "GG"}})
    EXPECT_EQ(IsoCountryCodes::searchByCallingCode(code).alpha2, alpha2) << code;
  for (const char* unknown :
       {"+93", "093", "", "0", "9", "\u0663", "12684", "93 ", "999", "000", "1000"}) {
    const IsoCountryInfoObj none = IsoCountryCodes::searchByCallingCode(unknown);
    EXPECT_EQ(none.name + none.numeric + none.alpha2 + none.alpha3 + none.currency + none.flag, "");
  }
  const IsoCountryInfoObj found = IsoCountryCodes::searchByCallingCode("93");
  EXPECT_EQ(found.name + found.numeric + found.alpha3 + found.currency + found.flag,
            "Afghanistan004AFGAFN\U0001F1E6\U0001F1EB");
  EXPECT_EQ(found.calling + found.continent, "");
}

}  // namespace
}  // namespace kelm
