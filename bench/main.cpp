#include "bench/RatioBench.h"
#include "etabulon/foundation/EReadAhead.h"

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    // Times are those of one thread, unless a line says otherwise.
    etabulon::EReadAhead::SetThreads(0);
    if (benchmark::RunSpecifiedBenchmarks() != 0) {
        etabulon::bench::PrintSummary();
    }
    benchmark::Shutdown();
    return 0;
}
