// Elapsed-time timer over CLOCK_MONOTONIC, whose ticks are nanoseconds.
#include "kel_timer.h"

#include <ctime>
#include <mutex>

namespace {

// The counter's timebase, as numerator / denominator nanoseconds per tick.
const double kTimebaseNumer = 1.0;
const double kTimebaseDenom = 1.0;

std::once_flag firstTimeOnce;

} // namespace

bool KELTimer::g_firstTime = false;
double KELTimer::g_conversion = 0.0;

uint64_t KELAbsoluteTime() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

KELTimer::KELTimer() {
    // The first timer fixes the conversion factor; call_once makes concurrent first
    // constructions safe without changing the value.
    std::call_once(firstTimeOnce, [] {
        g_firstTime = true;
        g_conversion = kTimebaseNumer / kTimebaseDenom * 1e-9;
    });
    start = KELAbsoluteTime();
}

void KELTimer::ResetTimer() {
    start = KELAbsoluteTime();
}

double KELTimer::GetElapsedTime() {
    return static_cast<double>(KELAbsoluteTime() - start) * g_conversion;
}
