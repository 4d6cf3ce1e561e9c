// Threaded DXT24 image encoder: the worker slots, their named semaphores, the pool and the
// slice dispatcher.
#include "dxt24_threaded.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

#include "dxt24_image.h"
#include "pixel/kel_timer.h"

std::atomic<int> KELSemaphore::semaphoreCount{0};

KELSemaphore::KELSemaphore() {
    semaphoreCount.fetch_add(1);
    const int number = semaphoreCount.load();

    char name[1024];
    std::snprintf(name, sizeof name, "kelstart_%d_%d", static_cast<int>(getpid()), number);

    // A name left over by an earlier process with the same id is removed first.
    sem_unlink(name);
    handle = sem_open(name, O_CREAT | O_EXCL, 0777, 0);
    if (handle == SEM_FAILED) std::exit(-1);
}

KELSemaphore::~KELSemaphore() {
    if (handle != nullptr) {
        sem_close(handle);
        handle = nullptr;
    }
}

void KELSemaphore::Wait() {
    // Retry when a signal interrupts the wait; there is no timeout.
    while (sem_wait(handle) != 0 && errno == EINTR) {
    }
}

void KELSemaphore::Post() {
    sem_post(handle);
}

ThreadInfo::ThreadInfo()
    : quit(false), dst(nullptr), src(nullptr), width(0), height(0), rowBytes(0), alpha(false) {}

void* ThreadInfo::RunThread() {
    // quit is tested only after a wait, so that every start post is taken, the stopper's
    // included: a post left behind would stay on the semaphore, which a forked child shares,
    // and start one of its workers on a slot nobody filled.
    for (;;) {
        startSemaphore.Wait();
        if (quit) break; // woken to stop, not to work
        _stbCompressARGB32_to24(dst, src, width, height, rowBytes, alpha);
        doneSemaphore.Post();
    }
    return nullptr;
}

// Constructed at load time in array order (slot 0 gets names 1 and 2, slot 31 gets 63 and
// 64) and destroyed at exit in reverse order, each slot's done semaphore before its start.
// The init priority puts them at a defined point of loading (see dxt24_threaded.h).
ThreadInfo g_threadInfos[kMaxDXT24Threads] __attribute__((init_priority(kSlotsInitPriority)));
std::atomic<int> g_numDXT24Threads{1};
pthread_t g_threadIds[kMaxDXT24Threads];
std::atomic<bool> threadsReady{false};

void* compressThread(void* info) {
    return static_cast<ThreadInfo*>(info)->RunThread();
}

namespace {

// Held by the caller whose frame is on the pool (and while workers start or stop): the slots,
// g_threadIds and the started-worker list below are touched only under it.
std::mutex g_poolMutex;

// Every worker this process started (SetupThreads and the first multi-threaded call each
// start a set), so that exit can stop them all.
const int kMaxStartedWorkers = 8 * kMaxDXT24Threads;
struct StartedWorker {
    pthread_t thread;
    int slot;
};
StartedWorker g_startedWorkers[kMaxStartedWorkers];
int g_startedCount = 0;
pid_t g_poolOwner = 0;

int ClampThreadCount(int count) {
    return count < 1 ? 1 : (count > kMaxDXT24Threads ? kMaxDXT24Threads : count);
}

int StartWorkers() {
    int result = 0;
    for (int i = 0; i < g_numDXT24Threads; ++i) {
        result = pthread_create(&g_threadIds[i], nullptr, compressThread, &g_threadInfos[i]);
        if (result == 0 && g_startedCount < kMaxStartedWorkers)
            g_startedWorkers[g_startedCount++] = {g_threadIds[i], i};
    }
    g_poolOwner = getpid();
    return result;
}

// Destroyed at exit before the slots (it is defined after them): stops and joins the
// workers, so that no worker is still waiting on a semaphore when the slots close them.
// Closing a semaphore unmaps it, and a thread blocked on unmapped memory makes glibc abort
// the exiting process. Only the process that started the pool has workers to stop: a
// forked child inherits the slots but not the threads.
struct PoolStopper {
    ~PoolStopper() {
        const std::lock_guard<std::mutex> lock(g_poolMutex); // waits for a frame on the pool
        if (g_startedCount == 0 || g_poolOwner != getpid()) return;
        for (int i = 0; i < g_startedCount; ++i) {
            g_threadInfos[g_startedWorkers[i].slot].quit = true;
            g_threadInfos[g_startedWorkers[i].slot].startSemaphore.Post();
        }
        for (int i = 0; i < g_startedCount; ++i)
            pthread_join(g_startedWorkers[i].thread, nullptr);
        g_startedCount = 0;
    }
} g_poolStopper;

// Rows per slice for every slot but the last: height / N rounded up to whole block rows
// (at least one block row), or the whole height when that is less.
int SliceHeight(int height, int workers) {
    const int q = height / workers;
    const int slice = q < 4 ? 4 : (q + 3) / 4 * 4;
    return height < slice ? height : slice;
}

} // namespace

int SetupThreads(int count) {
    const std::lock_guard<std::mutex> lock(g_poolMutex);
    g_numDXT24Threads = ClampThreadCount(count);
    return StartWorkers();
}

void stbCompressARGB32_to24_threaded(int threadCount, unsigned short* dst, unsigned char* src, int width,
                                     int height, int rowBytes, bool alpha) {
    // The pool is busy with another caller's frame: this one is encoded here, whole. Same
    // bytes, and no slower than waiting for the pool to finish a frame first.
    std::unique_lock<std::mutex> pool(g_poolMutex, std::defer_lock);
    if (threadCount <= 1 || !pool.try_lock()) {
        _stbCompressARGB32_to24(dst, src, width, height, rowBytes, alpha);
        return;
    }

    if (!threadsReady) {
        threadsReady = true;
        g_numDXT24Threads = ClampThreadCount(threadCount);
        StartWorkers(); // a failed start is not checked: that slot's frame would never finish
    }

    const int workers = g_numDXT24Threads;
    const int pitch = rowBytes != 0 ? rowBytes : width * 4;
    const int slice = SliceHeight(height, workers);
    const long blockRowBytes = static_cast<long>((width + 3) / 4) * 10;

    KELTimer timer; // measures the frame; nothing reads it

    // Every slice is clipped to the image, and slices that start at or past its end are not
    // dispatched: with few rows and many workers the plain split would run past the image
    // and the payload. Only the last slice may end in a partial block row.
    bool posted[kMaxDXT24Threads] = {};
    for (int i = 0; i < workers; ++i) {
        const int firstRow = i * slice;
        const int rowsLeft = height - firstRow;
        const int rows = (i == workers - 1) ? rowsLeft : (rowsLeft < slice ? rowsLeft : slice);
        if (rows <= 0) continue;

        ThreadInfo& slot = g_threadInfos[i];
        slot.dst = reinterpret_cast<unsigned short*>(reinterpret_cast<unsigned char*>(dst) +
                                                     i * static_cast<long>(slice / 4) * blockRowBytes);
        slot.src = src + static_cast<long>(firstRow) * pitch;
        slot.width = width;
        slot.height = rows;
        slot.rowBytes = pitch;
        slot.alpha = alpha;
        slot.startSemaphore.Post();
        posted[i] = true;
    }

    for (int i = 0; i < workers; ++i)
        if (posted[i]) g_threadInfos[i].doneSemaphore.Wait();
}
