#include <cstdlib>
#include <cstring>

#include "registration.h"

int zel::bench::iterations = 0;

// With --iterations=N before all other arguments every benchmark makes one call and then N, whose cost shows when two
// runs are compared.
int main(int argc, char** argv) {
  if (argc > 1 && std::strncmp(argv[1], "--iterations=", 13) == 0) {
    zel::bench::iterations = std::atoi(argv[1] + 13);
    argv[1] = argv[0];
    --argc, ++argv;
  }
  benchmark::Initialize(&argc, argv);
  zel::bench::RegisterExports();
  zel::bench::RegisterSteps();
  zel::bench::RegisterPeers();
  zel::bench::RegisterGraphPeers();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
