// Encoders and decoders used on different threads at the same time: every frame must be
// byte-identical to what one thread alone gets, whatever each encoder's thread setting.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "api_fixture.h"

namespace {

const int kWidth = 322, kHeight = 183; // partial blocks at both edges
const int kFrames = 50;

std::vector<Bytes> Pictures() {
    std::vector<Bytes> pictures;
    for (int i = 0; i < kFrames; ++i)
        pictures.push_back(MakePicture(kWidth, kHeight, 0, i, false));
    return pictures;
}

} // namespace

// Needs the DXT24 worker pool to serve several dispatching encoders at once.
TEST(ApiThreads, FourEncodersWithDifferentThreadSettingsMatchOneThread) {
    const std::vector<Bytes> pictures = Pictures();
    std::vector<Bytes> expected;
    for (const Bytes& picture : pictures)
        expected.push_back(EncodeThroughApi(picture, kWidth, kHeight, 0, Settings(0, 1, 0, 2)));

    const int threadSettings[4] = {3, 5, 7, 9}; // 2, 6, 12 and 24 workers
    std::atomic<int> mismatches{0}, failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            const qzkt_settings settings = Settings(0, 1, 0, threadSettings[t]);
            qzkt_encoder* encoder = nullptr;
            if (qzkt_encoder_create(kWidth, kHeight, &settings, &encoder) != QZKT_OK) {
                ++failures;
                return;
            }
            Bytes frame(qzkt_max_frame_size(kWidth, kHeight, &settings));
            for (int n = 0; n < kFrames; ++n) {
                const int i = (n + 13 * t) % kFrames; // the threads meet on different pictures
                size_t size = 0;
                if (qzkt_encode(encoder, pictures[i].data(), 0, frame.data(), frame.size(), &size) != QZKT_OK)
                    ++failures;
                else if (Bytes(frame.begin(), frame.begin() + long(size)) != expected[i])
                    ++mismatches;
            }
            qzkt_encoder_destroy(encoder);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(mismatches.load(), 0) << "frames that differ from the single-threaded encode, of "
                                    << 4 * kFrames;
}

TEST(ApiThreads, FourDXT24DecodersMatchOneThread) {
    const std::vector<Bytes> pictures = Pictures();
    std::vector<Bytes> frames, expected;
    for (const Bytes& picture : pictures) {
        frames.push_back(EncodeThroughApi(picture, kWidth, kHeight, 0, Settings(0, 1, 0, 2)));
        expected.push_back(ExpectedPicture(frames.back(), kWidth, kHeight));
    }
    std::atomic<int> mismatches{0}, failures{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            qzkt_decoder* decoder = nullptr;
            if (qzkt_decoder_create(kWidth, kHeight, QZKT_RENDERER_AUTO, &decoder) != QZKT_OK) {
                ++failures;
                return;
            }
            Bytes argb(size_t(kWidth) * kHeight * 4);
            for (int n = 0; n < kFrames; ++n) {
                const int i = (n + 13 * t) % kFrames;
                if (qzkt_decode(decoder, frames[i].data(), frames[i].size(), argb.data(), 0) != QZKT_OK)
                    ++failures;
                else if (argb != expected[i])
                    ++mismatches;
            }
            qzkt_decoder_destroy(decoder);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(mismatches.load(), 0);
}
