// DXT1/DXT5 frames through the public API, decoded with OpenGL in this process: the round trip
// and damaged frames. A suite of its own: under the sanitizers it runs without LeakSanitizer
// (see CMakeLists.txt).
#include <gtest/gtest.h>

#include "api_frame_checks.h"

// DXT1/DXT5 frames decode with OpenGL: with the software renderer on a machine without a GPU,
// which needs the per-decoder renderer choice of the platform layer.
TEST(ApiRoundTrip, DXT1AndDXT5FramesAreTheFormatsBytesAndDecodeWithOpenGL) {
    ExpectFormatBytesAndRoundTrip(Settings(0, 0, 0, 2), 2);
    ExpectFormatBytesAndRoundTrip(Settings(0, 0, 1, 2), 2);
    ExpectFormatBytesAndRoundTrip(Settings(1, 0, 0, 2), 2);
    ExpectFormatBytesAndRoundTrip(Settings(1, 1, 1, 2), 2); // alpha wins: DXT5
}

TEST(ApiDamagedFrames, DXT1FramesAreRefusedTheSameWay) {
    ExpectDamagedFramesRefused(Settings(0, 0, 0, 2));
}
