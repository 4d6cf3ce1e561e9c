// Frames from the compressor decoded through the decompressor component, as a host uses them:
// every block kind the settings lead to, packed and stored, odd and large sizes, tight and wide
// row strides.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "decompressor/decompressor_component.h"
#include "host/host_decompression.h"
#include "pixel/synthetic_image.h"
#include "support/frame_builders.h"
#include "support/host_frames.h"
#include "support/reference_pictures.h"

TEST(DecompressorRoundTrip, EveryKindSizeAndStrideDecodesToItsReference) {
    ZQN_CodecRegister();
    HostDecompressionAllowSoftwareRenderer(true);
    const uint8_t kGuard = 0xA5;
    const int sizes[][2] = {{1, 1}, {5, 3}, {641, 363}, {1280, 720}, {1920, 1080}};
    int largestS3TCDifference = 0;
    for (const auto& size : sizes) {
        const int w = size[0], h = size[1];
        for (uint8_t alpha : {0, 1}) {
            Bytes source(static_cast<size_t>(w) * h * 4);
            FillSyntheticARGB(source.data(), w, h, w * 4, 3, alpha != 0);
            for (uint8_t dxt24 : {0, 1})
                for (uint8_t noLZF : {0, 1}) {
                    SCOPED_TRACE(testing::Message() << w << "x" << h << " alpha " << int(alpha) << " dxt24 "
                                                    << int(dxt24) << " noLZF " << int(noLZF));
                    const Bytes frame = EncodeThroughHost(source, w, h, {alpha, dxt24, noLZF, 2});
                    ASSERT_GE(frame.size(), kKELHeaderSize);
                    const KELHeader header = ReadKELHeader(frame.data());
                    ASSERT_EQ(header.blockKind, alpha ? 0 : dxt24); // alpha always gives DXT5
                    const Bytes expected = ExpectedPicture(frame, w, h);

                    HostDecompression* decompression = nullptr;
                    ASSERT_EQ(HostDecompressionCreate(w, h, &decompression), noErr);
                    // Tight rows, wide rows (5376 bytes for 1280), and rows not whole pixels apart.
                    for (size_t rowBytes : {size_t(w) * 4, size_t(w) * 4 + 256, size_t(w) * 4 + 6}) {
                        Bytes buffer(rowBytes * h + 64, kGuard);
                        ASSERT_EQ(HostDecompressionDecodeFrame(decompression, frame.data(), frame.size(),
                                                               buffer.data(), rowBytes),
                                  noErr);
                        const Bytes picture = Visible(buffer.data(), rowBytes, w, h);
                        if (header.blockKind == 1) {
                            EXPECT_EQ(picture, expected) << "rowBytes " << rowBytes;
                        } else {
                            const int difference = LargestDifference(picture, expected);
                            EXPECT_LE(difference, 2) << "rowBytes " << rowBytes;
                            largestS3TCDifference = std::max(largestS3TCDifference, difference);
                        }
                        // Bytes A, R, G, B: opaque frames keep alpha 255, and the colours stay
                        // close to the source (a channel order mix-up would not).
                        size_t wrongAlpha = 0;
                        for (size_t i = 0; !alpha && i < picture.size(); i += 4)
                            wrongAlpha += picture[i] != 255;
                        EXPECT_EQ(wrongAlpha, 0u);
                        if (w >= 8) {
                            EXPECT_GT(PSNRofARGB(picture.data(), w * 4, source.data(), w * 4, w, h), 30.0);
                        }
                        // Nothing outside the visible area is written: row padding and the bytes
                        // after the last row.
                        EXPECT_EQ(TouchedOutside(buffer, rowBytes, w, h, kGuard), 0u)
                            << "rowBytes " << rowBytes;
                    }
                    HostDecompressionClose(decompression);
                }
        }
    }
    std::printf("largest DXT1/DXT5 difference from the S3TC reference: %d\n", largestS3TCDifference);
    RecordProperty("largestS3TCDifference", largestS3TCDifference);
}
