#include "kelm/collections/key_value_coding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "kelm/base/describe.h"
#include "kelm/base/error.h"
#include "kelm/collections/vasp_dictionary_util.h"

namespace kelm {
namespace {

class Place : public KeyValueCoded {
 public:
  static const PropertyTable& properties() {
    static const PropertyTable kTable{
        nullptr, {property("name", &Place::name_), property("country", &Place::country_)}};
    return kTable;
  }
  const PropertyTable& propertyTable() const override { return properties(); }

 protected:
  std::string name_ = "nowhere";
  std::optional<std::string> country_;
};

class Shop : public Place {
 public:
  static const PropertyTable& properties() {
    static const PropertyTable kTable{
        &Place::properties(),
        {property("tills", &Shop::tills, &Shop::setTills), property("open", &Shop::open_),
         property("small", &Shop::small_), property("rate", &Shop::rate_),
         property("limit", &Shop::limit_), property("logo", &Shop::logo_),
         property("tags", &Shop::tags_), property("owner", &Shop::owner_),
         property("extra", &Shop::extra_)}};
    return kTable;
  }
  const PropertyTable& propertyTable() const override { return properties(); }

  std::uint32_t tills() const { return tills_; }
  void setTills(const std::uint32_t& tills) { tills_ = tills; }
  std::optional<std::int64_t> limit_ = 5;
  std::shared_ptr<Place> owner_ = std::make_shared<Place>();

 private:
  std::uint32_t tills_ = 1;
  bool open_ = false;
  std::int8_t small_ = 0;
  double rate_ = 0;
  Data logo_;
  List tags_;
  Value extra_ = "anything";
};

std::string nameOfRaised(const std::function<void()>& action) {
  try {
    action();
  } catch (const Exception& raised) {
    return raised.name();
  }
  return "nothing";
}

TEST(KeyValueCoding, ConvertsEveryKindOfValueOrRefusesItUnchanged) {
  const auto place = std::make_shared<Place>();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const struct {
    std::string property;
    Value given;
    std::optional<Value> kept;  // absent: refused
  } kRows[] = {
      {"name", "Kiosk", "Kiosk"},
      {"name", 3, std::nullopt},
      {"name", Null{}, std::nullopt},
      {"country", "IT", "IT"},
      {"tills", 7, 7},
      {"tills", 4294967295U, 4294967295U},
      {"tills", 4294967296, std::nullopt},
      {"tills", -1, std::nullopt},
      {"tills", 2.0, 2},
      {"tills", 2.5, std::nullopt},
      {"tills", "7", std::nullopt},
      {"small", -128, -128},
      {"small", 128, std::nullopt},
      {"small", true, 1},
      {"small", kInfinity, std::nullopt},
      {"small", std::nan(""), std::nullopt},
      {"small", std::numeric_limits<std::uint64_t>::max(), std::nullopt},
      {"open", true, true},
      {"open", 2, true},
      {"open", "true", std::nullopt},
      {"rate", 3, 3.0},
      {"rate", "3", std::nullopt},
      {"logo", Data{1, 2}, Data{1, 2}},
      {"logo", "12", std::nullopt},
      {"tags", List{1, "a"}, List{1, "a"}},
      {"tags", Dictionary{}, std::nullopt},
      {"limit", 9, 9},
      {"limit", "9", std::nullopt},
      {"limit", std::numeric_limits<double>::max(), std::nullopt},
      {"limit", 0x1p63, std::nullopt},
      {"limit", -0x1p63, std::numeric_limits<std::int64_t>::min()},
      {"owner", place, place},
      {"owner", std::make_shared<Object>(), std::nullopt},
      {"extra", Null{}, Null{}},
  };
  for (const auto& row : kRows) {
    Shop shop;
    const std::optional<Value> before = shop.valueForKey(row.property);
    const std::string raised = nameOfRaised([&] { shop.setValueForKey(row.given, row.property); });
    EXPECT_EQ(raised, row.kept ? "nothing" : exception_name::kInvalidArgument)
        << row.property << ' ' << describe(row.given);
    EXPECT_EQ(shop.valueForKey(row.property), row.kept ? row.kept : before)
        << row.property << ' ' << describe(row.given);
  }
}

TEST(DictionaryUtil, FillsObjectThroughItsSuperclassesUpToTheKeyThatRaises) {
  Shop shop;
  VaspDictionaryUtil::fillObject_withDictionary(shop, {{"tills", 4}, {"country", "IT"}});
  EXPECT_EQ(shop.tills(), 4U);
  EXPECT_EQ(shop.valueForKey("country"), Value("IT"));
  EXPECT_EQ(nameOfRaised([&] {
              VaspDictionaryUtil::fillObject_withDictionary(
                  shop, {{"tills", 5}, {"nonsense", 1}, {"name", "not reached"}});
            }),
            exception_name::kUndefinedKey);
  EXPECT_EQ(shop.tills(), 5U);
  EXPECT_EQ(shop.valueForKey("name"), Value("nowhere"));
}

TEST(DictionaryUtil, DictionaryOfObjectHoldsOnlyPropertiesOfTheOwnClass) {
  const Shop shop;
  const Dictionary dictionary = VaspDictionaryUtil::dictionaryOfObject(shop);
  std::vector<std::string> names;
  for (const auto& entry : dictionary)
    names.push_back(entry.key);
  EXPECT_THAT(names, testing::ElementsAre("tills", "open", "small", "rate", "limit", "logo", "tags",
                                          "owner", "extra"));
  EXPECT_EQ(*dictionary.find("limit"), Value(5));
}

TEST(DictionaryUtil, DictionaryOfObjectWithEmptyPropertyRaises) {
  Shop shop;
  shop.limit_.reset();
  EXPECT_EQ(nameOfRaised([&] { (void)VaspDictionaryUtil::dictionaryOfObject(shop); }),
            exception_name::kInvalidArgument);
}

}  // namespace
}  // namespace kelm
