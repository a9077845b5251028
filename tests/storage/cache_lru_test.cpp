#include "kelm/storage/vasp_cache_lru.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <thread>

#include "kelm/base/value.h"

namespace kelm {
namespace {

TEST(VaspCacheLru, KeysOfEveryTypeCompareByValue) {
  VaspCacheLru<int, Value> values;
  values.setObject_forKey(1, List{1, "a"});
  values.setObject_forKey(2, 1.0);
  EXPECT_EQ(values.objectForKey(List{1U, "a"}), 1);
  EXPECT_EQ(values.objectForKey(1), 2);
}

TEST(VaspCacheLru, RandomUseAgreesWithAPlainList) {
  std::mt19937 random(5);
  for (const std::size_t limit : {0U, 1U, 2U, 7U, 50U}) {
    const auto cache = VaspCacheLru<int>::initWithCacheSize(limit);
    VaspCache<int>& contract = *cache;
    std::vector<std::pair<std::string, int>> model;  // the least recently used first
    for (int step = 0; step < 20000; ++step) {
      const std::string key = std::to_string(random() % (limit == 0 ? 150 : 2 * limit + 20));
      const auto known =
          std::find_if(model.begin(), model.end(), [&](auto& e) { return e.first == key; });
      const auto object = known != model.end() ? std::optional(known->second) : std::nullopt;
      if (object) model.erase(known);
      const unsigned choice = random() % 1000;
      if (choice < 500) {
        ASSERT_EQ(contract.objectForKey(key), object);
        if (object) model.emplace_back(key, *object);
      } else if (choice < 900) {
        EXPECT_TRUE(contract.setObject_forKey(step, key));
        model.emplace_back(key, step);
        if (limit != 0 && model.size() > limit) model.erase(model.begin());
      } else if (choice < 998) {
        contract.removeObjectForKey(key);
      } else {
        choice == 998 ? contract.removeAllObjects() : contract.drain();
        model.clear();
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

TEST(VaspCacheLru, HoldsAHundredAndDestructorsOfThoseThatLeaveMayCallIt) {
  int farewells = 0;
  {
    VaspCacheLru<Farewell> cache;
    const auto farewell = [&] {
      ++farewells;
      cache.removeObjectForKey("somebody");  // waits for ever if the lock is held
    };
    const auto keep = [&](const std::string& key) {
      cache.setObject_forKey(Farewell(farewell), key);
    };
    keep("a");
    keep("a");
    EXPECT_EQ(farewells, 1);
    cache.removeObjectForKey("a");
    EXPECT_EQ(farewells, 2);
    for (int i = 0; i < 101; ++i)
      keep(std::to_string(i));
    EXPECT_EQ(farewells, 3);
    cache.drain();
    EXPECT_EQ(farewells, 103);
    keep("b");
  }
  EXPECT_EQ(farewells, 104);
}

TEST(VaspCacheLru, EightThreadsSeeOnlyWholeObjectsOfTheirKeys) {
  const auto cache = VaspCacheLru<std::shared_ptr<const std::string>>::initWithCacheSize(16);
  std::vector<std::jthread> threads;
  for (unsigned number = 0; number < 8; ++number)
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
        } else {
          choice < 99 ? cache->removeObjectForKey(key) : cache->drain();
        }
      }
    });
}

}  // namespace
}  // namespace kelm
