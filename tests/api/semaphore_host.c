/* A program that links libqzkt and reports how many of its own process's codec semaphores
   still have a name in /dev/shm when main() starts. The codec has opened all of them by then
   (it ends the process when one cannot be made); the names should already be gone. It then
   encodes one DXT24 frame on four workers and exits normally ("exit") or kills itself
   ("kill"). Prints: pid <pid> named <n> */
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
    char prefix[64];
    snprintf(prefix, sizeof prefix, "sem.kelstart_%d_", (int)getpid());

    int named = 0;
    DIR* shm = opendir("/dev/shm");
    for (struct dirent* entry; shm != NULL && (entry = readdir(shm)) != NULL;)
        named += strncmp(entry->d_name, prefix, strlen(prefix)) == 0;
    if (shm != NULL) closedir(shm);
    printf("pid %d named %d\n", (int)getpid(), named);
    fflush(stdout);

    enum { W = 64, H = 64 };
    static uint8_t argb[W * H * 4], frame[W * H * 4];
    const qzkt_settings settings = {0, 1, 0, 4};
    qzkt_encoder* encoder = NULL;
    size_t size = 0;
    if (qzkt_encoder_create(W, H, &settings, &encoder) != QZKT_OK ||
        qzkt_encode(encoder, argb, 0, frame, sizeof frame, &size) != QZKT_OK)
        return 1;
    if (strcmp(argv[1], "kill") == 0) raise(SIGKILL);
    qzkt_encoder_destroy(encoder);
    return 0;
}
