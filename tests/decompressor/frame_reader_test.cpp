// KEL_DecompressImageData on hand-built frames: packing bytes, short and failed packed data,
// the second plane, the framebuffer that keeps its first size, and the read-back's row
// length. glPixelStorei is defined here so the suite can record the pack row lengths the
// reader sets; it forwards to the GL library.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <GL/glext.h>
#include <dlfcn.h>

#include <memory>
#include <random>

#include "decompressor/gl_decompressor_resources.h"
#include "decompressor/kel_decompress.h"
#include "support/frame_builders.h"
#include "support/host_frames.h"
#include "support/reference_pictures.h"

namespace {

bool gRecording = false; // set by the one test that reads the record, on its own thread
std::vector<GLint> gPackRowLengths;

Bytes Prefix(const Bytes& bytes, size_t size) {
    return Bytes(bytes.begin(), bytes.begin() + size);
}

// A frame of these block kind, alpha and packing bytes (header's other fields as given), its
// stored payload and stored plane; the header's stored sizes are those of the parts.
Bytes Frame(uint8_t blockKind, uint8_t alpha, uint8_t packing, const Bytes& stored, KELHeader header = {},
            const Bytes& plane = {}) {
    header.blockKind = blockKind, header.alpha = alpha, header.packing = packing;
    header.storedSize = uint32_t(stored.size()), header.planeStoredSize = uint32_t(plane.size());
    return HandFrame(header, stored, plane);
}

bool AllOpaqueBlack(const Bytes& picture) {
    for (size_t i = 0; i < picture.size(); i += 4)
        if (picture[i] != 255 || picture[i + 1] || picture[i + 2] || picture[i + 3]) return false;
    return true;
}

class FrameReaderTest : public testing::Test {
  protected:
    void SetUp() override {
        GLContext::SetAllowSoftwareRenderer(true);
        resources_ = new GLDecompressorResources();
    }
    void TearDown() override {
        resources_->FreeResources();
        delete resources_;
    }

    // Decodes a copy of the frame in a heap block of exactly its size, into a destination with
    // room for whole blocks (rows of `rowBytes`, by default tight); returns the visible picture.
    Bytes Decode(const Bytes& frame, int w, int h, size_t rowBytes = 0) {
        std::unique_ptr<uint8_t, decltype(&std::free)> exact(static_cast<uint8_t*>(std::malloc(frame.size())),
                                                             &std::free);
        std::copy(frame.begin(), frame.end(), exact.get());
        rowBytes = rowBytes ? rowBytes : size_t((w + 3) / 4) * 16;
        destination_.assign(rowBytes * ((h + 3) / 4 * 4), 0xA5);
        EXPECT_EQ(KEL_DecompressImageData(resources_, w, h, exact.get(), destination_.data(), int(rowBytes)),
                  0);
        return Visible(destination_.data(), rowBytes, w, h);
    }
    int DifferenceFromReference(const Bytes& frame, int w, int h) {
        return LargestDifference(Decode(frame, w, h), ExpectedPicture(frame, w, h));
    }

    // The block texture's texels, one byte each, read with the instance's context current.
    Bytes BlockTexels() {
        const GLTexture& texture = resources_->blockTexture;
        Bytes texels(static_cast<size_t>(texture.textureWidth) * texture.textureHeight);
        EXPECT_TRUE(resources_->context.ActivateContext());
        glBindTexture(texture.target, texture.name);
        glPixelStorei(GL_PACK_ALIGNMENT, 1);
        glGetTexImage(texture.target, 0, GL_LUMINANCE_INTEGER_EXT, GL_UNSIGNED_BYTE, texels.data());
        resources_->context.DeactivateContext();
        return texels;
    }

    GLDecompressorResources* resources_ = nullptr;
    Bytes destination_;
};

} // namespace

extern "C" void glPixelStorei(GLenum name, GLint value) {
    static const auto real = reinterpret_cast<void (*)(GLenum, GLint)>(dlsym(RTLD_NEXT, "glPixelStorei"));
    if (gRecording && name == GL_PACK_ROW_LENGTH) gPackRowLengths.push_back(value);
    real(name, value);
}

TEST_F(FrameReaderTest, PackingBytesAndShortOrFailedPayloads) {
    const int w = 16, h = 16; // 4 x 4 blocks; LZF can pack these, each block repeats its bytes
    Bytes payload;
    for (int k = 0; k < 16; ++k)
        for (int b : {k * 16, k * 16, k * 16, 255 - k, 255 - k, 255 - k, 0x1B, 0x1B, 0xE4, 0xE4})
            payload.push_back(static_cast<uint8_t>(b));
    const Bytes packed = Packed(payload), intact = Decode(Frame(1, 0, 0, payload), w, h);
    ASSERT_GT(packed.size(), 0u);
    EXPECT_EQ(intact, ExpectedPicture(Frame(1, 0, 0, payload), w, h));

    // Only a packing byte of 1 means LZF; 2 is stored. Stored bytes past the buffer are cut off.
    EXPECT_EQ(Decode(Frame(1, 0, 1, packed), w, h), intact);
    EXPECT_EQ(Decode(Frame(1, 0, 2, payload), w, h), intact);
    Bytes longer = payload;
    longer.resize(payload.size() + 50, 0x77);
    EXPECT_EQ(Decode(Frame(1, 0, 0, longer), w, h), intact);

    // Short data leaves zeroed blocks, opaque black: one block row stored, or an LZF stream cut
    // in half, gives the first block row and not the last. (The block buffer is the one the
    // intact frames above used on this thread: nothing of theirs may show.)
    const size_t blockRow = size_t(w) * 4 * 4;
    for (const Bytes& frame :
         {Frame(1, 0, 0, Prefix(payload, 40)), Frame(1, 0, 1, Prefix(packed, packed.size() / 2))}) {
        const Bytes picture = Decode(frame, w, h);
        EXPECT_EQ(Prefix(picture, blockRow), Prefix(intact, blockRow));
        EXPECT_TRUE(AllOpaqueBlack(Bytes(picture.end() - blockRow, picture.end())));
    }
    // A stream that fails at once (its first copy refers back before the output's start) leaves
    // every block zero, on the CPU and on the GPU path (an all-zero DXT1 block is black too).
    EXPECT_TRUE(AllOpaqueBlack(Decode(Frame(1, 0, 1, {0x20, 0x00}), w, h)));
    EXPECT_TRUE(AllOpaqueBlack(Decode(Frame(0, 0, 1, {0x20, 0x00}), w, h)));
}

TEST_F(FrameReaderTest, SecondPlaneIsUploadedButDoesNotReachTheOutput) {
    const int w = 16, h = 8;
    KELHeader rgba = {}, rgb = {}; // one plane pixel per block
    rgba.planeWidth = rgb.planeWidth = 4;
    rgba.planeHeight = rgb.planeHeight = 2;
    rgb.planePixelSize = 1;
    rgb.planePacking = kKELPackingLZF;

    // DXT24 frames allocate the plane but never read or upload it.
    const Bytes dxt24 = RandomBytes(8 * 10, 3);
    EXPECT_EQ(Decode(Frame(1, 0, 0, dxt24, rgba, Bytes(32, 0x40)), w, h),
              Decode(Frame(1, 0, 0, dxt24), w, h));
    EXPECT_EQ(resources_->planeTexture.name, 0u);

    // DXT1 frames upload it (a transparent RGBA plane, and a packed RGB one) and draw the same.
    const Bytes blocks = RandomBytes(8 * 8, 2), plain = Decode(Frame(0, 0, 0, blocks), w, h);
    EXPECT_EQ(Decode(Frame(0, 0, 0, blocks, rgba, Bytes(32, 0x40)), w, h), plain);
    EXPECT_NE(resources_->planeTexture.name, 0u);
    EXPECT_EQ(Decode(Frame(0, 0, 0, blocks, rgb, Packed(Bytes(24, 0xC8))), w, h), plain);
    EXPECT_EQ(resources_->planeTexture.sourceWidth, 4);
    EXPECT_EQ(resources_->planeTexture.sourceHeight, 2);
}

TEST_F(FrameReaderTest, FramebufferKeepsTheFirstFramesSize) {
    Decode(Frame(0, 0, 0, RandomBytes(4 * 2 * 8, 4)), 16, 8);
    // A larger frame renders into the 16 x 8 framebuffer: its first 8 rows of 16 pixels, the
    // bottom-left corner of the render, come out right.
    const Bytes large = Frame(0, 0, 0, RandomBytes(8 * 4 * 8, 5));
    const Bytes picture = Decode(large, 32, 16), expected = ExpectedPicture(large, 32, 16);
    EXPECT_EQ(resources_->framebuffer.textureWidth, 16);
    EXPECT_EQ(resources_->framebuffer.textureHeight, 8);
    EXPECT_LE(LargestDifference(Visible(picture.data(), 128, 16, 8), Visible(expected.data(), 128, 16, 8)),
              2);
}

TEST_F(FrameReaderTest, ReadBackRowLengthFollowsTheDestinationStride) {
    const int w = 1280, h = 720;
    const Bytes frame = Frame(0, 0, 0, RandomBytes(320 * 180 * 8, 6)),
                expected = ExpectedPicture(frame, w, h);
    // A tight stride sets no row length; 5376-byte rows set 1344 pixels, and 0 again after.
    gRecording = true;
    for (int rowBytes : {5120, 5376}) {
        gPackRowLengths.clear();
        EXPECT_LE(LargestDifference(Decode(frame, w, h, size_t(rowBytes)), expected), 2);
        EXPECT_EQ(gPackRowLengths, rowBytes == 5120 ? std::vector<GLint>{0} : std::vector<GLint>({1344, 0}));
        EXPECT_EQ(TouchedOutside(destination_, size_t(rowBytes), w, h, 0xA5), 0u);
    }
    ASSERT_TRUE(resources_->context.ActivateContext());
    GLint rowLength = -1;
    glGetIntegerv(GL_PACK_ROW_LENGTH, &rowLength);
    EXPECT_EQ(rowLength, 0);
    resources_->context.DeactivateContext();
}
