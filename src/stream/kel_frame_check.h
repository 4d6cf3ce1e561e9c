// Whether an encoded frame is consistent enough to decode: the check every host makes before
// it hands a frame to the decompressor, so that nothing is sized, allocated or drawn from a
// damaged header. Sizes are compared by subtraction or in 64 bits, so no sum or product of
// header fields can overflow, and packed parts are walked without unpacking them.
#pragma once

#include <cstddef>
#include <cstdint>

enum class KELFrameProblem {
    kNone,
    kShorterThanHeader,    // fewer bytes than a frame header
    kHeaderSize,           // the header-size field is below 28 or past the data
    kBlockKind,            // the block kind is neither 0 (DXT1/DXT5) nor 1 (DXT24) (kWhole only)
    kPayloadPastEnd,       // the stored payload reaches past the data
    kPlanePastEnd,         // the stored second plane reaches past the data
    kPlaneNegativeSide,    // a second-plane side is negative as the signed field the reader takes
    kPlaneLargerThanFrame, // a second-plane side has more pixels than the frame has blocks
    kPayloadTooShort,      // a raw payload stores fewer bytes than the frame's blocks
    kPayloadUnpack,        // an LZF payload does not unpack to exactly the frame's blocks
    kPlaneTooShort,        // a raw second plane stores fewer bytes than its pixels
    kPlaneUnpack,          // an LZF second plane does not unpack to exactly its pixels
};

// How far a check goes. kWhole is what hosts use. kLayout leaves out the walk of LZF streams,
// for a reader that trusts its host to have walked them: lzf_decompress bounds its own output,
// so a stream that kLayout lets through can leave a picture wrong, never read or write outside
// the frame or a buffer.
enum class KELFrameCheckDepth { kWhole, kLayout };

// Checks the frame of `size` bytes at `frame` for a width x height picture:
// - the header and both stored parts lie inside the data;
// - the block kind is 0 or 1 (kWhole): no encoder writes another, and the decompressor's GPU
//   path draws such a frame from whatever two-dimensional texture an earlier frame left bound,
//   black the first time, so the same frame would decode to different pictures;
// - the second plane's sides are both >= 0; it is present when both are > 0, and then at most
//   the frame's block counts across and down (its blend samples one plane pixel per block);
// - the payload yields exactly ceil(W/4) x ceil(H/4) x bytes-per-block bytes (by the block
//   kind and alpha bytes): raw, it stores at least that many (at most 2^31 - 1, the reader's
//   signed size); packed, it is a complete LZF stream of exactly that length (kWhole), with a
//   first cheap bound of 88 output bytes per stored byte (both depths);
// - a present plane yields exactly width x height x 3 (or 4) bytes the same way.
// Nothing is allocated; with kWhole the time is linear in the stored sizes of packed parts,
// with kLayout it is constant.
KELFrameProblem CheckKELFrame(const uint8_t* frame, size_t size, int32_t width, int32_t height,
                              KELFrameCheckDepth depth = KELFrameCheckDepth::kWhole);

// A short description of a problem, for reports ("payload reaches past the frame's end").
const char* KELFrameProblemText(KELFrameProblem problem);
