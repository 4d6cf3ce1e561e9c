// Whether an encoded frame's stored parts lie inside its data: the check every reader makes
// before it trusts the header's sizes. Sizes are compared by subtraction, so no sum of header
// fields can overflow.
#pragma once

#include <cstddef>
#include <cstdint>

enum class KELFrameProblem {
    kNone,
    kShorterThanHeader,    // fewer bytes than a frame header
    kHeaderSize,           // the header-size field is below 28 or past the data
    kPayloadPastEnd,       // the stored payload reaches past the data
    kPlanePastEnd,         // the stored second plane reaches past the data
    kPlaneLargerThanFrame, // the second plane claims more pixels than the frame has
};

// Checks the frame of `size` bytes at `frame` for a width x height picture. The second plane
// may have at most as many pixels as the frame rounded up to whole blocks (the format stores
// one plane pixel per block); larger claims come only from damaged headers.
KELFrameProblem CheckKELFrame(const uint8_t* frame, size_t size, int32_t width, int32_t height);

// A short description of a problem, for reports ("payload reaches past the frame's end").
const char* KELFrameProblemText(KELFrameProblem problem);
