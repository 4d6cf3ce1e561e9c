// Elapsed wall-clock time in seconds from the system's monotonic tick counter.
// Kept on purpose: the threaded encoder makes one and nothing reads it (docs/kept-on-purpose.md).
#pragma once

#include <cstdint>

class KELTimer {
  public:
    // Records the start; the first timer of the process also fixes the tick period.
    KELTimer();
    virtual ~KELTimer() {}

    // Restarts the measurement from now.
    virtual void ResetTimer();
    // Seconds since construction or the last reset.
    virtual double GetElapsedTime();

    uint64_t start;

    static bool g_firstTime;    // set by the first construction in the process
    static double g_conversion; // seconds per tick
};

// The monotonic tick counter behind KELTimer: the platform's mach_absolute_time (nanoseconds
// on Linux, timebase 1/1).
uint64_t KELAbsoluteTime();
