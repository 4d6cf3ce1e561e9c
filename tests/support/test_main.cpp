// Entry point of every test program: a host of the codec, so it removes the codec's
// semaphore names of its own process before running the tests.
#include <gtest/gtest.h>

#include "platform/semaphore_names.h"

int main(int argc, char** argv) {
    UnlinkCodecSemaphoreNames();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
