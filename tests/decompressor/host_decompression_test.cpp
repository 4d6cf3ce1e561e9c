// The host decompression entry's own decisions, made before the decompressor sees a frame:
// damaged frames declined by the frame check, DXT1/DXT5 frames the GPU path cannot hold
// reported with the reason and the limit, and the per-decompression renderer choice.
#include <gtest/gtest.h>

#include "decompressor/decompressor_component.h"
#include "gl/gl_context.h"
#include "platform/host_decompression.h"
#include "reference_decoder.h"
#include "stream/little_endian.h"

namespace {

// What a GLContext reports when made with or without software renderers allowed: the facts
// the entry's answers are checked against.
struct Renderer {
    bool available = false;
    std::string name;
    int maxTextureSize = 0;
};

Renderer OpenRenderer(bool acceptSoftware) {
    const bool allowed = GLContext::AllowsSoftwareRenderer();
    GLContext::SetAllowSoftwareRenderer(acceptSoftware);
    Renderer renderer;
    GLContext context;
    if (context.InitContext() && context.ActivateContext()) {
        renderer.available = true;
        renderer.name = context.extensions.rendererName;
        renderer.maxTextureSize = context.maxTextureSize;
        context.DeactivateContext();
    }
    context.DeleteContext();
    GLContext::SetAllowSoftwareRenderer(allowed);
    return renderer;
}

// A raw frame of `blockBytes` bytes a block with these block kind and alpha bytes.
Bytes RawFrame(int w, int h, uint8_t blockKind, uint8_t alpha, uint8_t fill = 0x6C) {
    KELHeader header{};
    header.headerSize = kKELHeaderSize;
    header.blockKind = blockKind;
    header.alpha = alpha;
    header.storedSize = uint32_t(KELBlockCount(w, h)) * KELBytesPerBlock(blockKind == 1, alpha != 0);
    Bytes frame(kKELHeaderSize + header.storedSize, fill);
    WriteKELHeader(frame.data(), header);
    return frame;
}

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
    // The audit's frame: 60 bytes of DXT1 for 8 x 8 pixels with a second plane of
    // -285212671 x 59 pixels (the reader's 32-bit product would ask for 1.4 GB), and the
    // same plane on DXT24 frames, which never read it; then payloads that cannot yield the
    // frame's blocks.
    const int w = 8, h = 8;
    HostDecompression* d = Open(w, h);
    Bytes dxt1 = RawFrame(w, h, 0, 0), dxt24 = RawFrame(w, h, 1, 0);
    ASSERT_EQ(dxt1.size(), 60u);
    for (Bytes* frame : {&dxt1, &dxt24}) {
        Bytes damaged = *frame;
        WriteLE32(&damaged[kKELPlaneWidthOffset], uint32_t(-285212671));
        WriteLE32(&damaged[kKELPlaneHeightOffset], 59);
        EXPECT_EQ(Decode(d, damaged, w, h), codecBadDataErr);
        EXPECT_TRUE(Untouched());
        EXPECT_STREQ(HostDecompressionProblem(d), "second plane has a negative side");
    }
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

TEST_F(HostDecompressionTest, FramesLargerThanTheRendererTakesAreReportedNotDrawn) {
    const Renderer renderer = OpenRenderer(true);
    if (!renderer.available) GTEST_SKIP() << "no OpenGL renderer at all";
    const std::string named = "the OpenGL renderer (" + renderer.name + ")";

    // DXT1 blocks go to a 2D texture of the block-rounded size rounded up to powers of two: a
    // frame one block row wider than the limit needs twice the limit.
    const int limit = renderer.maxTextureSize;
    if (limit + 16 <= kKELMaxSide) {
        const int w = limit + 16, h = 8;
        HostDecompression* d = Open(w, h);
        EXPECT_EQ(Decode(d, RawFrame(w, h, 0, 0), w, h), codecNoRendererErr);
        EXPECT_TRUE(Untouched());
        EXPECT_EQ(HostDecompressionProblem(d), "the frame needs a " + std::to_string(2 * limit) +
                                                   "x8 texture (" + std::to_string(w) +
                                                   "x8 rounded up to powers of two); " + named +
                                                   " allows at most " + std::to_string(limit) + " a side");
        EXPECT_STREQ(HostDecompressionRendererName(d), "");
        // DXT24 frames of that size need no renderer.
        const Bytes dxt24 = RawFrame(w, h, 1, 0);
        EXPECT_EQ(Decode(d, dxt24, w, h), noErr);
        EXPECT_EQ(destination_, ExpectedPicture(dxt24, w, h));
    }
    // At the limit the frame decodes, on the renderer the entry names.
    if (limit <= kKELMaxSide) {
        const int w = limit, h = 8;
        HostDecompression* d = Open(w, h);
        const Bytes frame = EncodedSynthetic(w, h, {0, 0, 0, 2});
        EXPECT_EQ(Decode(d, frame, w, h), noErr);
        EXPECT_LE(LargestDifference(destination_, ExpectedPicture(frame, w, h)), 2);
        EXPECT_EQ(HostDecompressionRendererName(d), renderer.name);
    }
}

TEST_F(HostDecompressionTest, EachDecompressionChoosesItsRenderer) {
    const Renderer hardware = OpenRenderer(false), any = OpenRenderer(true);
    if (!any.available) GTEST_SKIP() << "no OpenGL renderer at all";
    const int w = 24, h = 16;
    const Bytes dxt1 = EncodedSynthetic(w, h, {0, 0, 0, 2}), dxt24 = EncodedSynthetic(w, h, {0, 1, 0, 2});
    const Bytes expected = ExpectedPicture(dxt1, w, h);
    // The process-wide switch says no software renderer; the choices below override it.
    HostDecompressionAllowSoftwareRenderer(false);

    HostDecompression* hardwareOnly = Open(w, h, kHostRendererHardware);
    HostDecompression* software = Open(w, h, kHostRendererSoftware);
    HostDecompression* automatic = Open(w, h, kHostRendererAuto);
    HostDecompression* processDefault = Open(w, h);
    for (HostDecompression* d : {software, automatic}) {
        EXPECT_EQ(Decode(d, dxt1, w, h), noErr);
        EXPECT_LE(LargestDifference(destination_, expected), 2);
        EXPECT_EQ(HostDecompressionRendererName(d), any.name);
    }
    for (HostDecompression* d : {hardwareOnly, processDefault}) {
        if (hardware.available) {
            EXPECT_EQ(Decode(d, dxt1, w, h), noErr);
            EXPECT_LE(LargestDifference(destination_, expected), 2);
            EXPECT_EQ(HostDecompressionRendererName(d), hardware.name);
        } else {
            EXPECT_EQ(Decode(d, dxt1, w, h), codecNoRendererErr);
            EXPECT_TRUE(Untouched());
            EXPECT_STREQ(HostDecompressionProblem(d), "no OpenGL renderer (hardware only was asked for)");
            EXPECT_STREQ(HostDecompressionRendererName(d), "");
        }
        // DXT24 frames decode on the CPU whatever the choice.
        EXPECT_EQ(Decode(d, dxt24, w, h), noErr);
        EXPECT_EQ(destination_, ExpectedPicture(dxt24, w, h));
    }

    // A decompression keeps the renderer its first GPU frame was drawn on, whatever the switch
    // says later; one that has drawn nothing yet follows the switch as it is then.
    HostDecompressionAllowSoftwareRenderer(true);
    HostDecompression* early = Open(w, h);
    EXPECT_EQ(Decode(early, dxt1, w, h), noErr);
    HostDecompressionAllowSoftwareRenderer(false);
    EXPECT_EQ(Decode(early, dxt1, w, h), noErr);
    EXPECT_LE(LargestDifference(destination_, expected), 2);
    EXPECT_EQ(HostDecompressionRendererName(early), hardware.available ? hardware.name : any.name);
    EXPECT_EQ(Decode(processDefault, dxt1, w, h), hardware.available ? noErr : codecNoRendererErr);
    HostDecompressionAllowSoftwareRenderer(true);
    EXPECT_EQ(Decode(processDefault, dxt1, w, h), noErr);
    EXPECT_LE(LargestDifference(destination_, expected), 2);
}
