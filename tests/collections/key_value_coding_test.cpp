#include "kelm/collections/key_value_coding.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

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

std::string nameOfRaised(auto action) {
  try {
    action();
  } catch (const Exception& raised) {
    return raised.name();
  }
  return "nothing";
}

TEST(KeyValueCoding, ConvertsEveryKindOfValueOrRefusesItUnchanged) {
  using Row = std::tuple<const char*, Value, std::optional<Value>>;
  const auto same = [](const char* property, const Value& value) {
    return Row{property, value, value};
  };
  const auto refused = [](const char* property, const Value& value) {
    return Row{property, value, std::nullopt};
  };
  const Row rows[] = {
      same("name", "Kiosk"), refused("name", 3), refused("name", Null{}), same("country", "IT"),
      // integers of a width
      same("tills", 7), same("tills", 4294967295U), refused("tills", 4294967296),
      refused("tills", -1), Row{"tills", 2.0, 2}, refused("tills", 2.5), refused("tills", "7"),
      same("small", -128), refused("small", 128), Row{"small", true, 1}, refused("small", HUGE_VAL),
      refused("small", std::nan("")), refused("small", std::numeric_limits<std::uint64_t>::max()),
      same("limit", 9), refused("limit", "9"), refused("limit", std::numeric_limits<double>::max()),
      refused("limit", 0x1p63), Row{"limit", -0x1p63, std::numeric_limits<std::int64_t>::min()},
      // others
      same("open", true), Row{"open", 2, true}, refused("open", "true"), Row{"rate", 3, 3.0},
      refused("rate", "3"), same("logo", Data{1, 2}), refused("logo", "12"),
      same("tags", List{1, "a"}), refused("tags", Dictionary{}),
      same("owner", std::make_shared<Place>()), refused("owner", std::make_shared<Object>()),
      same("extra", Null{})};
  for (const auto& [property, given, kept] : rows) {
    Shop shop;
    const std::optional<Value> before = shop.valueForKey(property);
    EXPECT_EQ(nameOfRaised([&, property = property, given = given] {
                shop.setValueForKey(given, property);
              }),
              kept ? "nothing" : exception_name::kInvalidArgument)
        << property << ' ' << describe(given);
    EXPECT_EQ(shop.valueForKey(property), kept ? kept : before)
        << property << ' ' << describe(given);
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

TEST(DictionaryUtil, DictionaryOfObjectHoldsOnlyPropertiesOfTheOwnClassAndWantsAllSet) {
  Shop shop;
  const Dictionary dictionary = VaspDictionaryUtil::dictionaryOfObject(shop);
  std::string names;
  for (const auto& entry : dictionary)
    names += entry.key + ' ';
  EXPECT_EQ(names, "tills open small rate limit logo tags owner extra ");
  EXPECT_EQ(*dictionary.find("limit"), Value(5));
  shop.limit_.reset();
  EXPECT_EQ(nameOfRaised([&] { (void)VaspDictionaryUtil::dictionaryOfObject(shop); }),
            exception_name::kInvalidArgument);
}

}  // namespace
}  // namespace kelm
