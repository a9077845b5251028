#pragma once

#include <benchmark/benchmark.h>

#include <string>

namespace bench {

/// Registers the call under a name.
template <class Call>
void add(const std::string& name, Call call) {
  benchmark::RegisterBenchmark(name.c_str(), [call](benchmark::State& state) {
    for (auto _ : state)
      benchmark::DoNotOptimize(call());
  });
}

/// Registers a work and the same work by a peer.
template <class Ours, class Peer>
void addPair(const std::string& work, Ours ours, Peer peer) {
  add(work + "/kelm", ours);
  add(work + "/peer", peer);
}

}  // namespace bench
