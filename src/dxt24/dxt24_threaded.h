// Threaded DXT24 image encoder: splits a frame into horizontal slices of whole block rows
// and encodes them at once on a process-wide pool of up to 32 worker threads.
//
// Lifetime: the 32 worker slots and their 64 named POSIX semaphores ("kelstart_<pid>_<n>",
// n = 1..64) are created when the library is loaded and closed at process exit. Their names
// are never unlinked by the codec; a host that wants /dev/shm clean removes its own
// process's names once the codec has opened them (see platform/semaphore_names.h).
// The pool itself starts on the first call with threadCount > 1 and runs until the process
// exits, when its workers are stopped and joined before the semaphores are closed.
//
// One dispatcher at a time: the pool serves one frame at a time. A call that finds the pool
// busy with another caller's frame (several compressor instances encoding on several threads)
// does not wait for it: it encodes its whole frame on its own thread, which gives the same
// bytes and is never slower than queueing behind a frame of the same size.
//
// Load order: the slots are constructed at init priority 200, before any object of default
// priority. The platform layer's load-time exit report registers itself before them (priority
// 150) so that a failed semaphore creation does not end the process without a word; a host
// library that removes its process's semaphore names at load does so after them (priority
// 300).
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
    // Makes names unique within the process; the first semaphore gets 1.
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

// Init priority of the slots (see the load order above).
const int kSlotsInitPriority = 200;

// The slots and the pool's state. A dispatcher fills slots only while it holds the pool;
// g_numDXT24Threads and threadsReady are atomics, read without holding it.
extern ThreadInfo g_threadInfos[kMaxDXT24Threads];
extern std::atomic<int> g_numDXT24Threads;
extern pthread_t g_threadIds[kMaxDXT24Threads];
extern std::atomic<bool> threadsReady;

// Thread entry: info is one ThreadInfo. Returns null when its loop ends (it never does).
void* compressThread(void* info);

// Sets g_numDXT24Threads to count clamped to 1..32 and starts that many workers; returns the
// result of the last pthread_create. Does not mark the pool ready; kept as an entry point.
int SetupThreads(int count);

extern "C" {
// Encodes a 32-bit ARGB image into its DXT24 payload (see _stbCompressARGB32_to24) and
// returns when it is complete. threadCount <= 1 encodes on the calling thread. Otherwise
// the first such call fixes the pool size (clamped to 1..32) for the life of the process
// and every multi-threaded call uses that many workers, whatever threadCount says; a call
// made while another thread's frame is on the pool encodes on the calling thread instead.
// The payload is byte-identical to the single-threaded one for every thread count. Safe to
// call from several threads at once.
void stbCompressARGB32_to24_threaded(int threadCount, unsigned short* dst, unsigned char* src, int width,
                                     int height, int rowBytes, bool alpha);
}
