// The value types' own work: formatting a line, reading and writing JSON.
// link: kelm_coding

#include <benchmark/benchmark.h>

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "kelm/base/coding/json.h"
#include "kelm/base/format.h"

namespace kelm {
namespace {

/// A line of 60 characters or so with a number and a text, as a logger formats them.
void formatLine(benchmark::State& state) {
  int number = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(
        format("Payload %d of the queue %s was delivered at once", ++number, "events"));
}
BENCHMARK(formatLine)->Name("format_line/kelm");

void formatLineByPrintf(benchmark::State& state) {
  int number = 0;
  for (auto _ : state) {
    char buffer[256];
    const int length =
        std::snprintf(buffer, sizeof buffer, "Payload %d of the queue %s was delivered at once",
                      ++number, "events");
    benchmark::DoNotOptimize(std::string(buffer, static_cast<std::size_t>(length)));
  }
}
BENCHMARK(formatLineByPrintf)->Name("format_line/peer");

/// A configuration: about 300 bytes an entry, of every kind of value.
std::string configuration(std::int64_t entries) {
  List list;
  for (std::int64_t i = 0; i < entries; ++i)
    list.push_back(Dictionary{{"identifier", "terminal-" + std::to_string(1000 + i)},
                              {"endpoint", "https://payments.example.org/v2/authorise?terminal=1"},
                              {"enabled", i % 3 != 0},
                              {"limit", 2500.75 + static_cast<double>(i)},
                              {"retries", i % 7},
                              {"currencies", List{"EUR", "USD", "GBP", "CHF"}},
                              {"note", "Aufladung f\u00fcr G\u00e4ste \"only\""},
                              {"owner", Null{}}});
  return *writeJson(Dictionary{{"terminals", std::move(list)}});
}

constexpr std::int64_t k100KiB = 400;

void parseEntries(benchmark::State& state, std::int64_t entries) {
  const std::string json = configuration(entries);
  for (auto _ : state)
    benchmark::DoNotOptimize(parseJson(json));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(json.size()));
}
void parse(benchmark::State& state) { parseEntries(state, k100KiB); }
BENCHMARK(parse)->Name("json_parse/kelm");
void parseGrowing(benchmark::State& state) { parseEntries(state, state.range(0)); }
BENCHMARK(parseGrowing)->Name("curve/json_parse")->RangeMultiplier(10)->Range(4, 40000);

void parseByPeer(benchmark::State& state) {
  const std::string json = configuration(k100KiB);
  for (auto _ : state)
    benchmark::DoNotOptimize(nlohmann::json::parse(json));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(json.size()));
}
BENCHMARK(parseByPeer)->Name("json_parse/peer");

void write(benchmark::State& state) {
  const Value value = *parseJson(configuration(k100KiB));
  for (auto _ : state)
    benchmark::DoNotOptimize(writeJson(value));
}
BENCHMARK(write)->Name("json_write/kelm");

void writeByPeer(benchmark::State& state) {
  const nlohmann::json value = nlohmann::json::parse(configuration(k100KiB));
  for (auto _ : state)
    benchmark::DoNotOptimize(value.dump());
}
BENCHMARK(writeByPeer)->Name("json_write/peer");

void setAndFind(benchmark::State& state) {
  const auto count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    Dictionary dictionary;
    for (int i = 0; i < count; ++i)
      dictionary.set("some key " + std::to_string(i), i);
    benchmark::DoNotOptimize(dictionary.find("some key 1"));
  }
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(setAndFind)->Name("curve/dictionary_set")->RangeMultiplier(10)->Range(10, 100000);

}  // namespace
}  // namespace kelm
