#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "kelm/base/value.h"

namespace kelm {
namespace {

std::vector<std::string> keysOf(const Dictionary& dictionary) {
  std::vector<std::string> keys;
  for (const Dictionary::Entry& entry : dictionary)
    keys.push_back(entry.key);
  return keys;
}

/// What a dictionary should do, by the slowest means.
struct Model {
  std::vector<std::pair<std::string, int>> entries;

  auto at(const std::string& key) {
    return std::find_if(entries.begin(), entries.end(), [&](auto& e) { return e.first == key; });
  }
  void set(const std::string& key, int value) {
    if (const auto entry = at(key); entry != entries.end())
      entry->second = value;
    else
      entries.emplace_back(key, value);
  }
  bool remove(const std::string& key) {
    const auto entry = at(key);
    if (entry == entries.end()) return false;
    entries.erase(entry);
    return true;
  }
};

void expectSame(const Dictionary& d, Model& model, int keys) {
  ASSERT_EQ(d.size(), model.entries.size());
  const Dictionary::Entry* entry = d.begin();
  for (const auto& [key, value] : model.entries) {
    ASSERT_EQ(entry->key, key);
    ASSERT_EQ(entry->value, Value(value));
    ++entry;
  }
  for (int i = 0; i < keys; ++i) {
    const std::string key = "key" + std::to_string(i);
    ASSERT_EQ(d.contains(key), model.at(key) != model.entries.end()) << key;
  }
}

TEST(Dictionary, RandomChangesAgreeWithAPlainListAcrossTheIndexLimit) {
  std::mt19937 random(7);
  for (const int keys : {8, 20, 200}) {
    Dictionary d;
    Model model;
    for (int step = 0; step < 4000; ++step) {
      const std::string key = "key" + std::to_string(random() % keys);
      if (random() % 2 == 0) {
        d.set(key, step);
        model.set(key, step);
      } else {
        ASSERT_EQ(d.remove(key), model.remove(key));
      }
      if (step % 100 == 0) expectSame(d, model, keys);
    }
    expectSame(d, model, keys);
  }
}

Dictionary numbered(int count) {
  Dictionary d;
  for (int i = 0; i < count; ++i)
    d.set("key" + std::to_string(i), i);
  return d;
}

TEST(Dictionary, CopiesAreIndependentAndMovedFromOnesAreEmptyAndUsable) {
  Dictionary original = numbered(50);
  Dictionary copy = original;
  copy.remove("key3");
  copy.set("key4", "changed");
  EXPECT_EQ(original, numbered(50));
  Dictionary taken = std::move(original);
  EXPECT_EQ(taken, numbered(50));
  EXPECT_TRUE(original.empty());
  original.set("new", 1);
  EXPECT_THAT(keysOf(original), testing::ElementsAre("new"));
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
  EXPECT_THAT(keysOf(d), testing::ElementsAre("y", "copy of y"));
  EXPECT_TRUE(d.remove(d.begin()->key));
}

}  // namespace
}  // namespace kelm
