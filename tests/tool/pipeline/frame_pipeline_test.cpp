// The frame pipeline on its own: jobs come back in the order they went in whatever the
// workers' timing, each worker keeps to its own state, no more than one job more than there
// are workers is in flight, a job's exception surfaces in its turn, and stopping early never
// hangs; and the frame buffers the jobs hold.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "cli/options.h"
#include "media/frame_buffer.h"
#include "pipeline/frame_pipeline.h"

namespace {

struct Worker {
    std::thread::id thread; // the one thread that may use this worker
    int jobsDone = 0;
};

struct Job {
    int index = -1;
    int result = -1;
};

// Sleeps a few microseconds that vary with the job, so that jobs finish out of order.
void Jitter(int index) {
    std::this_thread::sleep_for(std::chrono::microseconds((index * 7919) % 13 * 50));
}

std::vector<std::unique_ptr<Worker>> Workers(int count) {
    std::vector<std::unique_ptr<Worker>> workers;
    for (int i = 0; i < count; ++i)
        workers.push_back(std::make_unique<Worker>());
    return workers;
}

} // namespace

TEST(FramePipeline, DeliversInOrderWithinTheBoundOnEachWorkersOwnThread) {
    for (int workers : {1, 2, 4, 7}) {
        const int jobs = 300;
        std::atomic<int> deliveredCount{0}, mostInFlight{0};
        std::atomic<bool> sharedWorker{false};
        std::vector<int> delivered;
        {
            FramePipeline<Worker, Job> pipeline(
                Workers(workers),
                [&](Worker& worker, Job& job) {
                    if (worker.thread == std::thread::id())
                        worker.thread = std::this_thread::get_id();
                    else if (worker.thread != std::this_thread::get_id())
                        sharedWorker = true;
                    ++worker.jobsDone;
                    // Every job from the oldest undelivered one to this one is in flight.
                    const int inFlight = job.index - deliveredCount + 1;
                    for (int most = mostInFlight;
                         inFlight > most && !mostInFlight.compare_exchange_weak(most, inFlight);) {
                    }
                    Jitter(job.index);
                    job.result = job.index * 3;
                },
                [&](Job& job) {
                    ++deliveredCount;
                    EXPECT_EQ(job.result, job.index * 3);
                    delivered.push_back(job.index);
                });
            for (int i = 0; i < jobs; ++i) {
                Job job = pipeline.Take();
                job.index = i;
                job.result = -1;
                pipeline.Push(job);
            }
            pipeline.Finish();
        }
        ASSERT_EQ(delivered.size(), static_cast<size_t>(jobs)) << workers;
        for (int i = 0; i < jobs; ++i)
            ASSERT_EQ(delivered[i], i) << workers;
        EXPECT_FALSE(sharedWorker) << workers;
        EXPECT_LE(mostInFlight, workers + 1) << workers;
    }
}

// Every job holds frame-sized buffers that are memory touched for the first time (a 1080p
// picture costs milliseconds of page faults), so Take hands back a delivered job rather than a
// new one whenever the pipeline is full: no more jobs are ever made than can be in flight.
TEST(FramePipeline, TakeReusesDeliveredJobsInsteadOfMakingNewOnes) {
    for (int workers : {1, 2, 4}) {
        int made = 0;
        FramePipeline<Worker, Job> pipeline(
            Workers(workers), [](Worker&, Job& job) { Jitter(job.index); }, [](Job&) {});
        for (int i = 0; i < 100; ++i) {
            Job job = pipeline.Take();
            if (job.index == -1) ++made; // a new job; a delivered one keeps its last index
            job.index = i;
            pipeline.Push(job);
        }
        pipeline.Finish();
        EXPECT_EQ(made, workers == 1 ? 1 : workers + 1) << workers << " workers";
    }
}

TEST(FramePipeline, OneWorkerRunsOnTheCallingThread) {
    std::thread::id workThread, deliverThread;
    FramePipeline<Worker, Job> pipeline(
        Workers(1), [&](Worker&, Job&) { workThread = std::this_thread::get_id(); },
        [&](Job&) { deliverThread = std::this_thread::get_id(); });
    pipeline.Push(Job{});
    // Delivered inside Push, before it returns.
    EXPECT_EQ(workThread, std::this_thread::get_id());
    EXPECT_EQ(deliverThread, std::this_thread::get_id());
}

TEST(FramePipeline, AJobsExceptionSurfacesInItsTurnAndStopsTheRest) {
    for (int workers : {1, 3}) {
        for (int failing : {0, 5, 37}) {
            std::vector<int> delivered;
            std::string error;
            try {
                FramePipeline<Worker, Job> pipeline(
                    Workers(workers),
                    [&](Worker&, Job& job) {
                        Jitter(job.index);
                        if (job.index == failing) throw std::runtime_error("job " + std::to_string(failing));
                    },
                    [&](Job& job) { delivered.push_back(job.index); });
                for (int i = 0; i < 100; ++i) {
                    Job job;
                    job.index = i;
                    pipeline.Push(job);
                }
                pipeline.Finish();
            } catch (const std::runtime_error& e) {
                error = e.what();
            }
            EXPECT_EQ(error, "job " + std::to_string(failing));
            ASSERT_EQ(delivered.size(), static_cast<size_t>(failing)) << workers << " workers";
            for (int i = 0; i < failing; ++i)
                EXPECT_EQ(delivered[i], i);
        }
    }
}

TEST(FramePipeline, DestroyingWithJobsInFlightDoesNotWaitForThem) {
    std::atomic<int> worked{0};
    {
        FramePipeline<Worker, Job> pipeline(
            Workers(2),
            [&](Worker&, Job&) {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                ++worked;
            },
            [](Job&) {});
        for (int i = 0; i < 3; ++i)
            pipeline.Push(Job{}); // fills the three slots without waiting
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    // The jobs being worked on finish; the queued ones are dropped (a hang fails by timeout).
    EXPECT_LE(worked, 2);
}

// Frame buffers skip clearing and map large sizes on their own: the bytes must still survive
// shrinking, growing (the large mapping moved to a new one) and swapping, at both sizes.
TEST(FrameBytes, KeepTheirBytesThroughResizeGrowthAndSwap) {
    for (const size_t size : {size_t{1000}, size_t{1920} * 1080 * 4}) {
        FrameBytes bytes(size);
        for (size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<uint8_t>(i * 131 + 7);
        bytes.resize(size / 2); // keeps the room
        bytes.resize(size);
        bytes.resize(3 * size); // a new buffer: the first size bytes move over
        bytes.shrink_to_fit();
        FrameBytes other;
        other.swap(bytes);
        ASSERT_EQ(other.size(), 3 * size);
        EXPECT_TRUE(bytes.empty());
        size_t wrong = 0;
        for (size_t i = 0; i < size; ++i)
            wrong += other[i] != static_cast<uint8_t>(i * 131 + 7);
        EXPECT_EQ(wrong, 0u) << size;
        other[3 * size - 1] = 1; // the whole size is writable
        // and so is the room after it, for FFmpeg's converters (checked under AddressSanitizer)
        for (size_t i = 0; i < kFrameBytesSlack; ++i)
            other.data()[3 * size + i] = 2;
    }
}
