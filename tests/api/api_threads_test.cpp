// Decoders used on different threads at the same time: every picture must be what one thread
// alone gets. (Encoders on several threads, each with its own thread setting, are the
// compressor's concurrency suite: the pool they share is the compressor's.)
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
