/* A program that links libqzkt, opens an encoder (which makes the DXT24 encoder's named
   semaphores), encodes one DXT24 frame on four workers, and reports how many of its own
   process's codec semaphores still have a name in /dev/shm; the names should be gone. It then
   exits normally ("exit") or kills itself ("kill"). Prints: pid <pid> named <n>. When the
   encoder cannot be opened it prints the result and the library's problem text on standard
   error and exits with status 1. */
#include <dirent.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <qzkt/qzkt.h>

int main(int argc, char** argv) {
    if (argc != 2 || (strcmp(argv[1], "exit") != 0 && strcmp(argv[1], "kill") != 0)) {
        fprintf(stderr, "usage: %s exit|kill\n", argv[0]);
        return 2;
    }
    enum { W = 64, H = 64 };
    static uint8_t argb[W * H * 4], frame[W * H * 4];
    const qzkt_settings settings = {0, 1, 0, 4};
    qzkt_encoder* encoder = NULL;
    size_t size = 0;
    qzkt_result result = qzkt_encoder_create(W, H, &settings, &encoder);
    if (result == QZKT_OK) result = qzkt_encode(encoder, argb, 0, frame, sizeof frame, &size);
    if (result != QZKT_OK) {
        fprintf(stderr, "%s: %s\n", qzkt_result_text(result), qzkt_last_problem());
        return 1;
    }

    char prefix[64];
    snprintf(prefix, sizeof prefix, "sem.kelstart_%d_", (int)getpid());
    int named = 0;
    DIR* shm = opendir("/dev/shm");
    for (struct dirent* entry; shm != NULL && (entry = readdir(shm)) != NULL;)
        named += strncmp(entry->d_name, prefix, strlen(prefix)) == 0;
    if (shm != NULL) closedir(shm);
    printf("pid %d named %d\n", (int)getpid(), named);
    fflush(stdout);

    if (strcmp(argv[1], "kill") == 0) raise(SIGKILL);
    qzkt_encoder_destroy(encoder);
    return 0;
}
