// Sample inspection on top of the stream module's bounds check.
#include "frame_check.h"

#include "stream/kel_frame_check.h"

FrameLayout CheckFrame(const uint8_t* data, size_t size, int width, int height) {
    FrameLayout layout;
    const KELFrameProblem problem = CheckKELFrame(data, size, width, height);
    layout.intact = problem == KELFrameProblem::kNone;
    layout.problem = KELFrameProblemText(problem);
    if (problem == KELFrameProblem::kShorterThanHeader) {
        layout.problem = std::to_string(size) + " bytes, " + layout.problem;
        return layout;
    }
    layout.header = ReadKELHeader(data);
    layout.payloadSize = static_cast<uint32_t>(KELBlockCount(width, height)) *
                         KELBytesPerBlock(layout.header.blockKind == 1, layout.header.alpha != 0);
    return layout;
}
