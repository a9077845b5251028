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

#include "kelm/base/json.h"
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

const IsoCountryInfo& country(std::string_view alpha2) {
  const auto all = IsoCountries::all();
  return *std::find_if(all.begin(), all.end(), [&](const auto& c) { return c.alpha2 == alpha2; });
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
  EXPECT_EQ(all.front().name, "Afghanistan");
  EXPECT_EQ(all[1].name, "Åland Islands");
  EXPECT_EQ(all.back().name, "Zimbabwe");
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
  const IsoCountryInfo rows[] = {
      {"American Samoa", "016", "AS", "ASM", "+684", "USD", "OC"},
      {"Angola", "024", "AO", "AGO", "+244", "AOA", "AF"},
      {"Anguilla", "660", "AI", "AIA", "+264", "XCD", "NA"},
      {"Antarctica", "010", "AQ", "ATA", "+672", "AUD", "AN"},
      {"Antigua and Barbuda", "028", "AG", "ATG", "+268", "XCD", "NA"},
      {"Argentina", "032", "AR", "ARG", "+54", "ARS", "SA"},
      {"Hong Kong", "344", "HK", "HKG", "+852", "HKD", "AS"},
      {"Western Sahara", "732", "EH", "ESH", "+212", "MAD", "AF"},
      {"Zimbabwe", "716", "ZW", "ZWE", "+263", "ZWD", "AF"},
      {"Åland Islands", "248", "AX", "ALA", "+358", "FIM", "EU"},
      {"Macedonia, the former Yugoslav Republic of", "807", "MK", "MKD", "+389", "MKD", "EU"},
      {"Russian Federation", "643", "RU", "RUS", "+7", "RUB", "EU"},
      {"Bahamas", "044", "BS", "BHS", "+1", "BSD", "NA"},
      {"Holy See (Vatican City State)", "336", "VA", "VAT", "+379", "EUR", "EU"},
  };
  for (const IsoCountryInfo& row : rows) {
    const IsoCountryInfo& kept = country(row.alpha2);
    EXPECT_EQ(kept.name, row.name);
    EXPECT_EQ(kept.numeric, row.numeric);
    EXPECT_EQ(kept.alpha3, row.alpha3);
    EXPECT_EQ(kept.calling, row.calling) << row.name;
    EXPECT_EQ(kept.currency, row.currency) << row.name;
    EXPECT_EQ(kept.continent, row.continent) << row.name;
  }
}

TEST(IsoCountries, FlagIsTheSymbolsOfTheUpperCasedCode) {
  const struct {
    const char* code;
    std::optional<std::string> flag;
  } rows[] = {
      {"it", "\U0001F1EE\U0001F1F9"},
      {"ABC", "\U0001F1E6\U0001F1E7\U0001F1E8"},
      {"1", "\U0001F1D6"},
      {"\u00DF", "\U0001F1F8\U0001F1F8"},  // in upper case "SS"
      {"\U000F0E5A", "\U0010FFFF"},
      {"a\U000F0E5B", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& row : rows)
    EXPECT_EQ(IsoCountries::flag(row.code), row.flag) << row.code;
}

TEST(IsoCountryCodes, FindTheFirstCountryOfACallingCode) {
  const struct {
    std::string code;
    const char* alpha2;
  } rows[] = {{"93", "AF"}, {"7", "KZ"},    {"39", "IT"},  {"1", "BS"}, {"684", "AS"},
              {"47", "BV"}, {"+93", ""},    {"093", ""},   {"", ""},    {"0", ""},
              {"9", ""},    {"\u0663", ""}, {"12684", ""}, {"93 ", ""}, {"999", ""},
              {"000", ""},  {"1000", ""},   {"263", "ZW"}, {"44", "GG"}};
  for (const auto& row : rows)
    EXPECT_EQ(IsoCountryCodes::searchByCallingCode(row.code).alpha2, row.alpha2) << row.code;
}

TEST(IsoCountryCodes, FoundObjectHasNeitherCallingCodeNorContinent) {
  const IsoCountryInfoObj found = IsoCountryCodes::searchByCallingCode("93");
  EXPECT_EQ(found.name, "Afghanistan");
  EXPECT_EQ(found.numeric, "004");
  EXPECT_EQ(found.alpha3, "AFG");
  EXPECT_EQ(found.currency, "AFN");
  EXPECT_EQ(found.flag, "\U0001F1E6\U0001F1EB");
  EXPECT_EQ(found.calling + found.continent, "");
  const IsoCountryInfoObj none = IsoCountryCodes::searchByCallingCode("+93");
  EXPECT_EQ(none.name + none.numeric + none.alpha2 + none.alpha3 + none.currency + none.flag, "");
}

}  // namespace
}  // namespace kelm
