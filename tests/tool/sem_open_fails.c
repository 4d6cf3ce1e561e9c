/* Preloaded into a host by the suites: sem_open fails as it does when /dev/shm is full or
 * read-only, or when a name is taken, without root, a full disk or a second PID namespace.
 *   SEM_OPEN_FAILS_WITH    the errno to fail with (ENOSPC when unset; 17, EEXIST, for a name
 *                          another process has taken)
 *   SEM_OPEN_FAILS_PREFIX  fail only for names that start with this (all names when unset)
 *   SEM_OPEN_FAILS_TIMES   fail only this many times (always when unset)
 * Every other call goes to the C library's sem_open. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <semaphore.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>

static int failures;

sem_t* sem_open(const char* name, int flags, ...) {
    mode_t mode = 0;
    unsigned value = 0;
    if (flags & O_CREAT) {
        va_list args;
        va_start(args, flags);
        mode = va_arg(args, mode_t);
        value = va_arg(args, unsigned);
        va_end(args);
    }
    const char* prefix = getenv("SEM_OPEN_FAILS_PREFIX");
    const char* times = getenv("SEM_OPEN_FAILS_TIMES");
    const int matches = prefix == NULL || strncmp(name, prefix, strlen(prefix)) == 0;
    if (matches && (times == NULL || failures < atoi(times))) {
        ++failures;
        const char* error = getenv("SEM_OPEN_FAILS_WITH");
        errno = error != NULL ? atoi(error) : ENOSPC;
        return SEM_FAILED;
    }
    sem_t* (*real)(const char*, int, ...) = (sem_t * (*)(const char*, int, ...)) dlsym(RTLD_NEXT, "sem_open");
    return real(name, flags, mode, value);
}
