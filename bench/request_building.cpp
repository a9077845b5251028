// link: kelm_network
// Multipart bodies beside copying their bytes once, and how the cost of a request grows.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include "kelm/network/zu_http_multipart_builder.h"
#include "kelm/network/zu_http_task.h"

namespace {

constexpr std::size_t kMebibyte = 1 << 20;

kelm::MultiPartList parts(std::size_t count, std::size_t bytesEach) {
  kelm::MultiPartList list;
  for (std::size_t i = 0; i < count; ++i) {
    auto part = std::make_shared<kelm::MultiPartFormDataObject>();
    part->setKey("receipt" + std::to_string(i));
    part->setValue("receipt.bin");
    part->setObject(kelm::Data(bytesEach, 0xA5));
    part->setContentType("application/octet-stream");
    list.push_back(std::move(part));
  }
  return list;
}

void buildMultipart(benchmark::State& state, std::size_t count, std::size_t bytesEach) {
  const auto list = parts(count, bytesEach);
  std::string boundary = "0123456789ABCDEF0123456789ABCDEF";
  for (auto _ : state)
    benchmark::DoNotOptimize(
        kelm::ZuHTTPMultipartBuilder::multipartDataWithParameters_boundary(list, &boundary));
}
void copyOnce(benchmark::State& state, std::size_t count, std::size_t bytesEach) {
  const auto list = parts(count, bytesEach);
  for (auto _ : state) {
    kelm::Data all;
    all.reserve(count * bytesEach);
    for (const auto& part : list)
      kelm::append(all, *part->object()->get<kelm::Data>());
    benchmark::DoNotOptimize(all);
  }
}
BENCHMARK_CAPTURE(buildMultipart, , 100, 10 * kMebibyte / 100)
    ->Name("multipart_100_parts_10MiB/kelm");
BENCHMARK_CAPTURE(copyOnce, , 100, 10 * kMebibyte / 100)->Name("multipart_100_parts_10MiB/peer");

void multipartBySize(benchmark::State& state) {
  buildMultipart(state, static_cast<std::size_t>(state.range(0)), 100);
}
BENCHMARK(multipartBySize)
    ->Name("curve/multipart_parts_of_100B")
    ->RangeMultiplier(10)
    ->Range(1, 10000);

void queryBySize(benchmark::State& state) {
  std::string url = "http://h/p?k=v";
  for (int i = 0; url.size() < static_cast<std::size_t>(state.range(0)); ++i)
    url += "&key" + std::to_string(i) + "=some%20value";
  for (auto _ : state) {
    const auto task =
        kelm::ZuHTTPTask::initWithURL_andMethod_usingSession(url, kelm::ZuHTTPMethod::Get, nullptr);
    benchmark::DoNotOptimize(task->buildRequest());
  }
}
BENCHMARK(queryBySize)->Name("curve/query_bytes")->RangeMultiplier(10)->Range(100, 1000000);

}  // namespace
