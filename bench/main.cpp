#include "bench/RatioBench.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    if (benchmark::RunSpecifiedBenchmarks() != 0) {
        etabulon::bench::PrintSummary();
    }
    benchmark::Shutdown();
    return 0;
}
