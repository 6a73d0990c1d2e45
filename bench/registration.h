#ifndef ZEL_BENCH_REGISTRATION_H_
#define ZEL_BENCH_REGISTRATION_H_

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace zel::bench {

// Registers one benchmark in milliseconds of wall time.
template <class Function>
benchmark::internal::Benchmark* RegisterTimed(const std::string& name, Function function) {
  return benchmark::RegisterBenchmark(name.c_str(), function)->Unit(benchmark::kMillisecond)->UseRealTime();
}

void RegisterExports();  // exports.cpp
void RegisterSteps();    // steps.cpp: the parts that mask tools consist of, and the limits of the memory
void RegisterPeers();    // peers.cpp: what a host would link otherwise

}  // namespace zel::bench

#endif  // ZEL_BENCH_REGISTRATION_H_
