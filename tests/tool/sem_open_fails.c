/* Preloaded into the tool by the end-to-end suite: every sem_open fails, as it does when
 * /dev/shm is full or read-only, with the errno named by SEM_OPEN_FAILS_WITH (ENOSPC when
 * unset). No root and no full disk needed. */
#include <errno.h>
#include <semaphore.h>
#include <stdlib.h>

sem_t* sem_open(const char* name, int flags, ...) {
    (void)name;
    (void)flags;
    const char* error = getenv("SEM_OPEN_FAILS_WITH");
    errno = error != NULL ? atoi(error) : ENOSPC;
    return SEM_FAILED;
}
