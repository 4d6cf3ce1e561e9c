// The baseline every benchmark is quoted against: a plain memcpy of the same frame,
// measured in the same process, so results read as ratios on a shared, noisy machine.
#pragma once

#include <benchmark/benchmark.h>
#include <cstddef>

// Seconds for one memcpy of `bytes` (the median of several copies, measured once per size
// and cached).
double MemcpyBaselineSeconds(size_t bytes);

// Times the benchmark loop body itself; call Start() before the loop and Finish() after it.
// Finish() adds the counters "fps" (iterations per second) and "x_memcpy" (time per
// iteration over the memcpy baseline of baselineBytes).
class BaselineTimer {
  public:
    void Start();
    void Finish(benchmark::State& state, size_t baselineBytes);

  private:
    double start_ = 0.0;
};
