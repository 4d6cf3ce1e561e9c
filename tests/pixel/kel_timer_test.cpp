// The elapsed-time timer.
#include <gtest/gtest.h>
#include <time.h>

#include "pixel/kel_timer.h"

TEST(KELTimer, MeasuresSecondsFromNanosecondTicks) {
    KELTimer timer;
    EXPECT_TRUE(KELTimer::g_firstTime);
    EXPECT_DOUBLE_EQ(KELTimer::g_conversion, 1e-9); // timebase 1/1: one tick is a nanosecond

    const double first = timer.GetElapsedTime();
    EXPECT_GE(first, 0.0);
    const timespec pause{0, 20 * 1000 * 1000};
    nanosleep(&pause, nullptr);
    const double later = timer.GetElapsedTime();
    EXPECT_GE(later, 0.020);

    timer.ResetTimer();
    EXPECT_LT(timer.GetElapsedTime(), later);
}
