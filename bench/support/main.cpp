// The main of every benchmark program: five randomly interleaved repetitions, so that a benchmark
// and its peer meet the same disturbances. Options on the command line come later and win.

#include <benchmark/benchmark.h>

#include <vector>

int main(int count, char** arguments) {
  char repetitions[] = "--benchmark_repetitions=5";
  char interleaved[] = "--benchmark_enable_random_interleaving=true";
  char shortest[] = "--benchmark_min_time=0.1";
  std::vector<char*> all{arguments[0], repetitions, interleaved, shortest};
  all.insert(all.end(), arguments + 1, arguments + count);
  int size = static_cast<int>(all.size());
  all.push_back(nullptr);
  benchmark::Initialize(&size, all.data());
  if (benchmark::ReportUnrecognizedArguments(size, all.data())) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
