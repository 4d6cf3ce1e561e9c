// The host decompression entry's own decision, made before the decompressor sees a frame:
// damaged frames are declined by the frame check.
#include <gtest/gtest.h>

#include "decompressor/decompressor_component.h"
#include "gl/gl_context.h"
#include "host/host_decompression.h"
#include "platform/little_endian.h"
#include "support/frame_builders.h"
#include "support/host_frames.h"
#include "support/reference_pictures.h"

namespace {

class HostDecompressionTest : public testing::Test {
  protected:
    void SetUp() override {
        ZQN_CodecRegister();
        HostDecompressionAllowSoftwareRenderer(true);
    }
    void TearDown() override {
        for (HostDecompression* d : open_)
            HostDecompressionClose(d);
        HostDecompressionAllowSoftwareRenderer(true);
    }

    HostDecompression* Open(int w, int h, HostRendererChoice choice = kHostRendererProcessDefault) {
        HostDecompression* d = nullptr;
        EXPECT_EQ(HostDecompressionCreate(w, h, &d), noErr);
        HostDecompressionSetRenderer(d, choice);
        open_.push_back(d);
        return d;
    }

    // Decodes into a destination that starts as `guard` bytes; returns the status.
    OSStatus Decode(HostDecompression* d, const Bytes& frame, int w, int h, uint8_t guard = 0x5A) {
        destination_.assign(size_t(w) * h * 4, guard);
        return HostDecompressionDecodeFrame(d, frame.data(), frame.size(), destination_.data(), 0);
    }

    bool Untouched(uint8_t guard = 0x5A) const {
        return std::all_of(destination_.begin(), destination_.end(), [&](uint8_t b) { return b == guard; });
    }

    std::vector<HostDecompression*> open_;
    Bytes destination_;
};

} // namespace

TEST_F(HostDecompressionTest, InconsistentFramesAreDeclinedBeforeTheDecompressor) {
    // Payloads that cannot yield the frame's blocks. (Impossible second planes are the frame
    // check's own suite and the malformed corpus's frame/negative_plane_* cases, replayed
    // through this entry.)
    const int w = 8, h = 8;
    HostDecompression* d = Open(w, h);
    const Bytes dxt24 = RawFrame(w, h, 1, 0);
    Bytes shortRaw = dxt24;
    WriteLE32(&shortRaw[kKELStoredSizeOffset], 39);
    EXPECT_EQ(Decode(d, shortRaw, w, h), codecBadDataErr);
    EXPECT_STREQ(HostDecompressionProblem(d), "payload is shorter than the frame's blocks");
    Bytes shortLZF = RawFrame(w, h, 1, 0);
    shortLZF[kKELPackingOffset] = kKELPackingLZF;
    shortLZF.resize(kKELHeaderSize + 2);
    WriteLE32(&shortLZF[kKELStoredSizeOffset], 2);
    shortLZF[kKELHeaderSize] = 0x00; // one literal byte of the 40 the blocks need
    EXPECT_EQ(Decode(d, shortLZF, w, h), codecBadDataErr);
    EXPECT_STREQ(HostDecompressionProblem(d), "packed payload does not unpack to the frame's blocks");
    EXPECT_TRUE(Untouched());
    // A block kind no encoder writes: the GPU path would draw whatever 2D texture the last frame
    // left bound (black, then a second plane's pixels), so the same frame decoded differently.
    for (uint8_t kind : {2, 69, 255}) {
        EXPECT_EQ(Decode(d, RawFrame(w, h, kind, 0), w, h), codecBadDataErr) << int(kind);
        EXPECT_STREQ(HostDecompressionProblem(d), "block kind is neither 0 (DXT1/DXT5) nor 1 (DXT24)");
        EXPECT_TRUE(Untouched());
    }

    // Intact frames still decode, and clear the problem line.
    EXPECT_EQ(Decode(d, dxt24, w, h), noErr);
    EXPECT_EQ(destination_, ExpectedPicture(dxt24, w, h));
    EXPECT_STREQ(HostDecompressionProblem(d), "");
}
