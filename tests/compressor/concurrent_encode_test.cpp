// Several compressor instances encoding DXT24 at the same time, each on its own host thread
// and with its own thread setting: they share the process-wide worker pool, and every frame
// must still be the single-thread encoder's bytes. A process of its own, so that one of these
// threads starts the pool (the ThreadSanitizer build runs this suite too).
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "compressor/compressor_component.h"
#include "compressor/dxt24_threaded.h"
#include "host/host_compression.h"
#include "pixel/synthetic_image.h"
#include "platform/preferences_directory.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Encoder {
    explicit Encoder(int width, int height, KELSettingsValues settings) {
        EXPECT_EQ(HostCompressionCreate(width, height, &settings, Keep, &frame, &compression), noErr);
    }
    ~Encoder() { HostCompressionClose(compression); }
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    const Bytes& Encode(const Bytes& argb) {
        frame.clear();
        EXPECT_EQ(HostCompressionEncodeFrame(compression, argb.data(), 0), noErr);
        return frame;
    }

    static void Keep(void* out, const uint8_t* data, size_t size) {
        static_cast<Bytes*>(out)->assign(data, data + size);
    }

    HostCompression* compression = nullptr;
    Bytes frame;
};

// One host thread's work: its size, thread setting, pictures and their single-thread frames.
struct Job {
    int width, height, threadSetting;
    bool lzf;
    std::vector<Bytes> pictures;
    std::vector<Bytes> expected;
    std::atomic<int> wrong{0};
};

} // namespace

TEST(ConcurrentEncodeTest, FourInstancesOnFourThreadsEncodeExactly) {
    SetPreferencesDirectory("/nonexistent/qzkt-concurrency-tests"); // never the system's file
    ZQN_CompressorRegister();
    ASSERT_FALSE(threadsReady) << "the pool must be started by the threads below";

    // Thread settings 3..9 are 2 to 24 workers; sizes differ so that misplaced slices show.
    const int kFrames = 50, kPictures = 5;
    Job jobs[4] = {{256, 200, 5, true, {}, {}, {}},
                   {192, 136, 9, false, {}, {}, {}},
                   {320, 96, 3, true, {}, {}, {}},
                   {200, 240, 7, false, {}, {}, {}}};
    for (Job& job : jobs) {
        Encoder single(job.width, job.height, {0, 1, uint8_t(job.lzf ? 0 : 1), 2}); // setting 2: 1 thread
        for (int i = 0; i < kPictures; ++i) {
            Bytes picture(size_t(job.width) * job.height * 4);
            FillSyntheticARGB(picture.data(), job.width, job.height, job.width * 4,
                              i * 7 + job.threadSetting);
            job.expected.push_back(single.Encode(picture));
            job.pictures.push_back(std::move(picture));
        }
    }
    ASSERT_FALSE(threadsReady) << "the single-thread encodes must not use the pool";

    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (Job& job : jobs)
        threads.emplace_back([&job, &ready] {
            Encoder encoder(job.width, job.height, {0, 1, uint8_t(job.lzf ? 0 : 1), job.threadSetting});
            ++ready;
            while (ready.load() < 4) // start together, so that the frames meet on the pool
                std::this_thread::yield();
            for (int i = 0; i < kFrames; ++i)
                if (encoder.Encode(job.pictures[i % kPictures]) != job.expected[i % kPictures]) ++job.wrong;
        });
    for (std::thread& thread : threads)
        thread.join();

    for (const Job& job : jobs)
        EXPECT_EQ(job.wrong.load(), 0)
            << job.width << "x" << job.height << ", thread setting " << job.threadSetting;
    EXPECT_TRUE(threadsReady);
}
