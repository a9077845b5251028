// link: kelm_strings
// Escapes and capitals by size, beside copying the bytes; versions and calling codes beside a
// limit.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "kelm/validation/ed_semver.h"
#include "kelm/validation/iso_country_codes.h"
#include "kelm/validation/strings/zu_string_util.h"

namespace {

using benchmark::DoNotOptimize;
using benchmark::State;
using kelm::EDSemver;
using kelm::IsoCountryCodes;
using kelm::ZuStringUtil;

thread_local std::size_t allocations = 0;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

/// Words and blanks, a line end about every twelve; or letters and digits alone.
std::string lines(std::size_t size) {
  const char* const words[] = {"the",  "till",    "sale",  "of",     "a",      "coffee", "was",
                               "paid", "refused", "later", "refund", "amount", "and",    "printed"};
  std::mt19937 generator(8);
  std::string text;
  while (text.size() < size) {
    text += words[generator() % std::size(words)];
    text += generator() % 12 == 0 ? ".\n" : " ";
  }
  text.resize(size);
  return text;
}
std::string plain(std::size_t size) {
  constexpr std::string_view kCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFXYZ0123456789-_.+";
  std::mt19937 generator(9);
  std::string text;
  while (text.size() < size)
    text += kCharacters[generator() % kCharacters.size()];
  return text;
}

template <class Call>
void add(const std::string& name, Call call) {
  benchmark::RegisterBenchmark(name.c_str(), [call](State& state) {
    for (auto _ : state)
      DoNotOptimize(call());
  });
}

template <class Call>
void addBesideCopy(const std::string& work, const std::string& text, Call call) {
  add(work + "/kelm", [text, call] { return call(text); });
  add(work + "/peer", [text] { return std::string(text); });
}

/// Counts what each call allocates. The peer takes the 100 ns and the one allocation that bound it.
template <class Call>
void addBesideLimit(const std::string& work, Call call) {
  benchmark::RegisterBenchmark((work + "/kelm").c_str(), [call](State& state) {
    call();  // whatever is made once
    const std::size_t before = allocations;
    for (auto _ : state)
      DoNotOptimize(call());
    state.counters["allocations"] = benchmark::Counter(static_cast<double>(allocations - before),
                                                       benchmark::Counter::kAvgIterations);
  });
  benchmark::RegisterBenchmark((work + "/peer").c_str(),
                               [](State& state) {
                                 for (auto _ : state)
                                   state.SetIterationTime(100e-9);
                                 state.counters["allocations"] = 1;
                               })
      ->UseManualTime()
      ->Iterations(100000);
}

const bool kAdded = [] {
  const auto json = [](const std::string& text) { return ZuStringUtil::escapeStringForJSON(text); };
  const auto xml = [](const std::string& text) { return *ZuStringUtil::escapeStringForXML(text); };
  const auto words = [](const std::string& text) {
    return *ZuStringUtil::capitalWordsOfString_withLocale(text, "en_US");
  };
  for (const auto& [name, size] : {std::pair{"1KiB", 1 << 10}, {"1MiB", 1 << 20}}) {
    addBesideCopy(std::string("escape_json_plain_") + name, plain(size), json);
    addBesideCopy(std::string("escape_json_lines_") + name, lines(size), json);
    addBesideCopy(std::string("escape_xml_plain_") + name, plain(size), xml);
    addBesideCopy(std::string("escape_xml_lines_") + name, lines(size), xml);
  }
  for (int size = 1 << 10; size <= 1 << 20; size <<= 2) {
    const std::string text = lines(static_cast<std::size_t>(size));
    const std::string at = "/" + std::to_string(size);
    add("curve/escape_json" + at, [text, json] { return json(text); });
    add("curve/escape_xml" + at, [text, xml] { return xml(text); });
    add("curve/capital_words" + at, [text, words] { return words(text); });
  }
  static const EDSemver kOlder = EDSemver::semverWithString("12.4.1-release.candidate.9+build.77");
  static const EDSemver kNewer = EDSemver::semverWithString("12.4.1-release.candidate.10");
  addBesideLimit("version_compare", [] { return kOlder.compare(&kNewer); });
  addBesideLimit("calling_code_lookup", [] { return IsoCountryCodes::searchByCallingCode("263"); });
  return true;
}();

}  // namespace
