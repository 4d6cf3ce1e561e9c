// Frame bounds checks by subtraction.
#include "kel_frame_check.h"

#include "kel_header.h"

KELFrameProblem CheckKELFrame(const uint8_t* frame, size_t size, int32_t width, int32_t height) {
    if (frame == nullptr || size < kKELHeaderSize) return KELFrameProblem::kShorterThanHeader;
    const KELHeader h = ReadKELHeader(frame);
    if (h.headerSize < kKELHeaderSize || h.headerSize > size) return KELFrameProblem::kHeaderSize;
    const size_t afterHeader = size - h.headerSize;
    if (h.storedSize > afterHeader) return KELFrameProblem::kPayloadPastEnd;
    if (h.planeStoredSize > afterHeader - h.storedSize) return KELFrameProblem::kPlanePastEnd;

    const int64_t blockWidth = (static_cast<int64_t>(width) + 3) / 4 * 4;
    const int64_t blockHeight = (static_cast<int64_t>(height) + 3) / 4 * 4;
    const int64_t planeWidth = static_cast<int32_t>(h.planeWidth);
    const int64_t planeHeight = static_cast<int32_t>(h.planeHeight);
    if (planeWidth > 0 && planeHeight > 0 && planeWidth * planeHeight > blockWidth * blockHeight)
        return KELFrameProblem::kPlaneLargerThanFrame;
    return KELFrameProblem::kNone;
}

const char* KELFrameProblemText(KELFrameProblem problem) {
    switch (problem) {
    case KELFrameProblem::kNone:
        return "intact";
    case KELFrameProblem::kShorterThanHeader:
        return "shorter than a frame header";
    case KELFrameProblem::kHeaderSize:
        return "header size field does not fit the frame";
    case KELFrameProblem::kPayloadPastEnd:
        return "payload reaches past the frame's end";
    case KELFrameProblem::kPlanePastEnd:
        return "second plane reaches past the frame's end";
    case KELFrameProblem::kPlaneLargerThanFrame:
        return "second plane is larger than the frame";
    }
    return "damaged";
}
