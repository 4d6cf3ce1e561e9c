// One fuzz input as one frame through the public API only (qzkt.h), as a program that links
// libqzkt sees it. The input has fuzz_frame's layout (frame_input.h): five bytes choose the
// picture and the destination's row padding, the rest is the frame. Each frame is handed to
// the library in a heap block of exactly its size, so that a read past its end is caught.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct ApiRun {
    bool ran = false; // false when the input was not run (as fuzz_frame decides)
    int width = 0;
    int height = 0;
    int result = 0;       // qzkt_result of the first decode
    std::string renderer; // qzkt_decoder_renderer_name after it
    std::string fault;    // a promise of qzkt.h that a call broke; "" when none
};

// Checks, for the frame and for its first half (a frame cut short, decoded next on the same
// decoder as a movie's next sample would be):
//   - qzkt_decode answers QZKT_OK, QZKT_DAMAGED_FRAME or QZKT_NO_RENDERER, with a problem line
//     exactly when it is not QZKT_OK;
//   - a frame that qzkt_inspect_frame calls damaged is never decoded, and a decoded one is one
//     it calls intact;
//   - qzkt_unpack_frame declines exactly the frames qzkt_decode calls damaged, and unpacks the
//     others into a buffer of exactly the size it asks for;
//   - a declined frame leaves the destination as it was; a decoded one writes nothing outside
//     its width x height pixels;
//   - the whole frame decoded again after the cut one gives the same result and bytes.
ApiRun RunApiInput(const uint8_t* data, size_t size);

// "ok", "bad-data", "no-renderer" (the words fuzz_frame's outcomes use), "result <n>" or
// "not-run".
std::string ApiOutcome(const ApiRun& run);
