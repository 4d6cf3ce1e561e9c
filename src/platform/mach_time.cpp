// Mach-style ticks over CLOCK_MONOTONIC, whose ticks are nanoseconds (timebase 1/1).
// Kept on purpose: only the encoder's unread KELTimer uses it (docs/kept-on-purpose.md).
#include "mach_time.h"

#include <ctime>

uint64_t mach_absolute_time() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
}

int mach_timebase_info(mach_timebase_info_t info) {
    if (info == nullptr) return 1;
    info->numer = 1;
    info->denom = 1;
    return 0;
}
