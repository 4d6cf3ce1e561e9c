// The monotonic tick counter the components time with: nanoseconds since an arbitrary start
// (CLOCK_MONOTONIC), so the timebase is 1/1.
// Kept on purpose: only the encoder's unread KELTimer uses it (docs/kept-on-purpose.md).
#pragma once

#include <cstdint>

struct mach_timebase_info_data_t {
    uint32_t numer;
    uint32_t denom;
};
typedef mach_timebase_info_data_t* mach_timebase_info_t;

uint64_t mach_absolute_time();
// Stores numer = denom = 1 and returns 0 (1 for a null pointer).
int mach_timebase_info(mach_timebase_info_t info);
