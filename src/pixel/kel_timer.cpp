// Elapsed-time timer over the platform's Mach-style tick counter and its timebase.
// Kept on purpose: the threaded encoder makes one and nothing reads it (docs/kept-on-purpose.md).
#include "kel_timer.h"

#include <mutex>

#include "platform/mach_time.h"

namespace {

std::once_flag firstTimeOnce;

} // namespace

bool KELTimer::g_firstTime = false;
double KELTimer::g_conversion = 0.0;

uint64_t KELAbsoluteTime() {
    return mach_absolute_time();
}

KELTimer::KELTimer() {
    // The first timer fixes the conversion factor; call_once makes concurrent first
    // constructions safe without changing the value.
    std::call_once(firstTimeOnce, [] {
        g_firstTime = true;
        mach_timebase_info_data_t timebase{1, 1};
        mach_timebase_info(&timebase);
        g_conversion = static_cast<double>(timebase.numer) / timebase.denom * 1e-9;
    });
    start = KELAbsoluteTime();
}

void KELTimer::ResetTimer() {
    start = KELAbsoluteTime();
}

double KELTimer::GetElapsedTime() {
    return static_cast<double>(KELAbsoluteTime() - start) * g_conversion;
}
