// Threaded DXT24 image encoder: the worker slots, their named semaphores, the pool and the
// slice dispatcher.
#include "dxt24_threaded.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <new>
#include <unistd.h>

#include "blocks/dxt24_image.h"
#include "pixel/kel_timer.h"

std::atomic<int> KELSemaphore::semaphoreCount{0};

namespace {

// Who is told each name as it is opened; set only while the slots load.
KELSemaphoreOpenedProc g_semaphoreOpened = nullptr;

// How many taken names one semaphore skips before it gives up. Names are taken only for the
// instant between another process's open and its removal, so a few are plenty.
const int kNameAttempts = 1000;

} // namespace

KELSemaphore::KELSemaphore() : handle(nullptr) {
    for (int attempt = 1;; ++attempt) {
        semaphoreCount.fetch_add(1);
        const int number = semaphoreCount.load();

        char name[1024];
        std::snprintf(name, sizeof name, "kelstart_%d_%d", static_cast<int>(getpid()), number);

        // A name left over by an earlier process with the same id is removed first.
        sem_unlink(name);
        handle = sem_open(name, O_CREAT | O_EXCL, 0777, 0);
        if (handle != SEM_FAILED) {
            if (g_semaphoreOpened != nullptr) g_semaphoreOpened(name);
            return;
        }
        // Taken again between the removal and the open: by a process with the same id in
        // another PID namespace that shares /dev/shm. The next number is as good.
        if (errno != EEXIST || attempt == kNameAttempts) std::exit(-1);
    }
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
    // included: a post left behind would stay on the semaphore for nobody.
    for (;;) {
        startSemaphore.Wait();
        if (quit) break; // woken to stop, not to work
        _stbCompressARGB32_to24(dst, src, width, height, rowBytes, alpha);
        doneSemaphore.Post();
    }
    return nullptr;
}

namespace {

// The slots live in static storage and are constructed by LoadDXT24WorkerSlots.
alignas(ThreadInfo) unsigned char g_slotStorage[sizeof(ThreadInfo) * kMaxDXT24Threads];

} // namespace

ThreadInfo* const g_threadInfos = reinterpret_cast<ThreadInfo*>(g_slotStorage);
std::atomic<int> g_numDXT24Threads{1};
pthread_t g_threadIds[kMaxDXT24Threads];
std::atomic<bool> threadsReady{false};

void* compressThread(void* info) {
    return static_cast<ThreadInfo*>(info)->RunThread();
}

namespace {

// Held by the caller whose frame is on the pool, while the slots load, while workers start or
// stop, and across fork(): the slots, g_threadIds and the state below are touched only under it.
std::mutex g_poolMutex;

bool g_slotsConstructed = false;         // the storage holds slots (this process's or a parent's)
std::atomic<bool> g_slotsOwn{false};     // ... and this process loaded them
std::atomic<bool> g_slotsLoading{false}; // a load is under way (a failed one ends the process)

// Every worker this process started (SetupThreads and the first multi-threaded call each
// start a set), so that exit can stop them all.
const int kMaxStartedWorkers = 8 * kMaxDXT24Threads;
struct StartedWorker {
    pthread_t thread;
    int slot;
};
StartedWorker g_startedWorkers[kMaxStartedWorkers];
int g_startedCount = 0;

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
    return result;
}

// Stops and joins this process's workers, so that no worker is still waiting on a semaphore
// when its slot closes it: closing a semaphore unmaps it, and a thread blocked on unmapped
// memory makes glibc abort the exiting process.
void StopWorkers() {
    for (int i = 0; i < g_startedCount; ++i) {
        g_threadInfos[g_startedWorkers[i].slot].quit = true;
        g_threadInfos[g_startedWorkers[i].slot].startSemaphore.Post();
    }
    for (int i = 0; i < g_startedCount; ++i)
        pthread_join(g_startedWorkers[i].thread, nullptr);
    g_startedCount = 0;
}

// Slot 31 down to 0, each slot's done semaphore before its start semaphore.
void DestroySlots() {
    for (int i = kMaxDXT24Threads - 1; i >= 0; --i)
        g_threadInfos[i].~ThreadInfo();
    g_slotsConstructed = false;
    g_slotsOwn = false;
}

// Registered at the first load: the workers stop, then the slots close their semaphores.
// Nothing is done when the process ends inside a load (a semaphore that could not be made, in
// a forked child's second load): the loading thread holds the pool, and waiting would hang.
void UnloadAtExit() {
    if (g_slotsLoading) return;
    const std::lock_guard<std::mutex> lock(g_poolMutex); // waits for a frame on the pool
    if (!g_slotsConstructed) return;
    if (g_slotsOwn) StopWorkers();
    DestroySlots();
}

// fork(): the pool's lock is taken across it, so the child never inherits it held or a
// half-loaded slot array. The child has none of the parent's threads, and its slots'
// semaphores are the parent's: it forgets them both and loads its own when its host next
// loads the compressor.
void LockPoolForFork() {
    g_poolMutex.lock();
}
void UnlockPoolInParent() {
    g_poolMutex.unlock();
}
void ForgetParentPoolInChild() {
    g_slotsOwn = false;
    threadsReady = false;
    g_startedCount = 0;
    g_poolMutex.unlock();
}

// Rows per slice for every slot but the last: height / N rounded up to whole block rows
// (at least one block row), or the whole height when that is less.
int SliceHeight(int height, int workers) {
    const int q = height / workers;
    const int slice = q < 4 ? 4 : (q + 3) / 4 * 4;
    return height < slice ? height : slice;
}

} // namespace

void LoadDXT24WorkerSlots(KELSemaphoreOpenedProc opened) {
    const std::lock_guard<std::mutex> lock(g_poolMutex);
    if (g_slotsOwn) return;
    static bool forkHandlersInstalled = false;
    if (!forkHandlersInstalled) {
        pthread_atfork(LockPoolForFork, UnlockPoolInParent, ForgetParentPoolInChild);
        forkHandlersInstalled = true;
    }
    if (g_slotsConstructed) DestroySlots(); // a forked child's copy of its parent's slots

    KELSemaphore::semaphoreCount = 0;
    g_semaphoreOpened = opened;
    g_slotsLoading = true;
    for (int i = 0; i < kMaxDXT24Threads; ++i)
        new (&g_threadInfos[i]) ThreadInfo();
    g_slotsLoading = false;
    g_semaphoreOpened = nullptr;
    g_slotsConstructed = true;
    g_slotsOwn = true;

    static bool exitHandlerRegistered = false;
    if (!exitHandlerRegistered) {
        std::atexit(UnloadAtExit);
        exitHandlerRegistered = true;
    }
}

bool DXT24WorkerSlotsLoaded() {
    return g_slotsOwn.load();
}

int SetupThreads(int count) {
    const std::lock_guard<std::mutex> lock(g_poolMutex);
    if (!g_slotsOwn) return EAGAIN;
    g_numDXT24Threads = ClampThreadCount(count);
    return StartWorkers();
}

void stbCompressARGB32_to24_threaded(int threadCount, unsigned short* dst, unsigned char* src, int width,
                                     int height, int rowBytes, bool alpha) {
    // The pool is busy with another caller's frame, or this process has no slots of its own:
    // this frame is encoded here, whole. Same bytes, and no slower than waiting for the pool
    // to finish a frame first.
    std::unique_lock<std::mutex> pool(g_poolMutex, std::defer_lock);
    if (threadCount <= 1 || !pool.try_lock() || !g_slotsOwn) {
        if (pool.owns_lock()) pool.unlock();
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

    KELTimer
        timer; // the encoder's defined steps make one per frame; nothing reads it (docs/kept-on-purpose.md)

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
