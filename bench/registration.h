#ifndef ZEL_BENCH_REGISTRATION_H_
#define ZEL_BENCH_REGISTRATION_H_

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace zel::bench {

// How often a benchmark calls its function, or 0 for as often as the clock needs.
extern int iterations;

// Registers one benchmark in milliseconds of processor time: all that is compared runs on one thread, and others may be
// at work on the machine.
template <class Function>
benchmark::internal::Benchmark* RegisterTimed(const std::string& name, Function function) {
  benchmark::internal::Benchmark* const added = benchmark::RegisterBenchmark(name.c_str(), function);
  if (iterations > 0) added->Iterations(iterations);
  return added->Unit(benchmark::kMillisecond);
}

void RegisterExports();     // exports.cpp
void RegisterSteps();       // steps.cpp: the parts that mask tools consist of, and the limits of the memory
void RegisterPeers();       // peers.cpp: what a host would link otherwise
void RegisterGraphPeers();  // graph_peers.cpp: the same, of those that build graphs

}  // namespace zel::bench

#endif  // ZEL_BENCH_REGISTRATION_H_
