#include "kelm/base/coding/keyed_archive.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>

#include "kelm/base/coding/property_list.h"
#include "kelm/base/describe.h"

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
}

TEST(KeyedArchive, EveryPlainValueReadsBackEqualAndInOrder) {
  Dictionary large;
  for (int i = 0; i < 100; ++i)
    large.set("key" + std::to_string(99 - i), i);
  const Value values[] = {
      // numbers
      Null{}, true, false, 0, -1, 1.0, -0.0, 0.1, HUGE_VAL, Date{0.125}, Date{1e300},
      std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::uint64_t>::max(),
      // texts and bytes
      "", "$null", "text", std::string(100, 'x'), std::string("a\0\x01\r\xff", 5), "\xEF\xBF\xBF",
      Data{}, Data(1000, 7),
      // collections
      List{}, List{List{}, List{1, Null{}, "x", "x"}}, Dictionary{}, Dictionary{{"CF$UID", 0}},
      Dictionary{{"$class", 1}, {"CF$UID", 2}, {"", 3}, {"\x02", "\x02"}}, large};
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
  std::string names;
  registerArchivableClass("Maker", [&](KeyedDecoder& decoder) {
    for (const char* key : {"a", "b", "c"})
      names += describe(sailorIn(*decoder.decode(key)).name);
    return std::make_shared<Object>();
  });
  restored(std::make_shared<Maker>());
  EXPECT_EQ(names, "abc");
}

TEST(KeyedArchive, ACycleIsArchivedButIsAnErrorToRead) {
  const auto narcissus = std::make_shared<Sailor>("Narcissus");
  narcissus->mate = narcissus;
  const Result<Value> result = unarchivedValue(*archivedData(narcissus));
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().localizedDescription(), "A reference back to what is being decoded");
  narcissus->mate.reset();
}

TEST(KeyedArchive, WhatCannotBeArchivedIsAnError) {
  const auto sailor = std::make_shared<Sailor>("x");
  for (const char* wrong : {"$list", ""}) {
    sailor->className = wrong;
    EXPECT_FALSE(archivedData(sailor)) << wrong;
  }
  EXPECT_FALSE(archivedData(std::make_shared<Object>()));
  std::shared_ptr<Sailor> chain;
  Value deep = 1;
  for (int i = 0; i < 600; ++i) {
    chain = std::make_shared<Sailor>(i, chain);
    deep = List{std::move(deep)};
    EXPECT_TRUE(i != 500 || unarchivedValue(*archivedData(chain)));
  }
  EXPECT_FALSE(archivedData(chain) || archivedData(deep));
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

/// An object of the class that is number 2.
Value object(Dictionary more = {}) {
  Dictionary all{{"$class", ref(2)}};
  all.addEntries(more);
  return all;
}

TEST(KeyedArchive, AlteredArchivesAreErrors) {
  const Value list = kind("$list");
  const Value dictionary = kind("$dictionary");
  const List key{ref(3)};
  const List rows[] = {
      // nothing, bare objects, references that are none or lead astray
      List{}, List{Value(List{1})}, List{Date{1}}, List{Dictionary{}}, List{object(), "text"},
      List{Dictionary{{"$class", 2}}, list}, List{Dictionary{{"$class", ref(9)}}},
      List{Dictionary{{"$class", ref(-1)}}}, List{Dictionary{{"$class", ref(1)}}},
      List{Dictionary{{"$class", ref(0)}}},
      // lists without items, of no references, in a cycle
      List{object(), list}, List{object({{"$items", 5}}), list},
      List{object({{"$items", List{5}}}), list}, List{object({{"$items", List{ref(1)}}}), list},
      // contents of another kind
      List{object({{"$seconds", "1"}}), kind("$date")},
      List{object({{"$seconds", 1}}), kind("$date")},
      List{object({{"$bytes", "1"}}), kind("$text")},
      // a key without a value, one that is no text, one that comes twice
      List{object({{"$keys", key}, {"$items", List{}}}), dictionary, "key"},
      List{object({{"$keys", key}, {"$items", key}}), dictionary, 5},
      List{object({{"$keys", List{ref(3), ref(3)}}, {"$items", List{ref(3), ref(3)}}}), dictionary,
           "key"}};
  for (List objects : rows) {
    objects.insert(objects.begin(), "$null");
    EXPECT_FALSE(unarchivedValue(archiveOf(objects))) << describe(objects);
  }
  EXPECT_TRUE(unarchivedValue(archiveOf({"$null", "text"})));
  EXPECT_FALSE(unarchivedValue(archiveOf({"$nil", "text"})));
  EXPECT_FALSE(unarchivedValue(archiveOf({})));
  EXPECT_FALSE(unarchivedValue(archiveOf({"$null", "text"}, "text")));
  for (const Value& root : {Value(Dictionary{{"a", 1}}), Value(List{})})
    EXPECT_FALSE(unarchivedValue(bytesOf(*writePropertyList(root))));
}

TEST(KeyedArchive, AnArchiveThatIsCutAnywhereIsAnError) {
  const Data archive = *archivedData(ship());
  const std::size_t end = textOf(archive).rfind("</plist>") + 8;
  for (std::size_t size = 0; size < end; ++size)
    ASSERT_FALSE(unarchivedValue(DataView(archive).first(size))) << size;
}

TEST(KeyedArchive, DoublingReferencesAreStoppedBeforeTheyFillTheMemory) {
  List objects{"$null"};
  constexpr std::int64_t kLevels = 60;
  for (std::int64_t i = 1; i < kLevels; ++i)
    objects.push_back(
        Dictionary{{"$class", ref(kLevels + 1)}, {"$items", List{ref(i + 1), ref(i + 1)}}});
  objects.insert(objects.end(), {Data(1000, 7), kind("$list")});
  const Result<Value> result = unarchivedValue(archiveOf(objects));
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().localizedDescription(), "The archive expands without measure");
}

}  // namespace
}  // namespace kelm
