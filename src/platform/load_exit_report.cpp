// The load-time exit report: an on_exit handler registered before the codec's semaphores are
// created, and a flag that keeps it quiet once loading is complete.
#include "load_exit_report.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <semaphore.h>
#include <unistd.h>

namespace {

std::atomic<bool> gLoading{false};

// Why semaphores cannot be made now: one more attempt, with a name of this process's own,
// gives the system's reason (the codec's attempt did not keep its errno anywhere).
int SemaphoreCreationError(int fallback) {
    char name[64];
    std::snprintf(name, sizeof name, "kelprobe_%d", static_cast<int>(getpid()));
    sem_t* probe = sem_open(name, O_CREAT | O_EXCL, 0600, 0);
    if (probe == SEM_FAILED) return errno;
    sem_close(probe);
    sem_unlink(name);
    return fallback;
}

// exit(-1) while loading is the encoder's way of saying it has no semaphores.
void ReportExitDuringLoading(int status, void*) {
    if (!gLoading.load() || status != -1) return;
    const int error = SemaphoreCreationError(errno);
    std::fprintf(stderr, "%s: cannot create the DXT24 encoder's named semaphores in /dev/shm%s%s\n",
                 program_invocation_short_name, error != 0 ? ": " : "",
                 error != 0 ? std::strerror(error) : "");
}

__attribute__((constructor(kLoadExitReportInitPriority))) void ArmLoadExitReport() {
    gLoading = true;
    on_exit(ReportExitDuringLoading, nullptr);
}

// Objects without an init priority are constructed after every prioritised one, the
// encoder's slots included: loading is then complete.
__attribute__((constructor)) void DisarmLoadExitReport() {
    gLoading = false;
}

} // namespace

bool LoadExitReportArmed() {
    return gLoading.load();
}
