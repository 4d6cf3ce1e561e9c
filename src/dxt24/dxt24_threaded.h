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
// One dispatcher at a time: two simultaneous calls of stbCompressARGB32_to24_threaded are
// not supported (the slots are plain globals). The compressor calls it from one thread.
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
    bool quit;           // set only at exit, to stop the worker
    unsigned short* dst; // where this slice's blocks go
    unsigned char* src;  // first source row of the slice
    int width;           // image width in pixels
    int height;          // rows in this slice
    int rowBytes;        // source row pitch in bytes
    bool alpha;
};

const int kMaxDXT24Threads = 32;

extern ThreadInfo g_threadInfos[kMaxDXT24Threads];
extern int g_numDXT24Threads;
extern pthread_t g_threadIds[kMaxDXT24Threads];
extern bool threadsReady;

// Thread entry: info is one ThreadInfo. Returns null when its loop ends (it never does).
void* compressThread(void* info);

// Sets g_numDXT24Threads to count clamped to 1..32 and starts that many workers; returns the
// result of the last pthread_create. Does not mark the pool ready; kept as an entry point.
int SetupThreads(int count);

extern "C" {
// Encodes a 32-bit ARGB image into its DXT24 payload (see _stbCompressARGB32_to24) and
// returns when it is complete. threadCount <= 1 encodes on the calling thread. Otherwise
// the first such call fixes the pool size (clamped to 1..32) for the life of the process
// and every multi-threaded call uses that many workers, whatever threadCount says.
// The payload is byte-identical to the single-threaded one for every thread count.
void stbCompressARGB32_to24_threaded(int threadCount, unsigned short* dst, unsigned char* src, int width,
                                     int height, int rowBytes, bool alpha);
}
