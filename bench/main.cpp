#include "registration.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  zel::bench::RegisterExports();
  zel::bench::RegisterSteps();
  zel::bench::RegisterPeers();
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
