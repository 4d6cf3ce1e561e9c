// fork(): a child gets a DXT24 worker pool of its own and the parent keeps its own, so that
// prefork servers, Python's multiprocessing and plugin scanners encode exactly. Each child
// encodes 30 pictures with thread setting 9 (24 workers) and compares every frame with the
// one the calling thread alone makes (thread setting 2).
#include <csignal>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "api_fixture.h"

namespace {

const int kWidth = 640, kHeight = 360, kFrames = 30;

struct Clip {
    std::vector<Bytes> pictures, frames;
};

const Clip& ReferenceClip() {
    static const Clip clip = [] {
        Clip made;
        for (int i = 0; i < kFrames; ++i) {
            made.pictures.push_back(MakePicture(kWidth, kHeight, 0, i, false));
            made.frames.push_back(
                EncodeThroughApi(made.pictures.back(), kWidth, kHeight, 0, Settings(0, 1, 0, 2)));
        }
        return made;
    }();
    return clip;
}

// What a child reports through its exit status.
enum ChildOutcome { kExact = 0, kWrongFrame = 1, kApiFailed = 2, kNamesLeft = 3 };

// Encodes the clip on encoder: kExact when every frame is the reference's.
int EncodeClip(qzkt_encoder* encoder) {
    const Clip& clip = ReferenceClip();
    Bytes frame(qzkt_max_frame_size(kWidth, kHeight, nullptr) + kWidth * kHeight * 4);
    for (int i = 0; i < kFrames; ++i) {
        size_t size = 0;
        if (qzkt_encode(encoder, clip.pictures[i].data(), 0, frame.data(), frame.size(), &size) != QZKT_OK)
            return kApiFailed;
        if (Bytes(frame.begin(), frame.begin() + static_cast<long>(size)) != clip.frames[i])
            return kWrongFrame;
    }
    return kExact;
}

// Opens an encoder with 24 workers in this process and encodes the clip on it; also checks
// that the process's semaphore names are gone once the encoder is open.
int EncodeClipOnNewEncoder() {
    qzkt_settings settings = Settings(0, 1, 0, 9);
    qzkt_encoder* encoder = nullptr;
    if (qzkt_encoder_create(kWidth, kHeight, &settings, &encoder) != QZKT_OK) return kApiFailed;
    const int outcome = EncodeClip(encoder);
    qzkt_encoder_destroy(encoder);
    if (outcome != kExact) return outcome;

    char prefix[64];
    std::snprintf(prefix, sizeof prefix, "sem.kelstart_%d_", static_cast<int>(getpid()));
    int named = 0;
    DIR* shm = opendir("/dev/shm");
    for (dirent* entry; shm != nullptr && (entry = readdir(shm)) != nullptr;)
        named += std::strncmp(entry->d_name, prefix, std::strlen(prefix)) == 0;
    if (shm != nullptr) closedir(shm);
    return named == 0 ? kExact : kNamesLeft;
}

// Runs body in a forked child, which ends with body's result; a child that hangs is ended
// after two minutes (SIGALRM).
pid_t ForkChild(const std::function<int()>& body) {
    std::fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(120);
        _exit(body());
    }
    return pid;
}

// The child's exit status, or 128 + the signal that ended it.
int WaitChild(pid_t pid) {
    int status = 0;
    if (pid < 0 || waitpid(pid, &status, 0) != pid) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

TEST(ApiForkTest, ChildrenOfOneParentEncodeOnPoolsOfTheirOwn) {
    ReferenceClip();
    // The parent has opened the compressor (its bundle is loaded) but never started a pool.
    qzkt_settings settings = Settings(0, 1, 0, 2);
    qzkt_encoder* parent = nullptr;
    ASSERT_EQ(qzkt_encoder_create(kWidth, kHeight, &settings, &parent), QZKT_OK);

    const pid_t first = ForkChild(EncodeClipOnNewEncoder);
    const pid_t second = ForkChild(EncodeClipOnNewEncoder);
    EXPECT_EQ(WaitChild(first), kExact);
    EXPECT_EQ(WaitChild(second), kExact);
    EXPECT_EQ(EncodeClip(parent), kExact);
    qzkt_encoder_destroy(parent);
}

TEST(ApiForkTest, ParentPoolKeepsWorkingBesideAChildThatEncodes) {
    ReferenceClip();
    qzkt_settings settings = Settings(0, 1, 0, 9);
    qzkt_encoder* parent = nullptr;
    ASSERT_EQ(qzkt_encoder_create(kWidth, kHeight, &settings, &parent), QZKT_OK);
    ASSERT_EQ(EncodeClip(parent), kExact); // the parent's pool is running now

    // The child first encodes on the encoder it inherited (its calling thread does the work,
    // as the slots are the parent's), then on one of its own (a pool of its own), while the
    // parent encodes on its pool.
    const pid_t child = ForkChild([parent] {
        const int inherited = EncodeClip(parent);
        return inherited != kExact ? inherited : EncodeClipOnNewEncoder();
    });
    EXPECT_EQ(EncodeClip(parent), kExact);
    EXPECT_EQ(WaitChild(child), kExact);
    EXPECT_EQ(EncodeClip(parent), kExact);
    qzkt_encoder_destroy(parent);
}
