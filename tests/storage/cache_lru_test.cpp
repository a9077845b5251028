#include "kelm/storage/vasp_cache_lru.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <thread>

#include "kelm/base/value.h"

namespace kelm {
namespace {

using ::testing::ElementsAre;

/// The keys of "0" to "199" that have an object; asking changes the order of use.
template <class Cache>
std::vector<int> keysIn(Cache& cache) {
  std::vector<int> keys;
  for (int i = 0; i < 200; ++i)
    if (cache.objectForKey(std::to_string(i))) keys.push_back(i);
  return keys;
}

TEST(VaspCacheLru, HoldsAHundredUnlessToldAndDrivesOutTheLeastRecentlyUsed) {
  VaspCacheLru<int> cache;
  for (int i = 0; i <= 100; ++i)
    EXPECT_TRUE(cache.setObject_forKey(i, std::to_string(i)));
  EXPECT_EQ(cache.objectForKey("0"), std::nullopt);
  EXPECT_EQ(keysIn(cache).size(), 100U);
}

TEST(VaspCacheLru, ReadingAndRewritingAreUsesButRemovingIsNone) {
  const auto cache = VaspCacheLru<std::string>::initWithCacheSize(3);
  for (const char* key : {"1", "2", "3"})
    EXPECT_TRUE(cache->setObject_forKey("first", key));
  EXPECT_EQ(cache->objectForKey("1"), "first");
  EXPECT_TRUE(cache->setObject_forKey("second", "2"));
  EXPECT_TRUE(cache->setObject_forKey("first", "4"));  // 3 goes
  cache->removeObjectForKey("3");
  cache->removeObjectForKey("4");
  EXPECT_TRUE(cache->setObject_forKey("first", "5"));  // there is room
  EXPECT_EQ(cache->objectForKey("2"), "second");
  EXPECT_THAT(keysIn(*cache), ElementsAre(1, 2, 5));
}

TEST(VaspCacheLru, ZeroIsNoLimitAndOneHoldsTheLast) {
  const auto endless = VaspCacheLru<int>::initWithCacheSize(0);
  const auto single = VaspCacheLru<int>::initWithCacheSize(1);
  for (int i = 0; i < 200; ++i) {
    EXPECT_TRUE(endless->setObject_forKey(i, std::to_string(i)));
    EXPECT_TRUE(single->setObject_forKey(i, std::to_string(i)));
  }
  EXPECT_EQ(keysIn(*endless).size(), 200U);
  EXPECT_THAT(keysIn(*single), ElementsAre(199));
}

TEST(VaspCacheLru, RemovingAllLeavesAnEmptyCacheThatWorksOn) {
  VaspCacheLru<int> cache;
  VaspCache<int>& contract = cache;
  const std::function<void()> kWays[] = {[&] { contract.removeAllObjects(); },
                                         [&] { contract.drain(); }};
  for (const auto& empty : kWays) {
    contract.setObject_forKey(1, "1");
    contract.setObject_forKey(2, "2");
    empty();
    EXPECT_THAT(keysIn(cache), ElementsAre());
    contract.setObject_forKey(3, "3");
    EXPECT_THAT(keysIn(cache), ElementsAre(3));
  }
}

TEST(VaspCacheLru, KeysOfEveryTypeCompareByValue) {
  VaspCacheLru<int, Value> values;
  values.setObject_forKey(1, List{1, "a"});
  values.setObject_forKey(2, 1.0);
  EXPECT_EQ(values.objectForKey(List{1U, "a"}), 1);
  EXPECT_EQ(values.objectForKey(1), 2);
  VaspCacheLru<int, std::uint64_t> numbers;
  for (std::uint64_t i = 0; i < 64; ++i)
    numbers.setObject_forKey(static_cast<int>(i), i << 32);
  EXPECT_EQ(numbers.objectForKey(std::uint64_t{63} << 32), 63);
  VaspCacheLru<int> texts;
  texts.setObject_forKey(1, std::string_view("a\0b", 3));
  texts.setObject_forKey(2, "");
  EXPECT_EQ(texts.objectForKey("a"), std::nullopt);
  EXPECT_EQ(texts.objectForKey(std::string("a\0b", 3)), 1);
  EXPECT_EQ(texts.objectForKey(""), 2);
}

TEST(VaspCacheLru, RandomUseAgreesWithAPlainList) {
  std::mt19937 random(5);
  for (const std::size_t limit : {0U, 1U, 2U, 7U, 50U}) {
    const auto cache = VaspCacheLru<int>::initWithCacheSize(limit);
    std::vector<std::pair<std::string, int>> model;  // the least recently used first
    for (int step = 0; step < 20000; ++step) {
      const std::string key = std::to_string(random() % (2 * limit + 20));
      const auto known =
          std::find_if(model.begin(), model.end(), [&](auto& e) { return e.first == key; });
      std::optional<int> object;
      if (known != model.end()) {
        object = known->second;
        model.erase(known);
      }
      const unsigned choice = random() % 100;
      if (choice < 50) {
        ASSERT_EQ(cache->objectForKey(key), object);
        if (object) model.emplace_back(key, *object);
      } else if (choice < 99) {
        cache->setObject_forKey(step, key);
        model.emplace_back(key, step);
        if (limit != 0 && model.size() > limit) model.erase(model.begin());
      } else if (choice == 99 && random() % 10 == 0) {
        cache->removeAllObjects();
        model.clear();
      } else {
        cache->removeObjectForKey(key);
      }
    }
  }
}

/// Calls something when its last copy is destroyed. Cannot be moved, only copied.
struct Farewell {
  explicit Farewell(std::function<void()> call) : last(nullptr, [call](void*) { call(); }) {}
  Farewell(const Farewell&) = default;
  Farewell& operator=(const Farewell&) = delete;
  std::shared_ptr<void> last;
};

TEST(VaspCacheLru, DestructorsOfObjectsThatLeaveMayCallTheCache) {
  int farewells = 0;
  {
    VaspCacheLru<Farewell> cache;
    const auto keep = [&](const char* key) {
      const auto farewell = [&] {
        ++farewells;
        cache.removeObjectForKey("somebody");  // waits for ever if the lock is held
      };
      cache.setObject_forKey(Farewell(farewell), key);
    };
    keep("a");
    keep("a");
    EXPECT_EQ(farewells, 1);
    cache.removeObjectForKey("a");
    EXPECT_EQ(farewells, 2);
    for (int i = 0; i < 101; ++i)
      keep(std::to_string(i).c_str());
    EXPECT_EQ(farewells, 3);
    cache.drain();
    EXPECT_EQ(farewells, 103);
    keep("b");
  }
  EXPECT_EQ(farewells, 104);
}

TEST(VaspCacheLru, EightThreadsSeeOnlyWholeObjectsOfTheirKeys) {
  constexpr int kThreads = 8;
  const auto cache = VaspCacheLru<std::shared_ptr<const std::string>>::initWithCacheSize(16);
  std::vector<std::thread> threads;
  for (unsigned number = 0; number < kThreads; ++number)
    threads.emplace_back([&cache, number] {
      std::mt19937 random(number);
      for (int step = 0; step < 3000; ++step) {
        const std::string key = std::to_string(random() % 24);
        const unsigned choice = random() % 100;
        if (choice < 60) {
          const auto object = cache->objectForKey(key);
          EXPECT_EQ(object ? **object : "object of " + key, "object of " + key);
        } else if (choice < 90) {
          cache->setObject_forKey(std::make_shared<const std::string>("object of " + key), key);
        } else if (choice < 99) {
          cache->removeObjectForKey(key);
        } else {
          cache->drain();
        }
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  for (int i = 0; i < 24; ++i)
    cache->setObject_forKey(std::make_shared<const std::string>("new"), std::to_string(i));
  EXPECT_EQ(keysIn(*cache).size(), 16U);
}

}  // namespace
}  // namespace kelm
