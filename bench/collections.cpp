// link: kelm_storage kelm_collections
// The cache and the ordered dictionary beside their textbook forms, made of the standard's
// containers.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "kelm/collections/vasp_ordered_dictionary.h"
#include "kelm/storage/vasp_cache_lru.h"

namespace {

using benchmark::DoNotOptimize;
using benchmark::State;
using kelm::Value;

void orAbort(bool holds) {
  if (!holds) std::abort();
}

/// What the heap has handed out.
double heapBytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

/// Keys as a till has them, in a random order.
std::vector<std::string> makeKeys(std::size_t count) {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < count; ++i)
    keys.push_back("customer/" + std::to_string(1000000000 + i));
  std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
  return keys;
}

using Picture = std::shared_ptr<const std::string>;

class TextbookCache {
 public:
  explicit TextbookCache(std::size_t limit) : limit_(limit) {}

  std::optional<Picture> objectForKey(const std::string& key) {
    const std::lock_guard lock(mutex_);
    const auto known = places_.find(key);
    if (known == places_.end()) return std::nullopt;
    uses_.splice(uses_.begin(), uses_, known->second);
    return known->second->second;
  }
  bool setObject_forKey(Picture picture, const std::string& key) {
    const std::lock_guard lock(mutex_);
    if (const auto known = places_.find(key); known != places_.end()) {
      known->second->second = std::move(picture);
      uses_.splice(uses_.begin(), uses_, known->second);
      return true;
    }
    uses_.emplace_front(key, std::move(picture));
    places_.emplace(key, uses_.begin());
    if (places_.size() > limit_) {
      places_.erase(uses_.back().first);
      uses_.pop_back();
    }
    return true;
  }

 private:
  using Uses = std::list<std::pair<std::string, Picture>>;
  const std::size_t limit_;
  std::mutex mutex_;
  Uses uses_;
  std::unordered_map<std::string, Uses::iterator> places_;
};

auto makeCache(std::size_t limit, TextbookCache*) { return std::make_shared<TextbookCache>(limit); }
using KelmCache = kelm::VaspCacheLru<Picture>;
auto makeCache(std::size_t limit, KelmCache*) { return KelmCache::initWithCacheSize(limit); }

/// Nine reads to a write, of keys a tenth more than there is room for.
template <class Cache>
void useCache(State& state, std::size_t limit) {
  const std::vector<std::string> keys = makeKeys(limit + limit / 10);
  const Picture picture = std::make_shared<const std::string>("pixels");
  std::vector<std::uint32_t> steps(1 << 20);
  std::mt19937 random(2);
  for (std::uint32_t& step : steps)
    step = static_cast<std::uint32_t>(random() % keys.size());
  const double before = heapBytes();
  const auto cache = makeCache(limit, static_cast<Cache*>(nullptr));
  for (const std::string& key : keys)
    cache->setObject_forKey(picture, key);
  const double held = (heapBytes() - before) / static_cast<double>(limit);
  std::size_t at = 0;
  for (auto _ : state) {
    const std::string& key = keys[steps[at++ & (steps.size() - 1)]];
    if (at % 10 == 0)
      cache->setObject_forKey(picture, key);
    else
      DoNotOptimize(cache->objectForKey(key));
  }
  state.counters["bytes_per_entry"] = held;
}

class TextbookDictionary {
 public:
  void setObject_forKey(Value value, const std::string& key) {
    const auto known = dictionary_.find(key);
    if (known != dictionary_.end()) {
      known->second = std::move(value);
      return;
    }
    array_.push_back(key);
    dictionary_.emplace(key, std::move(value));
  }
  std::optional<Value> objectForKey(const std::string& key) const {
    const auto known = dictionary_.find(key);
    return known == dictionary_.end() ? std::nullopt : std::optional(known->second);
  }
  void removeObjectForKey(const std::string& key) {
    if (dictionary_.erase(key) > 0)
      array_.erase(std::remove(array_.begin(), array_.end(), key), array_.end());
  }
  std::string keyAtIndex(std::size_t index) const { return array_.at(index); }
  std::vector<std::string> allKeys() const { return array_; }

 private:
  std::unordered_map<std::string, Value> dictionary_;
  std::vector<std::string> array_;
};
using KelmDictionary = kelm::VaspOrderedDictionary;

template <class Ordered>
void fill(Ordered& dictionary, const std::vector<std::string>& keys) {
  std::int64_t number = 0;
  for (const std::string& key : keys)
    dictionary.setObject_forKey(++number, key);
}

/// A filled dictionary, and its keys in another random order.
template <class Ordered>
struct Filled {
  explicit Filled(std::size_t count) : keys(makeKeys(count)) {
    fill(dictionary, keys);
    std::shuffle(keys.begin(), keys.end(), std::mt19937(3));
  }
  const std::string& nextKey() {
    if (++at == keys.size()) at = 0;
    return keys[at];
  }
  Ordered dictionary;
  std::vector<std::string> keys;
  std::size_t at = 0;
};

/// Per entry: the whole dictionary is built, and dropped outside the time.
template <class Ordered>
void append(State& state, std::size_t count) {
  const std::vector<std::string> keys = makeKeys(count);
  for (auto _ : state) {
    auto dictionary = std::make_unique<Ordered>();
    fill(*dictionary, keys);
    state.PauseTiming();
    dictionary.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

template <class Ordered>
void lookUp(State& state, std::size_t count) {
  Filled<Ordered> filled(count);
  for (auto _ : state)
    DoNotOptimize(filled.dictionary.objectForKey(filled.nextKey()));
}

/// A key goes and comes back at the end, so that the size stays.
template <class Ordered>
void removeAndAppend(State& state, std::size_t count) {
  Filled<Ordered> filled(count);
  for (auto _ : state) {
    const std::string& key = filled.nextKey();
    filled.dictionary.removeObjectForKey(key);
    filled.dictionary.setObject_forKey(1, key);
  }
}

/// The same, and a read by position after each removal.
template <class Ordered>
void removeAndReadAt(State& state, std::size_t count) {
  Filled<Ordered> filled(count);
  std::size_t index = 0;
  for (auto _ : state) {
    const std::string& key = filled.nextKey();
    filled.dictionary.removeObjectForKey(key);
    filled.dictionary.setObject_forKey(1, key);
    index = (index + 7919) % count;
    DoNotOptimize(filled.dictionary.keyAtIndex(index));
  }
}

/// By position, with as many gaps as removals leave.
template <class Ordered>
void readAt(State& state, std::size_t count) {
  Filled<Ordered> filled(count + count / 2);
  for (std::size_t i = 0; i < count / 2; ++i)
    filled.dictionary.removeObjectForKey(filled.nextKey());
  std::size_t index = 0;
  for (auto _ : state) {
    index = (index + 7919) % count;
    DoNotOptimize(filled.dictionary.keyAtIndex(index));
  }
}

void checkBothAgree() {
  Filled<KelmDictionary> ours(5000);
  Filled<TextbookDictionary> theirs(5000);
  for (int i = 0; i < 4000; ++i) {
    const std::string& key = ours.nextKey();
    orAbort(key == theirs.nextKey());
    ours.dictionary.removeObjectForKey(key);
    theirs.dictionary.removeObjectForKey(key);
    if (i % 2 == 0) ours.dictionary.setObject_forKey(i, key);
    if (i % 2 == 0) theirs.dictionary.setObject_forKey(i, key);
    const std::size_t index = static_cast<std::size_t>(i) % 1000;
    orAbort(ours.dictionary.keyAtIndex(index) == theirs.dictionary.keyAtIndex(index));
  }
  orAbort(ours.dictionary.allKeys() == theirs.dictionary.allKeys());
}

using Work = void (*)(State& state, std::size_t count);

void add(const std::string& name, Work work, std::size_t count) {
  benchmark::RegisterBenchmark(name.c_str(), [=](State& state) { work(state, count); });
}

const bool kRegistered = [] {
  checkBothAgree();
  const struct {
    const char* label;
    std::size_t count;
  } kSizes[] = {{"1k", 1000}, {"100k", 100000}, {"1M", 1000000}};
  const struct {
    const char* name;
    Work ours, theirs;
  } kWorks[] = {
      {"ordered_append_", append<KelmDictionary>, append<TextbookDictionary>},
      {"ordered_lookup_", lookUp<KelmDictionary>, lookUp<TextbookDictionary>},
      {"ordered_remove_", removeAndAppend<KelmDictionary>, removeAndAppend<TextbookDictionary>},
      {"ordered_remove_read_", removeAndReadAt<KelmDictionary>,
       removeAndReadAt<TextbookDictionary>},
  };
  for (const auto& work : kWorks) {
    for (const auto& size : kSizes) {
      add(std::string(work.name) + size.label + "/kelm", work.ours, size.count);
      add(std::string(work.name) + size.label + "/peer", work.theirs, size.count);
      if (work.ours != static_cast<Work>(append<KelmDictionary>))
        add("curve/" + std::string(work.name) + "each/" + std::to_string(size.count), work.ours,
            size.count);
    }
  }
  for (const auto& size : kSizes)
    add("curve/ordered_read_with_gaps/" + std::to_string(size.count), readAt<KelmDictionary>,
        size.count);
  for (const auto& [label, limit] : {std::pair("lru_100", 100U), std::pair("lru_1M", 1000000U)}) {
    add(label + std::string("/kelm"), useCache<KelmCache>, limit);
    add(label + std::string("/peer"), useCache<TextbookCache>, limit);
  }
  return true;
}();

}  // namespace
