// Mach-style ticks over the pixel utilities' monotonic clock, so both count the same ticks.
#include "mach_time.h"

#include "pixel/kel_timer.h"

uint64_t mach_absolute_time() {
    return KELAbsoluteTime();
}

int mach_timebase_info(mach_timebase_info_t info) {
    if (info == nullptr) return 1;
    info->numer = 1;
    info->denom = 1;
    return 0;
}
