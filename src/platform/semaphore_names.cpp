// Unlinks this process's "kelstart_<pid>_<n>" semaphore names.
#include "semaphore_names.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <semaphore.h>
#include <string>
#include <unistd.h>

#include "load_exit_report.h"

// A static link keeps only the objects something refers to: this reference brings the
// load-time exit report into every host that removes its semaphore names.
namespace {
__attribute__((used)) bool (*const g_loadExitReport)() = &LoadExitReportArmed;
}

int UnlinkCodecSemaphoreNames() {
    // glibc keeps named semaphore "NAME" as the file /dev/shm/sem.NAME. Listing the folder
    // finds every name this process created, however many slots the codec made.
    char prefix[64];
    std::snprintf(prefix, sizeof prefix, "sem.kelstart_%d_", static_cast<int>(getpid()));
    const size_t prefixLength = std::strlen(prefix);

    DIR* dir = opendir("/dev/shm");
    if (dir == nullptr) return 0;
    int removed = 0;
    while (const dirent* entry = readdir(dir)) {
        if (std::strncmp(entry->d_name, prefix, prefixLength) != 0) continue;
        const std::string name = entry->d_name + 4; // the semaphore's name, without "sem."
        if (sem_unlink(name.c_str()) == 0) ++removed;
    }
    closedir(dir);
    return removed;
}
