#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "kelm/base/value.h"

namespace kelm {
namespace {

/// What a dictionary should do, by the slowest means.
using Model = std::vector<std::pair<std::string, int>>;

auto entryOf(Model& model, const std::string& key) {
  return std::find_if(model.begin(), model.end(), [&](auto& e) { return e.first == key; });
}

void expectSame(const Dictionary& d, Model& model, int keys) {
  ASSERT_EQ(d.size(), model.size());
  const Dictionary::Entry* entry = d.begin();
  for (const auto& [key, value] : model) {
    ASSERT_EQ(entry->key, key);
    ASSERT_EQ((entry++)->value, Value(value));
  }
  for (int i = 0; i < keys; ++i) {
    const std::string key = "key" + std::to_string(i);
    ASSERT_EQ(d.contains(key), entryOf(model, key) != model.end()) << key;
  }
}

TEST(Dictionary, RandomChangesAgreeWithAPlainListAcrossTheIndexLimit) {
  std::mt19937 random(7);
  for (const int keys : {8, 20, 200}) {
    Dictionary d;
    Model model;
    for (int step = 0; step <= 4000; ++step) {
      const std::string key = "key" + std::to_string(random() % keys);
      const auto entry = entryOf(model, key);
      const bool isKnown = entry != model.end();
      if (random() % 2 != 0) {
        ASSERT_EQ(d.remove(key), isKnown);
        if (isKnown) model.erase(entry);
      } else {
        d.set(key, step);
        if (isKnown) model.erase(model.insert(entry, {key, step}) + 1);
        if (!isKnown) model.emplace_back(key, step);
      }
      if (step % 100 == 0) expectSame(d, model, keys);
    }
  }
}

TEST(Dictionary, CopiesAreIndependentAndMovedFromOnesAreEmptyAndUsable) {
  Dictionary original;
  for (int i = 0; i < 50; ++i)
    original.set("key" + std::to_string(i), i);
  Dictionary copy = original;
  copy.remove("key3");
  copy.set("key4", "changed");
  EXPECT_EQ(original.size(), 50U);
  EXPECT_EQ(*original.find("key4"), Value(4));
  Dictionary taken = std::move(original);
  EXPECT_EQ(taken.size(), 50U);
  EXPECT_TRUE(original.empty());
  original.set("new", 1);
  EXPECT_EQ(original, (Dictionary{{"new", 1}}));
  taken.clear();
  EXPECT_EQ(taken.find("key1"), nullptr);
}

TEST(Dictionary, TakingAPartOfItselfKeepsThePart) {
  Dictionary d{{"inner", Dictionary{{"x", 1}}}, {"rest", 2}};
  d = *d.find("inner")->get<Dictionary>();
  EXPECT_EQ(d, (Dictionary{{"x", 1}}));
  d = Dictionary{{"inner", Dictionary{{"y", 2}}}};
  d = std::move(*d.find("inner")->get<Dictionary>());
  EXPECT_EQ(d, (Dictionary{{"y", 2}}));
  d.addEntries(d);
  d.set("copy of y", *d.find("y"));
  EXPECT_EQ(d, (Dictionary{{"y", 2}, {"copy of y", 2}}));
  EXPECT_TRUE(d.remove(d.begin()->key));
}

}  // namespace
}  // namespace kelm
