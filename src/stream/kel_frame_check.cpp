// Frame consistency checks: bounds by subtraction, sizes in 64 bits, LZF streams walked.
#include "kel_frame_check.h"

#include "kel_header.h"
#include "lzf_stream_check.h"

namespace {

// Whether a stored part of storedSize bytes at data yields exactly `needed` bytes as the
// reader unpacks it: LZF when packing is 1, else a copy of its first `needed` bytes.
bool YieldsExactly(uint8_t packing, const uint8_t* data, uint32_t storedSize, uint64_t needed,
                   KELFrameCheckDepth depth) {
    if (packing != kKELPackingLZF) return storedSize >= needed && storedSize <= INT32_MAX;
    // An LZF stream yields at most 88 bytes per stored byte: a payload claiming more is
    // declined before its bytes are even walked.
    if (static_cast<uint64_t>(storedSize) * kLZFMaxExpansion < needed) return false;
    if (depth == KELFrameCheckDepth::kLayout) return true;
    uint64_t unpacked = 0;
    return LZFUnpackedSize(data, storedSize, needed, &unpacked) && unpacked == needed;
}

} // namespace

KELFrameProblem CheckKELFrame(const uint8_t* frame, size_t size, int32_t width, int32_t height,
                              KELFrameCheckDepth depth) {
    if (frame == nullptr || size < kKELHeaderSize) return KELFrameProblem::kShorterThanHeader;
    const KELHeader h = ReadKELHeader(frame);
    if (h.headerSize < kKELHeaderSize || h.headerSize > size) return KELFrameProblem::kHeaderSize;
    const size_t afterHeader = size - h.headerSize;
    if (h.storedSize > afterHeader) return KELFrameProblem::kPayloadPastEnd;
    if (h.planeStoredSize > afterHeader - h.storedSize) return KELFrameProblem::kPlanePastEnd;
    if (depth == KELFrameCheckDepth::kWhole && h.blockKind > kKELBlockKindDXT24)
        return KELFrameProblem::kBlockKind;

    const int64_t blocksAcross = width > 0 ? (static_cast<int64_t>(width) + 3) / 4 : 0;
    const int64_t blocksDown = height > 0 ? (static_cast<int64_t>(height) + 3) / 4 : 0;
    // The reader takes the plane's sides as signed 32-bit fields.
    const int64_t planeWidth = static_cast<int32_t>(h.planeWidth);
    const int64_t planeHeight = static_cast<int32_t>(h.planeHeight);
    if (planeWidth < 0 || planeHeight < 0) return KELFrameProblem::kPlaneNegativeSide;
    const bool planePresent = planeWidth > 0 && planeHeight > 0; // else the reader skips it
    if (planePresent && (planeWidth > blocksAcross || planeHeight > blocksDown))
        return KELFrameProblem::kPlaneLargerThanFrame;

    const uint8_t* payload = frame + h.headerSize;
    const uint64_t payloadSize = static_cast<uint64_t>(blocksAcross * blocksDown) *
                                 KELBytesPerBlock(h.blockKind == kKELBlockKindDXT24, h.alpha != 0);
    if (!YieldsExactly(h.packing, payload, h.storedSize, payloadSize, depth))
        return h.packing == kKELPackingLZF ? KELFrameProblem::kPayloadUnpack
                                           : KELFrameProblem::kPayloadTooShort;

    const uint64_t planeSize =
        static_cast<uint64_t>(planeWidth * planeHeight) * (h.planePixelSize != 0 ? 3 : 4);
    if (planePresent &&
        !YieldsExactly(h.planePacking, payload + h.storedSize, h.planeStoredSize, planeSize, depth))
        return h.planePacking == kKELPackingLZF ? KELFrameProblem::kPlaneUnpack
                                                : KELFrameProblem::kPlaneTooShort;
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
    case KELFrameProblem::kBlockKind:
        return "block kind is neither 0 (DXT1/DXT5) nor 1 (DXT24)";
    case KELFrameProblem::kPayloadPastEnd:
        return "payload reaches past the frame's end";
    case KELFrameProblem::kPlanePastEnd:
        return "second plane reaches past the frame's end";
    case KELFrameProblem::kPlaneNegativeSide:
        return "second plane has a negative side";
    case KELFrameProblem::kPlaneLargerThanFrame:
        return "second plane has more pixels than the frame has blocks";
    case KELFrameProblem::kPayloadTooShort:
        return "payload is shorter than the frame's blocks";
    case KELFrameProblem::kPayloadUnpack:
        return "packed payload does not unpack to the frame's blocks";
    case KELFrameProblem::kPlaneTooShort:
        return "second plane is shorter than its pixels";
    case KELFrameProblem::kPlaneUnpack:
        return "packed second plane does not unpack to its pixels";
    }
    return "damaged";
}
