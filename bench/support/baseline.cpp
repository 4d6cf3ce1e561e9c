// memcpy baseline for benchmark ratios.
#include "baseline.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <vector>

namespace {

double Now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

} // namespace

double MemcpyBaselineSeconds(size_t bytes) {
    static std::map<size_t, double> cache;
    auto found = cache.find(bytes);
    if (found != cache.end()) return found->second;

    std::vector<unsigned char> from(bytes, 0x5A), to(bytes);
    std::vector<double> times;
    for (int i = 0; i < 31; ++i) {
        const double t0 = Now();
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
        times.push_back(Now() - t0);
    }
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    return cache[bytes] = times[times.size() / 2];
}

void BaselineTimer::Start() {
    start_ = Now();
}

void BaselineTimer::Finish(benchmark::State& state, size_t baselineBytes) {
    const double perIteration = (Now() - start_) / static_cast<double>(state.iterations());
    state.counters["fps"] = 1.0 / perIteration;
    state.counters["x_memcpy"] = perIteration / MemcpyBaselineSeconds(baselineBytes);
}
