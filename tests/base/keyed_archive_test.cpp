#include "kelm/base/keyed_archive.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <thread>

#include "kelm/base/describe.h"
#include "kelm/base/property_list.h"

namespace kelm {
namespace {

/// A member of a crew who may have a mate.
struct Sailor : Archivable {
  explicit Sailor(Value n, std::shared_ptr<Sailor> m = nullptr)
      : name(std::move(n)), mate(std::move(m)) {}
  std::string archiveClassName() const override { return className; }
  void encodeWith(KeyedEncoder& encoder) const override {
    encoder.encode("name", name);
    if (mate) encoder.encode("$mate", mate);
  }
  static ObjectPointer decodedFrom(KeyedDecoder& decoder) {
    EXPECT_FALSE(decoder.contains("mate"));
    auto sailor = std::make_shared<Sailor>(decoder.decode("name").value_or(Null{}));
    if (const auto mate = decoder.decode("$mate"))
      sailor->mate = std::dynamic_pointer_cast<Sailor>(*mate->get<ObjectPointer>());
    return sailor;
  }

  Value name;
  std::shared_ptr<Sailor> mate;
  std::string className = "Sailor";
};
const bool kRegistered = registerArchivableClass("Sailor", Sailor::decodedFrom);

const Sailor& sailorIn(const Value& value) {
  const auto* object = value.get<ObjectPointer>();
  return dynamic_cast<const Sailor&>(**object);
}

Value restored(const Value& value, KeyedUnarchiverDelegate* delegate = nullptr) {
  const Result<Data> archive = archivedData(value);
  if (!archive) ADD_FAILURE() << describe(archive.error());
  const Result<Value> result = unarchivedValue(archive ? *archive : Data(), delegate);
  if (!result) ADD_FAILURE() << describe(result.error());
  return result ? *result : Value();
}

std::string contentOf(const std::string& name) {
  std::ifstream file(std::string(KELM_TEST_DATA "/") + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Value ship() {
  const auto anne = std::make_shared<Sailor>("Anne");
  const auto mary = std::make_shared<Sailor>("Mary", anne);
  return Dictionary{{"crew", List{mary, anne, anne}},
                    {"name", "Revenge"},
                    {"launched", Date{-7952342400.25}},
                    {"guns", 40},
                    {"speed", 11.5},
                    {"afloat", true},
                    {"flag", Data{1, 2, 3}},
                    {"port", Null{}}};
}

TEST(KeyedArchive, TheGoldenFileIsWrittenAndReadBack) {
  const std::string golden = contentOf("ship.archive");
  ASSERT_FALSE(golden.empty());
  EXPECT_EQ(textOf(*archivedData(ship())), golden);
  const Result<Value> value = unarchivedValue(bytesOf(golden));
  ASSERT_TRUE(value) << describe(value.error());
  EXPECT_EQ(textOf(*archivedData(*value)), golden);
  EXPECT_EQ(value->get<Dictionary>()->find("launched")->get<Date>()->secondsSince1970,
            -7952342400.25);
}

TEST(KeyedArchive, EveryPlainValueReadsBackEqualAndInOrder) {
  Dictionary large;
  for (int i = 0; i < 100; ++i)
    large.set("key" + std::to_string(99 - i), i);
  const Value values[] = {Null{},
                          true,
                          false,
                          0,
                          -1,
                          std::numeric_limits<std::int64_t>::min(),
                          std::numeric_limits<std::uint64_t>::max(),
                          1.0,
                          -0.0,
                          0.1,
                          HUGE_VAL,
                          "",
                          "$null",
                          "text",
                          std::string(100, 'x'),
                          std::string("a\0\x01\r\xff", 5),
                          "\xEF\xBF\xBF",
                          Data{},
                          Data(1000, 7),
                          Date{0.125},
                          Date{1e300},
                          List{},
                          List{List{}, List{1, Null{}, "x", "x"}},
                          Dictionary{},
                          Dictionary{{"$class", 1}, {"CF$UID", 2}, {"", 3}, {"\x02", "\x02"}},
                          Dictionary{{"CF$UID", 0}},
                          large};
  for (const Value& value : values) {
    const Value again = restored(value);
    EXPECT_EQ(again, value) << describe(value);
    EXPECT_EQ(describe(again), describe(value));  // kinds and order as well
  }
}

TEST(KeyedArchive, SharedObjectsComeBackShared) {
  const Value again = restored(ship());
  const List& crew = *again.get<Dictionary>()->find("crew")->get<List>();
  EXPECT_EQ(&sailorIn(crew[1]), &sailorIn(crew[2]));
  EXPECT_EQ(sailorIn(crew[0]).mate.get(), &sailorIn(crew[1]));
  EXPECT_EQ(sailorIn(crew[0]).name, Value("Mary"));
}

/// Encodes an object that nobody else holds.
struct Maker : Archivable {
  std::string archiveClassName() const override { return "Maker"; }
  void encodeWith(KeyedEncoder& encoder) const override {
    for (const char* key : {"a", "b", "c"})
      encoder.encode(key, std::make_shared<Sailor>(key));
  }
};

TEST(KeyedArchive, ObjectsThatLiveOnlyWhileTheyAreEncodedAreNotTakenForOneAnother) {
  std::vector<std::string> names;
  registerArchivableClass("Maker", [&](KeyedDecoder& decoder) {
    for (const char* key : {"a", "b", "c"})
      names.push_back(describe(sailorIn(*decoder.decode(key)).name));
    return std::make_shared<Object>();
  });
  restored(std::make_shared<Maker>());
  EXPECT_EQ(names, (std::vector<std::string>{"a", "b", "c"}));
}

TEST(KeyedArchive, ACycleIsArchivedButIsAnErrorToRead) {
  const auto narcissus = std::make_shared<Sailor>("Narcissus");
  narcissus->mate = narcissus;
  const Result<Data> archive = archivedData(narcissus);
  ASSERT_TRUE(archive);
  const Result<Value> result = unarchivedValue(*archive);
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().localizedDescription(), "A reference back to what is being decoded");
  narcissus->mate.reset();
}

std::shared_ptr<Sailor> chain(int length) {
  std::shared_ptr<Sailor> last;
  for (int i = 0; i < length; ++i)
    last = std::make_shared<Sailor>(i, last);
  return last;
}

TEST(KeyedArchive, WhatCannotBeArchivedIsAnError) {
  const auto misnamed = std::make_shared<Sailor>("x");
  misnamed->className = "$list";
  const auto nameless = std::make_shared<Sailor>("x");
  nameless->className = "";
  Value deep = 1;
  for (int i = 0; i < 600; ++i)
    deep = List{std::move(deep)};
  for (const Value& value : {Value(std::make_shared<Object>()), Value(misnamed), Value(nameless),
                             deep, Value(chain(600))})
    EXPECT_FALSE(archivedData(value));
  EXPECT_TRUE(unarchivedValue(*archivedData(chain(500))));
}

/// Reads sailors as pirates and counts.
struct Pirates : KeyedUnarchiverDelegate {
  std::string classFor(std::string_view name) override {
    asked.emplace_back(name);
    return name == "Sailor" ? "Pirate" : std::string(name);
  }
  std::optional<std::string> cannotDecodeClass(std::string_view name) override {
    asked.push_back("unknown " + std::string(name));
    return substitute;
  }
  Value replacementFor(ObjectPointer object) override {
    return isReplacing ? Value("replaced") : Value(object);
  }
  void didFinish() override { ++finished; }

  std::vector<std::string> asked;
  std::optional<std::string> substitute = "Sailor";
  bool isReplacing = false;
  int finished = 0;
};

TEST(KeyedArchive, ADelegateSubstitutesClassesAndObjects) {
  const Value crew = List{std::make_shared<Sailor>("a"), std::make_shared<Sailor>("b")};
  Pirates pirates;
  const Value again = restored(crew, &pirates);
  EXPECT_EQ(sailorIn(again.get<List>()->back()).name, Value("b"));
  EXPECT_EQ(pirates.asked, (std::vector<std::string>{"Sailor", "unknown Sailor"}));
  EXPECT_EQ(pirates.finished, 1);

  pirates.isReplacing = true;
  EXPECT_EQ(restored(crew, &pirates), Value(List{"replaced", "replaced"}));

  pirates.substitute.reset();
  EXPECT_FALSE(unarchivedValue(*archivedData(crew), &pirates));
  EXPECT_EQ(pirates.finished, 2);
}

/// An archive of these objects, the root being number 1.
Data archiveOf(List objects, Value root = Dictionary{{"CF$UID", 1}}) {
  const Dictionary all{{"$version", 100000},
                       {"$archiver", "KelmKeyedArchiver"},
                       {"$top", Dictionary{{"root", std::move(root)}}},
                       {"$objects", std::move(objects)}};
  return dataOf(*writePropertyList(all));
}
Value ref(std::int64_t index) { return Dictionary{{"CF$UID", index}}; }
Value kind(const char* name) { return Dictionary{{"$classname", name}, {"$classes", List{name}}}; }

TEST(KeyedArchive, AlteredArchivesAreErrors) {
  const Value list = kind("$list");
  const List rows[] = {
      {},
      {"$nil", 1},
      {"$null"},                                          // no root
      {"$null", List{1}},                                 // a bare list
      {"$null", Date{1}},                                 // a bare date
      {"$null", Dictionary{}},                            // no class
      {"$null", Dictionary{{"$class", 2}}, list},         // no reference
      {"$null", Dictionary{{"$class", ref(9)}}},          // outside
      {"$null", Dictionary{{"$class", ref(-1)}}},         // outside
      {"$null", Dictionary{{"$class", ref(1)}}},          // itself
      {"$null", Dictionary{{"$class", ref(0)}}},          // the null
      {"$null", Dictionary{{"$class", ref(2)}}, "text"},  // no class record
      {"$null", Dictionary{{"$class", ref(2)}}, list},    // no items
      {"$null", Dictionary{{"$class", ref(2)}, {"$items", 5}}, list},
      {"$null", Dictionary{{"$class", ref(2)}, {"$items", List{5}}}, list},
      {"$null", Dictionary{{"$class", ref(2)}, {"$items", List{ref(1)}}}, list},  // a cycle
      {"$null", Dictionary{{"$class", ref(2)}, {"$seconds", "1"}}, kind("$date")},
      {"$null", Dictionary{{"$class", ref(2)}, {"$seconds", 1}}, kind("$date")},
      {"$null", Dictionary{{"$class", ref(2)}, {"$bytes", "1"}}, kind("$text")},
      {"$null", Dictionary{{"$class", ref(2)}, {"$keys", List{ref(3)}}, {"$items", List{}}},
       kind("$dictionary"), "key"},  // a key without a value
      {"$null", Dictionary{{"$class", ref(2)}, {"$keys", List{ref(3)}}, {"$items", List{ref(3)}}},
       kind("$dictionary"), 5},  // a key that is no text
      {"$null",
       Dictionary{
           {"$class", ref(2)}, {"$keys", List{ref(3), ref(3)}}, {"$items", List{ref(3), ref(3)}}},
       kind("$dictionary"), "key"},  // a key twice
  };
  for (const List& objects : rows)
    EXPECT_FALSE(unarchivedValue(archiveOf(objects))) << describe(objects);
  EXPECT_TRUE(unarchivedValue(archiveOf({"$null", "text"})));
  EXPECT_FALSE(unarchivedValue(archiveOf({"$null", "text"}, "text")));
  EXPECT_FALSE(unarchivedValue(bytesOf(*writePropertyList(Dictionary{{"a", 1}}))));
  EXPECT_FALSE(unarchivedValue(bytesOf(*writePropertyList(List{}))));
}

TEST(KeyedArchive, AnArchiveThatIsCutAnywhereIsAnError) {
  const Data archive = *archivedData(ship());
  const std::size_t end = textOf(archive).rfind("</plist>") + 8;
  for (std::size_t size = 0; size < end; ++size)
    ASSERT_FALSE(unarchivedValue(DataView(archive).first(size))) << size;
}

TEST(KeyedArchive, DoublingReferencesAreStoppedBeforeTheyFillTheMemory) {
  List objects{"$null"};
  const std::int64_t levels = 60;
  for (std::int64_t i = 1; i <= levels; ++i)
    objects.push_back(
        Dictionary{{"$class", ref(levels + 1)}, {"$items", List{ref(i + 1), ref(i + 1)}}});
  objects.back() = Data(1000, 7);
  objects.push_back(kind("$list"));
  const Result<Value> result = unarchivedValue(archiveOf(objects));
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().localizedDescription(), "The archive expands without measure");
}

}  // namespace
}  // namespace kelm
