// Runs the benchmarks of a program. Memory that is freed stays with the process: otherwise page
// faults, which fall on one side of a comparison or the other by chance, would drown the rest.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <limits>

int main(int argc, char** argv) {
  constexpr int mostMappedApart = 32 << 20;  // as the C library allows
  mallopt(M_MMAP_THRESHOLD, mostMappedApart);
  mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
