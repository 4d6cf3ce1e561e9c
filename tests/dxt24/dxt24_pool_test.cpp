// The threaded DXT24 encoder. The pool's size is fixed by the first multi-threaded call of
// a process, so every pool configuration runs in a forked child of a process that has not
// started its pool; the child reports through its exit status.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "dxt24/dxt24_image.h"
#include "dxt24/dxt24_threaded.h"
#include "pixel/synthetic_image.h"

namespace {

struct Size {
    int width, height;
};

size_t PayloadSize(int width, int height) {
    return static_cast<size_t>((width + 3) / 4) * ((height + 3) / 4) * 10;
}

struct Case {
    Size size;
    std::vector<unsigned char> image;
    std::vector<unsigned char> reference; // single-thread payload
};

std::vector<Case> MakeCases(const std::vector<Size>& sizes) {
    std::vector<Case> cases;
    for (const Size& s : sizes) {
        Case c{s, std::vector<unsigned char>(static_cast<size_t>(s.width) * s.height * 4), {}};
        FillSyntheticARGB(c.image.data(), s.width, s.height, s.width * 4, s.width ^ s.height);
        c.reference.resize(PayloadSize(s.width, s.height));
        _stbCompressARGB32_to24(reinterpret_cast<unsigned short*>(c.reference.data()), c.image.data(),
                                s.width, s.height, 0, false);
        cases.push_back(std::move(c));
    }
    return cases;
}

// Encodes every case through the pool into an exact-size heap buffer (so the sanitizer
// build catches any write past the payload) and counts the payloads that differ.
int CountMismatches(int threadCount, std::vector<Case>& cases) {
    int mismatches = 0;
    for (Case& c : cases) {
        unsigned char* payload = static_cast<unsigned char*>(std::malloc(c.reference.size()));
        stbCompressARGB32_to24_threaded(threadCount, reinterpret_cast<unsigned short*>(payload),
                                        c.image.data(), c.size.width, c.size.height, 0, false);
        if (std::memcmp(payload, c.reference.data(), c.reference.size()) != 0) {
            std::fprintf(stderr, "threads %d, %dx%d: payload differs\n", threadCount, c.size.width,
                         c.size.height);
            ++mismatches;
        }
        std::free(payload);
    }
    return mismatches;
}

// Runs body in a forked child and returns its exit status (or 128 + signal).
int RunInChild(const std::function<int()>& body) {
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) _exit(body());
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Slot i's slice as the last call left it, relative to the image and the payload.
struct Slice {
    int rows;
    long srcOffset, dstOffset;
};

void MarkSlotsUnused() {
    for (ThreadInfo& slot : g_threadInfos)
        slot.height = -1;
}

Slice SliceOf(int i, const unsigned char* image, const unsigned char* payload) {
    const ThreadInfo& slot = g_threadInfos[i];
    return {slot.height, static_cast<long>(slot.src - image),
            static_cast<long>(reinterpret_cast<unsigned char*>(slot.dst) - payload)};
}

std::vector<std::string> OwnSemaphoreNames(pid_t pid) {
    const std::string prefix = "sem.kelstart_" + std::to_string(pid) + "_";
    std::vector<std::string> names;
    if (DIR* dir = opendir("/dev/shm")) {
        while (const dirent* entry = readdir(dir))
            if (std::strncmp(entry->d_name, prefix.c_str(), prefix.size()) == 0)
                names.push_back(entry->d_name);
        closedir(dir);
    }
    return names;
}

} // namespace

TEST(DXT24Pool, PayloadMatchesSingleThreadForEveryWorkerCount) {
    ASSERT_FALSE(threadsReady) << "this process must not have started its pool";
    std::vector<Size> sizes = {{1920, 1080}, {1280, 720}, {641, 363}, {100, 100}, {33, 17}};
    for (int width = 1; width <= 9; ++width)
        for (int height : {1, 2, 3, 4, 5, 7, 8, 12, 13, 31, 64, 67})
            sizes.push_back({width, height});
    std::vector<Case> cases = MakeCases(sizes);

    for (int workers = 2; workers <= 32; ++workers)
        EXPECT_EQ(0, RunInChild([&] {
                      return CountMismatches(workers, cases) + (g_numDXT24Threads != workers ? 100 : 0);
                  }))
            << workers << " workers";
}

TEST(DXT24Pool, SlicesFollowTheDivisionRuleClippedToTheImage) {
    ASSERT_FALSE(threadsReady);
    const int status = RunInChild([] {
        int failures = 0;
        auto check = [&](bool ok, const char* what) {
            if (!ok) std::fprintf(stderr, "slice check failed: %s\n", what), ++failures;
        };
        std::vector<unsigned char> image(1920 * 1080 * 4, 0x40);
        std::vector<unsigned char> payload(PayloadSize(1920, 1080));
        unsigned char* img = image.data();
        unsigned char* out = payload.data();
        unsigned short* dst = reinterpret_cast<unsigned short*>(out);

        // 1080 rows on 8 workers: 136 rows each for slots 0..6, the remaining 128 for slot 7.
        stbCompressARGB32_to24_threaded(8, dst, img, 1920, 1080, 0, false);
        for (int i = 0; i < 8; ++i) {
            const Slice s = SliceOf(i, img, out);
            check(s.rows == (i < 7 ? 136 : 128), "1080/8 rows");
            check(s.srcOffset == i * 136L * 1920 * 4, "1080/8 source");
            check(s.dstOffset == i * 34L * 480 * 10, "1080/8 destination");
        }

        // The pool stays at 8 workers: a later call asking for 3 still splits eight ways,
        // 720 rows as 92 (90 rounded up to whole block rows) for slots 0..6 and 76 for slot 7.
        MarkSlotsUnused();
        stbCompressARGB32_to24_threaded(3, dst, img, 1280, 720, 0, false);
        check(g_numDXT24Threads == 8, "pool size fixed by the first call");
        for (int i = 0; i < 8; ++i)
            check(SliceOf(i, img, out).rows == (i < 7 ? 92 : 76), "720/8 rows");

        // 100 rows on 8 workers: q = 12, slices of 12, the last slice takes the remaining 16.
        MarkSlotsUnused();
        stbCompressARGB32_to24_threaded(8, dst, img, 64, 100, 0, false);
        for (int i = 0; i < 8; ++i)
            check(SliceOf(i, img, out).rows == (i < 7 ? 12 : 16), "100/8 rows");

        // 20 rows on 8 workers: slices of 4 rows; slots 0..4 cover the image, slots 5..7
        // would start past it and are not dispatched.
        MarkSlotsUnused();
        stbCompressARGB32_to24_threaded(8, dst, img, 64, 20, 0, false);
        for (int i = 0; i < 8; ++i)
            check(SliceOf(i, img, out).rows == (i < 5 ? 4 : -1), "20/8 rows");

        // 3 rows: the slice is the whole height, only slot 0 works.
        MarkSlotsUnused();
        stbCompressARGB32_to24_threaded(8, dst, img, 64, 3, 0, false);
        for (int i = 0; i < 8; ++i)
            check(SliceOf(i, img, out).rows == (i == 0 ? 3 : -1), "3/8 rows");
        return failures;
    });
    EXPECT_EQ(0, status);

    // 720 rows on 7 workers: q = 102 rounds up to 104; slots 0..5 get 104, slot 6 gets 96.
    EXPECT_EQ(0, RunInChild([] {
                  std::vector<unsigned char> image(16 * 720 * 4), payload(PayloadSize(16, 720));
                  stbCompressARGB32_to24_threaded(7, reinterpret_cast<unsigned short*>(payload.data()),
                                                  image.data(), 16, 720, 0, false);
                  int bad = 0;
                  for (int i = 0; i < 7; ++i)
                      bad += g_threadInfos[i].height != (i < 6 ? 104 : 96);
                  return bad;
              }));
}

TEST(DXT24Pool, PoolStartsOnTheFirstMultiThreadedCallOnly) {
    ASSERT_FALSE(threadsReady);
    // Counts 0 and 1 encode on the calling thread and leave the pool unstarted; the first
    // call with 8 starts eight workers.
    EXPECT_EQ(0, RunInChild([] {
                  std::vector<unsigned char> image(64 * 64 * 4, 9), payload(PayloadSize(64, 64));
                  unsigned short* dst = reinterpret_cast<unsigned short*>(payload.data());
                  stbCompressARGB32_to24_threaded(0, dst, image.data(), 64, 64, 0, false);
                  stbCompressARGB32_to24_threaded(1, dst, image.data(), 64, 64, 0, false);
                  if (threadsReady) return 1;
                  stbCompressARGB32_to24_threaded(8, dst, image.data(), 64, 64, 0, false);
                  return threadsReady && g_numDXT24Threads == 8 ? 0 : 2;
              }));
    // A first call with 100 workers starts the 32 there are slots for.
    EXPECT_EQ(0, RunInChild([] {
                  std::vector<unsigned char> image(64 * 256 * 4, 9), payload(PayloadSize(64, 256));
                  stbCompressARGB32_to24_threaded(100, reinterpret_cast<unsigned short*>(payload.data()),
                                                  image.data(), 64, 256, 0, false);
                  return g_numDXT24Threads == 32 ? 0 : 1;
              }));
}

TEST(DXT24Pool, ProcessWithARunningPoolExitsCleanly) {
    ASSERT_FALSE(threadsReady);
    // A host that encoded on the pool and then returns from main (or calls exit) runs the
    // static destructors that close the slots' semaphores while the workers wait on them;
    // the workers must be stopped first or glibc aborts the exiting process.
    // A worker stopped just after finishing its slice is the rare case: several rounds.
    for (int workers : {2, 32, 32, 32, 32}) {
        EXPECT_EQ(0, RunInChild([workers] {
                      std::vector<unsigned char> image(64 * 256 * 4, 9), payload(PayloadSize(64, 256));
                      stbCompressARGB32_to24_threaded(workers,
                                                      reinterpret_cast<unsigned short*>(payload.data()),
                                                      image.data(), 64, 256, 0, false);
                      std::exit(0); // runs the static destructors, unlike returning into _exit
                      return 1;
                  }))
            << workers << " workers";
        // Stopping takes exactly the posts it makes: a forked child shares these semaphores,
        // and a post left on one would start a worker on a slot nobody filled.
        for (int slot = 0; slot < kMaxDXT24Threads; ++slot)
            for (const KELSemaphore* semaphore :
                 {&g_threadInfos[slot].startSemaphore, &g_threadInfos[slot].doneSemaphore}) {
                int value = -1;
                ASSERT_EQ(sem_getvalue(semaphore->handle, &value), 0);
                EXPECT_EQ(value, 0) << workers << " workers, slot " << slot;
            }
    }
}

TEST(DXT24Pool, SemaphoreNamesAreGoneOnceTheHostStarts) {
    // All 64 semaphores were opened at load time, named kelstart_<pid>_1 .. _64.
    EXPECT_EQ(KELSemaphore::semaphoreCount.load(), 64);
    for (const ThreadInfo& slot : g_threadInfos) {
        EXPECT_NE(slot.startSemaphore.handle, nullptr);
        EXPECT_NE(slot.doneSemaphore.handle, nullptr);
    }
    // The test host removed its names first thing in main().
    EXPECT_TRUE(OwnSemaphoreNames(getpid()).empty());

    // A host killed with SIGKILL leaves nothing behind either: start this test program as a
    // child that waits forever, kill it, and look for its names.
    int ready[2];
    ASSERT_EQ(0, pipe(ready));
    const pid_t child = fork();
    if (child == 0) {
        dup2(ready[1], STDOUT_FILENO);
        setenv("QZKT_POOL_TEST_WAIT", "1", 1);
        execl("/proc/self/exe", "dxt24_pool_tests", "--gtest_filter=DXT24Pool.HostThatWaitsToBeKilled",
              nullptr);
        _exit(127);
    }
    close(ready[1]);
    char buffer[4096];
    std::string output;
    ssize_t n;
    while (output.find("waiting") == std::string::npos && (n = read(ready[0], buffer, sizeof buffer)) > 0)
        output.append(buffer, static_cast<size_t>(n));
    ASSERT_NE(output.find("waiting"), std::string::npos) << output;
    EXPECT_TRUE(OwnSemaphoreNames(child).empty());
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ready[0]);
    EXPECT_TRUE(OwnSemaphoreNames(child).empty());
}

TEST(DXT24Pool, HostThatWaitsToBeKilled) {
    if (std::getenv("QZKT_POOL_TEST_WAIT") == nullptr)
        GTEST_SKIP() << "started only by the semaphore-name test";
    std::printf("waiting\n");
    std::fflush(stdout);
    for (;;)
        pause();
}
