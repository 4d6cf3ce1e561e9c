/* One of bench/soak/semaphore_soak.sh's soaks: forked children encode with 24 workers each
   (thread setting 9) beside a parent that encodes on its own pool; every frame is compared with
   the one the calling thread alone makes. Usage: fork_soak [CHILDREN] (1000). */
#include <qzkt/qzkt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

enum { W = 320, H = 180, FRAMES = 4, AT_ONCE = 8, CAPACITY = W * H * 4 + 4096 };

static uint8_t pictures[FRAMES][W * H * 4];
static uint8_t expected[FRAMES][CAPACITY];
static size_t expectedSize[FRAMES];

/* 0 when encoder makes the expected frames. */
static int EncodeAll(qzkt_encoder* encoder) {
    static uint8_t frame[CAPACITY];
    for (int i = 0; i < FRAMES; ++i) {
        size_t size = 0;
        if (qzkt_encode(encoder, pictures[i], 0, frame, sizeof frame, &size) != QZKT_OK) return 2;
        if (size != expectedSize[i] || memcmp(frame, expected[i], size) != 0) return 1;
    }
    return 0;
}

static int Child(void) {
    const qzkt_settings workers24 = {0, 1, 0, 9};
    qzkt_encoder* encoder = NULL;
    if (qzkt_encoder_create(W, H, &workers24, &encoder) != QZKT_OK) return 2;
    const int outcome = EncodeAll(encoder);
    qzkt_encoder_destroy(encoder);
    return outcome;
}

int main(int argc, char** argv) {
    const int children = argc > 1 ? atoi(argv[1]) : 1000;
    const qzkt_settings oneThread = {0, 1, 0, 2}, workers24 = {0, 1, 0, 9};
    qzkt_encoder *reference = NULL, *parent = NULL;
    if (qzkt_encoder_create(W, H, &oneThread, &reference) != QZKT_OK ||
        qzkt_encoder_create(W, H, &workers24, &parent) != QZKT_OK)
        return 2;
    for (int i = 0; i < FRAMES; ++i) {
        qzkt_test_picture(pictures[i], W, H, 0, i, 0);
        qzkt_encode(reference, pictures[i], 0, expected[i], CAPACITY, &expectedSize[i]);
    }

    int failures = 0;
    for (int done = 0; done < children;) {
        pid_t pids[AT_ONCE];
        int started = 0;
        for (; started < AT_ONCE && done + started < children; ++started) {
            fflush(NULL);
            pids[started] = fork();
            if (pids[started] == 0) {
                alarm(60); /* a hang ends the child */
                _exit(Child());
            }
        }
        if (EncodeAll(parent) != 0) {
            ++failures;
            fprintf(stderr, "the parent's frames differ\n");
        }
        for (int i = 0; i < started; ++i) {
            int status = 0;
            waitpid(pids[i], &status, 0);
            if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
                ++failures;
                fprintf(stderr, "a child ended with status 0x%x\n", status);
            }
        }
        done += started;
    }
    printf("%d forked children encoded with thread setting 9 beside a parent on its own pool: %d failures\n",
           children, failures);
    qzkt_encoder_destroy(parent);
    qzkt_encoder_destroy(reference);
    return failures != 0;
}
