#include "Sides.h"

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  bench::ask();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
