// Threaded DXT24 image encoder: splits a frame into horizontal slices of whole block rows
// and encodes them at once on a process-wide pool of up to 32 worker threads.
//
// Lifetime: the 32 worker slots and their 64 named POSIX semaphores ("kelstart_<pid>_<n>",
// n = 1..64) are made by LoadDXT24WorkerSlots, the module's load routine, which the host runs
// when it loads the compressor (on Linux: at the compressor's first open, never when a library
// holding this code is loaded). They are closed at process exit. The pool itself starts on the
// first call with threadCount > 1 after loading and runs until the process exits, when its
// workers are stopped and joined before the semaphores are closed.
//
// fork(): the slots of a forked child are its parent's (their semaphores are shared memory,
// and the workers waiting on them are the parent's threads), so the child treats the module as
// not loaded. Until it loads the slots again, with its own process id, every frame is encoded
// on the calling thread (same bytes); the parent is unaffected.
//
// One dispatcher at a time: the pool serves one frame at a time. A call that finds the pool
// busy with another caller's frame (several compressor instances encoding on several threads)
// does not wait for it: it encodes its whole frame on its own thread, which gives the same
// bytes and is never slower than queueing behind a frame of the same size.
#pragma once

#include <atomic>
#include <pthread.h>
#include <semaphore.h>

// One POSIX named semaphore, created with a process-unique name at construction.
// A failed creation ends the process with status -1.
class KELSemaphore {
  public:
    KELSemaphore();
    ~KELSemaphore();
    KELSemaphore(const KELSemaphore&) = delete;
    KELSemaphore& operator=(const KELSemaphore&) = delete;

    void Wait();
    void Post();

    sem_t* handle;
    // Makes names unique within the process; the first semaphore gets 1. A name that another
    // process has taken in the instant between its removal and the open (a process with the
    // same id in another PID namespace that shares /dev/shm) is skipped for the next number.
    static std::atomic<int> semaphoreCount;
};

// The job slot of one worker. The start post hands the fields to the worker; the done post
// hands the encoded blocks back, so a slot is never rewritten while its worker runs.
struct ThreadInfo {
    ThreadInfo();

    // The worker loop: wait for a job, encode the slice, report it done. It ends when it is
    // woken with quit set, which happens only at process exit, so that the slots' semaphores
    // are never closed under a waiting worker. compressThread runs this loop.
    void* RunThread();

    KELSemaphore startSemaphore;
    KELSemaphore doneSemaphore;
    std::atomic<bool> quit; // set only at exit, to stop the worker
    unsigned short* dst;    // where this slice's blocks go
    unsigned char* src;     // first source row of the slice
    int width;              // image width in pixels
    int height;             // rows in this slice
    int rowBytes;           // source row pitch in bytes
    bool alpha;
};

const int kMaxDXT24Threads = 32;

// Told the name of each semaphore right after it is opened, on the loading thread. The
// library removes the name there and then: the semaphore keeps working without it.
typedef void (*KELSemaphoreOpenedProc)(const char* name);

// The module's load routine: constructs the 32 slots in array order (slot 0 gets names 1 and
// 2, slot 31 gets 63 and 64), telling opened (may be null) each name, and arranges for them to
// be closed at exit. Does nothing when this process has loaded them already; in a forked child
// it first closes the parent's slots and counts names from 1 again. A semaphore that cannot be
// made ends the process with status -1, as a failed load does; a host checks /dev/shm first.
void LoadDXT24WorkerSlots(KELSemaphoreOpenedProc opened);

// True when this process (not a parent it was forked from) has loaded the slots.
bool DXT24WorkerSlotsLoaded();

// The slots (kMaxDXT24Threads of them, valid once loaded) and the pool's state. A dispatcher
// fills slots only while it holds the pool; g_numDXT24Threads and threadsReady are atomics,
// read without holding it.
extern ThreadInfo* const g_threadInfos;
extern std::atomic<int> g_numDXT24Threads;
extern pthread_t g_threadIds[kMaxDXT24Threads];
extern std::atomic<bool> threadsReady;

// Thread entry: info is one ThreadInfo. Returns null when its loop ends (it never does).
void* compressThread(void* info);

// Sets g_numDXT24Threads to count clamped to 1..32 and starts that many workers; returns the
// result of the last pthread_create (EAGAIN when the slots are not loaded). Does not mark the
// pool ready. Kept on purpose as an entry point with no product caller (docs/kept-on-purpose.md).
int SetupThreads(int count);

extern "C" {
// Encodes a 32-bit ARGB image into its DXT24 payload (see _stbCompressARGB32_to24) and
// returns when it is complete. threadCount <= 1 encodes on the calling thread, and so does
// every call before this process has loaded the slots. Otherwise the first such call fixes the
// pool size (clamped to 1..32) for the life of the process and every multi-threaded call uses
// that many workers, whatever threadCount says; a call made while another thread's frame is on
// the pool encodes on the calling thread instead. The payload is byte-identical to the
// single-threaded one for every thread count. Safe to call from several threads at once.
void stbCompressARGB32_to24_threaded(int threadCount, unsigned short* dst, unsigned char* src, int width,
                                     int height, int rowBytes, bool alpha);
}
