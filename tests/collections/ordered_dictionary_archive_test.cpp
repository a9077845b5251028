#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <tuple>

#include "kelm/base/coding/keyed_archive.h"
#include "kelm/base/coding/property_list.h"
#include "kelm/collections/vasp_ordered_dictionary.h"

namespace kelm {
namespace {

using ::testing::ElementsAre;
using Ordered = VaspOrderedDictionary;

/// The ordered dictionary in an archive; null when there is none.
Ordered::Pointer restored(DataView archive) {
  const Result<Value> value = unarchivedValue(archive);
  const auto* object = value ? value->get<ObjectPointer>() : nullptr;
  return object ? std::dynamic_pointer_cast<Ordered>(*object) : nullptr;
}

Ordered::Pointer example() {
  return Ordered::initWithObjectsAndKeys(1, "b", List{2, "x"}, "a",
                                         Ordered::dictionaryWithObjectsAndKeys(4, "z", 3, "y"),
                                         "inner", Null{}, std::string_view("\0$", 2), 5, "b");
}

TEST(VaspOrderedDictionaryArchive, KeepsTheOrderRepeatedKeysAndNestedDictionaries) {
  const auto d = restored(*archivedData(example()));
  ASSERT_NE(d, nullptr);
  EXPECT_TRUE(d->isEqual(*example()));
  EXPECT_THAT(d->allKeys(), ElementsAre("b", "a", "inner", std::string("\0$", 2), "b"));
  d->sortUsingComparator([](std::string_view a, std::string_view b) { return a.compare(b); });
  EXPECT_EQ(d->count(), 4U);
}

/// Two objects with the content of an ordered dictionary, kept by hand.
struct Forged : Archivable {
  Forged(std::optional<Value> d, std::optional<Value> o)
      : dictionary(std::move(d)), order(std::move(o)) {}
  std::string archiveClassName() const override { return "VaspOrderedDictionary"; }
  void encodeWith(KeyedEncoder& encoder) const override {
    if (dictionary) encoder.encode("VPORDEREDDICT_DICT", *dictionary);
    if (order) encoder.encode("VPORDEREDDICT_ARR", *order);
  }
  std::optional<Value> dictionary, order;
};

TEST(VaspOrderedDictionaryArchive, HasTwoEntriesThatMustFitEachOther) {
  const Value entries = Dictionary{{"a", 1}, {"b", 2}};
  using Row = std::tuple<std::optional<Value>, std::optional<Value>, bool>;
  for (const auto& [dictionary, order, reads] :
       {Row{entries, List{"b", "a"}, true}, Row{entries, List{"b", "a", "b"}, true},
        Row{Dictionary{}, List{}, true}, Row{entries, List{"b"}, false},
        Row{entries, List{"b", "a", "c"}, false}, Row{entries, List{"b", "a", 1}, false},
        Row{entries, Dictionary{}, false}, Row{List{}, List{}, false},
        Row{entries, std::nullopt, false}, Row{std::nullopt, List{}, false}}) {
    const auto d = restored(*archivedData(std::make_shared<Forged>(dictionary, order)));
    EXPECT_EQ(d != nullptr, reads);
    EXPECT_TRUE(!d || Value(List(d->begin(), d->end())) == order);
  }
}

TEST(VaspOrderedDictionaryArchive, CutOrAlteredOnesGiveNothingOrADictionaryThatWorks) {
  const Data archive = *archivedData(example());
  for (std::size_t size = 0; size + 1 < archive.size(); size += 3)
    EXPECT_EQ(restored(DataView(archive).first(size)), nullptr);
  std::mt19937 random(11);
  for (int round = 0; round < 1500; ++round) {
    Data altered = archive;
    for (unsigned changes = 1 + random() % 3; changes > 0; --changes)
      altered[random() % altered.size()] = static_cast<std::uint8_t>(random());
    if (const auto d = restored(altered)) {
      ASSERT_EQ(d->allKeys().size(), d->allValues().size());
      ASSERT_LE(d->count(), d->allKeys().size());
    }
  }
}

TEST(VaspOrderedDictionaryArchive, NestedTooDeeplyNeitherWritesNorReads) {
  // Each level takes two of the archive's: the object and the dictionary in it.
  const auto nested = [](int levels) {
    auto d = Ordered::dictionary();
    for (int level = 1; level < levels; ++level)
      d = Ordered::dictionaryWithObject_forKey(d, "k");
    return archivedData(d);
  };
  const auto deepest = nested(kArchiveMaxDepth / 2);
  ASSERT_TRUE(deepest);
  EXPECT_NE(restored(*deepest), nullptr);
  EXPECT_FALSE(nested(kArchiveMaxDepth / 2 + 1));
  // One level more around an archive that just fits: a list with its old root.
  Dictionary all = *parsePropertyList(*deepest)->get<Dictionary>();
  List objects = *all.find("$objects")->get<List>();
  const auto reference = [&] {
    return Dictionary{{"CF$UID", static_cast<std::int64_t>(objects.size() - 1)}};
  };
  const Value root = *all.find("$top")->get<Dictionary>()->find("root");
  objects.push_back(Dictionary{{"$classname", "$list"}, {"$classes", List{"$list"}}});
  objects.push_back(Dictionary{{"$class", reference()}, {"$items", List{root}}});
  all.set("$top", Dictionary{{"root", reference()}});
  all.set("$objects", std::move(objects));
  EXPECT_FALSE(unarchivedValue(bytesOf(*writePropertyList(all))));
}

}  // namespace
}  // namespace kelm
