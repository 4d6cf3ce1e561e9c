// Entry point of every benchmark program: a host of the codec, so it removes the codec's
// semaphore names of its own process before running.
#include <benchmark/benchmark.h>

#include "platform/semaphore_names.h"

int main(int argc, char** argv) {
    UnlinkCodecSemaphoreNames();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
