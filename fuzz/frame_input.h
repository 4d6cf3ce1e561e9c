// One fuzz input as one encoded frame through the host decompression entry. The input's
// first five bytes choose the picture and the destination; the rest is the frame:
//
//   offset  width  field
//   0       u16    frame width  (low 15 bits)
//   2       u16    frame height (low 15 bits)
//   4       u8     bytes of padding after each destination row (any value: rows need not
//                  be a whole number of pixels apart)
//   5       ...    the frame, header first
//
// Inputs shorter than the prefix, with a side of 0, or of more than kMaxFuzzPixels pixels are
// not run. DXT1/DXT5 frames decode through whatever OpenGL renderer EGL offers, Mesa's
// software renderer included.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/mac_types.h"

const size_t kFramePrefixSize = 5;

struct FrameRun {
    bool ran = false; // false when the input was not run (see above)
    int width = 0;
    int height = 0;
    OSStatus status = noErr;
    std::string problem;  // HostDecompressionProblem after the call
    std::string renderer; // HostDecompressionRendererName after the call
    std::string fault;    // a promise of the entry that the call broke; "" when none
};

// Once per process: registers the decompressor and accepts a software renderer.
void PrepareFrameInputs();

// Decodes the frame into a destination filled with a guard byte and checks the entry's
// promises: noErr, codecBadDataErr or codecNoRendererErr; a problem line exactly when the frame
// was not decoded; a declined frame leaves the destination as it was; a decoded one writes
// nothing outside its width x height pixels; decoded again on the same decompression, the frame
// gives the same status and bytes.
FrameRun RunFrameInput(const uint8_t* data, size_t size);

// "ok", "bad-data", "no-renderer", "status <n>", or "not-run".
std::string FrameOutcome(const FrameRun& run);

// The input that runs frame at width x height with rows padded by padding bytes.
std::vector<uint8_t> FrameInput(int width, int height, uint8_t padding, const std::vector<uint8_t>& frame);
