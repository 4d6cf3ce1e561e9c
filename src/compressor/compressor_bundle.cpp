// The compressor bundle's loader: a check of /dev/shm, the DXT24 worker slots with their names
// removed as they open, and a last word should the codec end the process while it loads.
#include "compressor_bundle.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <semaphore.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "compressor/dxt24_threaded.h"

namespace {

const char kSemaphoreProblem[] = "cannot create the DXT24 encoder's named semaphores in /dev/shm";

thread_local char t_problem[160];
std::atomic<bool> g_loading{false};

// glibc keeps each named semaphore as a one-page file in /dev/shm, made under a temporary
// name and then linked to its own: the slots need two files at a time for each semaphore.
const unsigned long kSemaphoreFiles = 2 * kMaxDXT24Threads + 1;

// 0 when /dev/shm can take the slots' semaphores now, else the system's reason. The space
// check covers a full /dev/shm; one semaphore made and removed covers everything else
// (read-only, missing, no permission) with the reason sem_open itself gives.
int NamedSemaphoreError() {
    struct statvfs shm;
    if (statvfs("/dev/shm", &shm) != 0) return errno;
    if ((shm.f_flag & ST_RDONLY) != 0) return EROFS;
    const unsigned long page = static_cast<unsigned long>(sysconf(_SC_PAGESIZE));
    if (shm.f_blocks != 0 && shm.f_bavail * shm.f_frsize < kSemaphoreFiles * page) return ENOSPC;
    if (shm.f_files != 0 && shm.f_favail < kSemaphoreFiles) return ENOSPC;

    // A probe name left by a process killed in this instant is removed first; one that another
    // PID namespace's process (with the same pid) takes meanwhile is left to it: the next
    // number is as good.
    for (int attempt = 0; attempt < 1000; ++attempt) {
        char name[64];
        std::snprintf(name, sizeof name, "kelprobe_%d_%d", static_cast<int>(getpid()), attempt);
        sem_unlink(name);
        sem_t* probe = sem_open(name, O_CREAT | O_EXCL, 0600, 0);
        if (probe == SEM_FAILED && errno == EEXIST) continue;
        if (probe == SEM_FAILED) return errno;
        sem_unlink(name);
        sem_close(probe);
        return 0;
    }
    return EEXIST;
}

void RemoveName(const char* name) {
    sem_unlink(name);
}

// Names that processes killed in the instant between an open and its removal left behind
// (the slots' and the probe's). No process ever opens an existing one of these names (each is
// created exclusively, and its semaphore works without its name), so removing one never
// harms its maker, even a live one in another PID namespace; only names some seconds old are
// taken, to be sure they are debris.
void RemoveLeftOverNames() {
    const time_t now = time(nullptr);
    DIR* shm = opendir("/dev/shm");
    if (shm == nullptr) return;
    while (const dirent* entry = readdir(shm)) {
        if (std::strncmp(entry->d_name, "sem.kelstart_", 13) != 0 &&
            std::strncmp(entry->d_name, "sem.kelprobe_", 13) != 0)
            continue;
        struct stat st;
        if (fstatat(dirfd(shm), entry->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(st.st_mode) &&
            now - st.st_ctime > 2)
            unlinkat(dirfd(shm), entry->d_name, 0);
    }
    closedir(shm);
}

// The codec ends the process with exit(-1) when a semaphore cannot be made; the check above
// makes that all but impossible, and should /dev/shm fill up in the instant between, this
// says why the process ended.
void ReportExitDuringLoad(int status, void*) {
    if (!g_loading.load() || status != -1) return;
    const int error = errno; // sem_open's, unless a handler that ran before changed it
    std::fprintf(stderr, "%s: %s%s%s\n", program_invocation_short_name, kSemaphoreProblem,
                 error != 0 ? ": " : "", error != 0 ? std::strerror(error) : "");
}

} // namespace

OSErr LoadCompressorBundle() {
    t_problem[0] = '\0';
    if (DXT24WorkerSlotsLoaded()) return noErr;
    const int error = NamedSemaphoreError();
    if (error != 0) {
        std::snprintf(t_problem, sizeof t_problem, "%s: %s", kSemaphoreProblem, std::strerror(error));
        return codecErr;
    }
    static const bool reportRegistered = on_exit(ReportExitDuringLoad, nullptr) == 0;
    (void)reportRegistered;
    RemoveLeftOverNames();
    g_loading = true;
    LoadDXT24WorkerSlots(RemoveName);
    g_loading = false;
    return noErr;
}

const char* CompressorBundleLoadProblem() {
    return t_problem;
}
