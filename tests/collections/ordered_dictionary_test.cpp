#include "kelm/collections/vasp_ordered_dictionary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "kelm/base/describe.h"
#include "kelm/base/error.h"
#include "kelm/collections/vasp_dictionary_util.h"
#include "tests/collections/ordered_model.h"

namespace kelm::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Ordered = VaspOrderedDictionary;

Ordered::Pointer bac() { return Ordered::initWithObjects_forKeys({1, 2, 3}, {"b", "a", "c"}); }

TEST(VaspOrderedDictionary, InsertingAPresentKeyRepeatsItAndRemovingTakesBoth) {
  const auto d = bac();
  d->insertObject_forKey_atIndex(9, "c", 0);
  EXPECT_THAT(d->allKeys(), ElementsAre("c", "b", "a", "c"));
  EXPECT_THAT(d->allValues(), ElementsAre(9, 1, 2, 9));
  EXPECT_EQ(d->count(), 3U);
  d->insertObject_forKey_atIndex(8, "new", 4);
  EXPECT_THAT(d->copy()->allKeys(), ElementsAre("c", "b", "a", "new"));
  d->removeObjectForKey("c");
  EXPECT_THAT(d->allKeys(), ElementsAre("b", "a", "new"));
  EXPECT_EQ(d->objectForKey(std::nullopt), std::nullopt);
}

TEST(VaspOrderedDictionary, VariadicCreatorsDifferInARepeatedKey) {
  const auto instance = Ordered::initWithObjectsAndKeys(1, "b", "x", "a", 3, "b", nullptr, 4, "c");
  EXPECT_THAT(instance->allKeys(), ElementsAre("b", "a", "b"));
  EXPECT_THAT(instance->allValues(), ElementsAre(3, "x", 3));
  EXPECT_EQ(instance->count(), 2U);
  const auto shorthand = Ordered::dictionaryWithObjectsAndKeys(1, "b", "x", "a", 3, "b");
  EXPECT_THAT(shorthand->allKeys(), ElementsAre("b", "a"));
  EXPECT_THAT(shorthand->allValues(), ElementsAre(3, "x"));
  EXPECT_EQ(Ordered::initWithObjectsAndKeys()->count(), 0U);
  EXPECT_EQ(Ordered::initWithObjectsAndKeys(1)->count(), 0U);
  EXPECT_EQ(Ordered::dictionaryWithObjectsAndKeys(1, std::nullopt, 2, "b")->count(), 0U);
  EXPECT_EQ(Ordered::initWithObjectsAndKeys(Null{}, "a", std::shared_ptr<Ordered>())->count(), 1U);
}

TEST(VaspOrderedDictionary, EveryCreatorFillsInOrder) {
  const Dictionary source{{"b", 1}, {"a", 2}, {"c", 3}};
  const List values{1, 2, 3, "not reached"};
  const Ordered::Keys keys{"b", "a", "c"};
  const auto repeated = bac();
  repeated->insertObject_forKey_atIndex(1, "b", 2);
  const Ordered::Pointer kMade[] = {
      Ordered::initWithObjects_forKeys(values, keys),
      Ordered::dictionaryWithObjects_forKeys(values, keys),
      Ordered::initWithObjects_forKeys_count(values, keys, 3),
      Ordered::dictionaryWithObjects_forKeys_count(values, keys, 3),
      Ordered::initWithDictionary(source),
      Ordered::dictionaryWithDictionary(source),
      Ordered::initWithDictionary(*repeated),
      Ordered::initWithDictionary_copyItems(source, true),
      repeated->mutableCopy(),
  };
  for (const Ordered::Pointer& made : kMade)
    EXPECT_TRUE(made->isEqualToOrderedDictionary(*bac())) << describe(made);
  EXPECT_EQ(Ordered::initWithObjects_forKeys_count(values, keys, 1)->count(), 1U);
  EXPECT_EQ(Ordered::dictionaryWithObject_forKey(1, "k")->objectForKey("k"), Value(1));
  EXPECT_EQ(Ordered::dictionaryWithCapacity(static_cast<std::size_t>(-1))->count(), 0U);
}

TEST(VaspOrderedDictionary, WrongArgumentsRaiseAndChangeNothing) {
  const auto d = bac();
  const auto expectRaised = [&](std::string_view expected,
                                std::initializer_list<std::function<void()>> calls) {
    for (const auto& call : calls) {
      try {
        call();
        ADD_FAILURE() << "nothing instead of " << expected;
      } catch (const Exception& raised) {
        EXPECT_THAT(raised.what(), ::testing::StartsWith(std::string(expected)));
      }
      EXPECT_TRUE(d->isEqual(*bac()));
    }
  };
  expectRaised(exception_name::kRange,
               {[&] { (void)d->keyAtIndex(3); }, [&] { (void)d->objectAtIndex(3); },
                [&] { d->insertObject_forKey_atIndex(1, "d", 4); },
                [&] { d->insertObject_forKey_atIndex(1, "a", 4); },
                [] {
                  (void)Ordered::initWithObjects_forKeys(List{1}, Ordered::Keys{"a", "b"});
                },
                [] {
                  (void)Ordered::initWithObjects_forKeys_count(List{1}, Ordered::Keys{"a", "b"}, 2);
                }});
  expectRaised(exception_name::kInvalidArgument,
               {[&] { d->insertObject_forKey_atIndex(1, std::nullopt, 0); },
                [&] { d->insertObject_forKey_atIndex(std::nullopt, "d", 0); },
                [&] { d->setObject_forKey(1, std::nullopt); },
                [&] { d->setObject_forKey(std::nullopt, "d"); },
                [&] { d->removeObjectForKey(std::nullopt); },
                [] { (void)Ordered::initWithObjectsAndKeys("v", 1); }});
  expectRaised("Invalid Argument: ObjectsAndKeys are not same count",
               {[] { (void)Ordered::initWithObjectsAndKeys(1, "a", 2); },
                [] { (void)Ordered::dictionaryWithObjectsAndKeys(1, "a", 2, nullptr, "b"); }});
  expectRaised("Invalid Argument: Not Yet implemented",
               {[] { (void)Ordered::initWithContentsOfFile("f"); },
                [] { (void)Ordered::initWithContentsOfURL("u"); },
                [] { (void)Ordered::dictionaryWithContentsOfFile("f"); },
                [] { (void)Ordered::dictionaryWithContentsOfURL("u"); }});
}

TEST(VaspOrderedDictionary, AComparatorThatThrowsOrContradictsItselfLosesNoKey) {
  const auto d = bac();
  EXPECT_THROW(d->sortUsingComparator([](auto, auto) -> int { throw std::runtime_error("no"); }),
               std::runtime_error);
  EXPECT_TRUE(d->isEqual(*bac()));
  for (int i = 0; i < 100; ++i)
    d->setObject_forKey(i, std::to_string(i));
  std::mt19937 random(3);
  d->sortUsingComparator([&](auto, auto) { return static_cast<int>(random() % 3) - 1; });
  EXPECT_EQ(d->allKeys().size(), 103U);
  EXPECT_EQ(d->copy()->count(), 103U);
}

TEST(VaspOrderedDictionary, EnumeratesKeysAndValuesInBothDirections) {
  const auto all = [](auto enumerator) {
    List found;
    while (auto next = enumerator.nextObject())
      found.emplace_back(std::move(*next));
    EXPECT_EQ(enumerator.nextObject(), std::nullopt);
    return found;
  };
  const auto d = bac();
  d->setObject_forKey(0, "gone");
  d->removeObjectForKey("gone");
  d->insertObject_forKey_atIndex(3, "c", 0);
  d->removeObjectForKey("a");
  EXPECT_THAT(all(d->keyEnumerator()), ElementsAre("c", "b", "c"));
  EXPECT_THAT(all(d->reverseKeyEnumerator()), ElementsAre("c", "b", "c"));
  EXPECT_THAT(all(d->objectEnumerator()), ElementsAre(3, 1, 3));
  d->setObject_forKey(7, "z");
  EXPECT_THAT(all(d->reverseObjectEnumerator()), ElementsAre(7, 3, 1, 3));
  EXPECT_THAT(std::vector<std::string>(d->begin(), d->end()), ElementsAre("c", "b", "c", "z"));
}

TEST(VaspOrderedDictionary, EqualityMindsTheOrderOnlyBetweenOrderedDictionaries) {
  const auto d = bac();
  const auto other = Ordered::initWithObjects_forKeys({2, 1, 3}, {"a", "b", "c"});
  EXPECT_FALSE(d->isEqual(*other));
  EXPECT_FALSE(d->isEqual(Object()));
  EXPECT_TRUE(d->isEqualToDictionary(*other));
  EXPECT_FALSE(d->isEqualToDictionary({{"a", 2}, {"b", 1}, {"d", 3}}));
  other->sortUsingComparator([](std::string_view a, std::string_view b) {
    return (a == "b" ? -1 : 0) + (b == "b" ? 1 : 0);
  });
  EXPECT_EQ(Value(d), Value(other));
  EXPECT_EQ(d->hash(), other->hash());
  d->insertObject_forKey_atIndex(3, "c", 3);
  EXPECT_FALSE(d->isEqual(*other));
  d->removeObjectForKey("c");
  d->setObject_forKey("another", "c");
  EXPECT_FALSE(d->isEqual(*other));
}

TEST(VaspOrderedDictionary, StandsWhereADictionaryIsExpected) {
  const auto d = Ordered::dictionaryWithObjectsAndKeys("2", "b", "1", "a");
  EXPECT_EQ(VaspDictionaryUtil::queryStringFromNSDictionary(*d), "b=2&a=1");
  const Value outer = Dictionary{{"inner", d}, {"copy", Dictionary(*d)}};
  d->setObject_forKey("3", "c");
  const auto* inner = outer.get<Dictionary>()->find("inner")->get<ObjectPointer>();
  EXPECT_EQ(inner->get(), d.get());
  EXPECT_EQ(outer.get<Dictionary>()->find("copy")->get<Dictionary>()->size(), 2U);
}

TEST(VaspOrderedDictionary, DescriptionHasALinePerKeyAtTheLevelGiven) {
  const auto d = Ordered::dictionaryWithObjectsAndKeys("text", "b", 1.5, "a");
  EXPECT_EQ(d->descriptionWithLocale_indent(std::nullopt, 1),
            "    {\n        b = text;\n        a = 1.5;\n    }\n");
  const auto outer =
      Ordered::dictionaryWithObjectsAndKeys(d, "inner", List{1}, "list", Null{}, "none");
  EXPECT_EQ(describe(outer),
            "{\n    inner = {\n    b = text;\n    a = 1.5;\n}\n;\n    list = (\n    1\n);\n"
            "    none = <null>;\n}\n");
  EXPECT_EQ(outer->descriptionWithLocale_indent("it_IT", 1),
            "    {\n        inner =     {\n        b = text;\n        a = 1.5;\n    }\n;\n"
            "        list = (\n        1\n    );\n        none = <null>;\n    }\n");
}

TEST(VaspOrderedDictionary, OneThatHoldsItselfIsDescribedHashedAndComparedWithoutOverflow) {
  const auto a = Ordered::dictionary();
  const auto b = Ordered::dictionary();
  for (const auto& d : {a, b}) {
    d->setObject_forKey(d, "self");
    d->setObject_forKey(List{d, d}, "list");
  }
  EXPECT_EQ(a->description(), "{\n    self = ...;\n    list = (\n    ...,\n    ...\n);\n}\n");
  EXPECT_EQ(a->hash(), b->hash());
  EXPECT_TRUE(a->isEqual(*a));
  EXPECT_FALSE(a->isEqual(*b));
  const Result<Data> archive = archivedData(a);
  EXPECT_FALSE(archive && unarchivedValue(*archive));
  a->removeAllObjects();
  b->removeAllObjects();
  EXPECT_THAT(a->allKeys(), IsEmpty());
  auto deep = Ordered::dictionary();
  for (int level = 0; level < 2000; ++level)
    deep = Ordered::dictionaryWithObject_forKey(deep, "k");
  EXPECT_THAT(deep->description(), ::testing::HasSubstr("k = ...;"));
}

std::optional<std::string> differenceAfter(std::mt19937& random, int steps, unsigned keys) {
  OrderedPair pair;
  for (int step = 0; step < steps; ++step)
    if (auto difference = pair.step(random(), random() % keys, random() % 1000)) return difference;
  return pair.difference();
}

TEST(VaspOrderedDictionary, RandomOperationsAgreeWithADictionaryAndAnArray) {
  for (unsigned seed = 0; seed < 30000; ++seed) {
    std::mt19937 random(seed);
    ASSERT_EQ(differenceAfter(random, 1 + seed % 16, 2 + seed % 7), std::nullopt) << seed;
  }
}

TEST(VaspOrderedDictionary, LongListsOfRemovalsAndReadsByPositionAgreeToo) {
  for (const unsigned count : {200U, 2000U}) {
    const auto d = Ordered::dictionary();
    std::vector<std::string> model;
    std::mt19937 random(count);
    for (unsigned step = 0; step < 8 * count; ++step) {
      const bool grows = step < 2 * count || random() % 3 == 0;  // later it shrinks
      if (grows) {
        model.push_back(std::to_string(step));
        d->setObject_forKey(step, model.back());
      } else if (!model.empty()) {
        const std::size_t index = random() % model.size();
        ASSERT_EQ(d->keyAtIndex(index), model[index]) << step;
        d->removeObjectForKey(model[index]);
        model.erase(model.begin() + static_cast<std::ptrdiff_t>(index));
      }
      if (step % (count / 4) == 0) {
        ASSERT_EQ(d->allKeys(), model);
      }
    }
  }
}

}  // namespace
}  // namespace kelm::testing
