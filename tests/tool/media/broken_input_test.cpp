// Broken input, damaged frames and interrupted runs: one clear line and a non-zero status,
// damaged frames replaced with timing intact, and nothing left behind.
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "platform/little_endian.h"
#include "stream/kel_header.h"
#include "support/frame_builders.h"
#include "support/movie_builders.h"
#include "support/reference_frames.h"
#include "tool_fixture.h"

namespace {

const int kWidth = 20, kHeight = 12; // 15 blocks

// Waits until the tool has drained its input pipe and holds its output file open in
// `folder`: it is then mid-way, waiting for input that does not come.
bool WaitUntilMidWay(pid_t pid, int pipeIn, const std::string& folder) {
    for (int tries = 0; tries < 3000; ++tries, usleep(10000)) {
        int unread = 1;
        if (ioctl(pipeIn, FIONREAD, &unread) != 0 || unread != 0) continue;
        if (HoldsFileIn(pid, folder)) return true;
    }
    return false;
}

} // namespace

TEST_F(ToolTest, BrokenInputGetsOneLineAndNoOutput) {
    const Bytes frame = ClipFrame(kWidth, kHeight, 0);
    Bytes clip = frame;
    clip.insert(clip.end(), frame.begin(), frame.end());
    WriteFile(Path("clip.argb"), clip);
    WriteFile(Path("short.argb"), Bytes(clip.begin(), clip.begin() + 100));
    WriteFile(Path("text.mov"), Bytes(400, 'x'));
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=32x16:rate=5:duration=0.4", "-c:v",
             "mpeg4", "plain.mp4"});
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "--raw", "20x12", "clip.argb", "good.mov"}).status, 0);

    struct Case {
        std::vector<std::string> args;
        std::string message;
        std::string stdinName = "";
        int status = 1;
    };
    std::vector<Case> cases = {
        {{"decode", "text.mov", "out.mkv"}, "text.mov is not a readable QuickTime movie"},
        {{"info", "text.mov"}, "text.mov is not a readable QuickTime movie"},
        {{"decode", "plain.mp4", "out.argb"}, "plain.mp4 has no QZKT video track"},
        {{"encode", "--raw", "20x12", "short.argb", "out.mov"},
         "short.argb holds no frames that can be read: it ends inside frame 1"},
        {{"encode", "--raw", "20x12", "-", "out.mov"},
         "standard input holds no frames that can be read: it ends inside frame 1",
         "short.argb"},
        {{"encode", "--raw", "20x12", "clip.argb", "/nonexistent/out.mov"},
         "cannot write to folder /nonexistent"},
        {{"decode", "good.mov", "/proc/out.mkv"}, "cannot write to folder /proc"},
        {{"decode", "good.mov", "/sys/out_%03d.png"}, "cannot write to folder /sys"},
        {{"encode", "missing.mp4", "out.mov"}, "cannot open missing.mp4: No such file or directory"},
        {{"decode", "missing.mov", "out.argb"}, "cannot open missing.mov: No such file or directory"},
        {{"encode", "good.mov", "out.mov"}, "good.mov is already a QZKT movie"},
        {{"encode", "--raw", "20x12", "clip.argb"}, "give INPUT and OUTPUT.mov", "", 2},
    };
    // Cut short in the samples, and in the index at each of its sample tables.
    const Bytes good = ReadFile(Path("good.mov"));
    for (const char* tag : {"mdat", "stsd", "stts", "stsc", "stsz", "stco"}) {
        const std::string name = std::string("cut_") + tag + ".mov";
        WriteFile(Path(name), Bytes(good.begin(), good.begin() + AtomOffset(good, tag) + 12));
        cases.push_back({{"decode", name, "out.mkv"}, name});
        cases.push_back({{"info", name}, name});
    }
    const std::vector<std::string> inputs = FolderListing();

    for (const Case& c : cases) {
        std::vector<std::string> args = {"qzkt", c.args[0], prefsArg_};
        args.insert(args.end(), c.args.begin() + 1, c.args.end());
        const RunResult r = Run(args, c.stdinName);
        EXPECT_EQ(r.status, c.status) << c.args[0] << " " << c.args[1] << ": " << r.err;
        EXPECT_EQ(r.ErrLines(), 1) << r.err;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
    }
    EXPECT_EQ(FolderListing(), inputs) << "no output or temporary files";
}

TEST_F(ToolTest, DamagedFramesAreReplacedAndCounted) {
    const Bytes blocksA = ReferenceBlocks(BlockKind::kDXT24, ClipFrame(kWidth, kHeight, 0), kWidth, kHeight);
    const Bytes blocksB = ReferenceBlocks(BlockKind::kDXT24, ClipFrame(kWidth, kHeight, 5), kWidth, kHeight);
    const Bytes frameA = StoredFrame(true, blocksA, false), frameB = StoredFrame(true, blocksB, true);
    // LZF data that unpacks to half the blocks cannot give the frame: damaged too.
    const Bytes shortLZF =
        StoredFrame(true, Bytes(blocksA.begin(), blocksA.begin() + blocksA.size() / 2), true);

    const Bytes black = DecodeBlocks(BlockKind::kDXT24, Bytes(blocksA.size()), kWidth, kHeight);
    const Bytes a = DecodeBlocks(BlockKind::kDXT24, blocksA, kWidth, kHeight);
    const Bytes b = DecodeBlocks(BlockKind::kDXT24, blocksB, kWidth, kHeight);
    const std::vector<std::pair<Bytes, Bytes>> samplesAndPictures = {
        {Bytes(frameA.begin(), frameA.begin() + 5), black}, // nothing good before it
        {frameA, a},
        {WithField(frameA, kKELStoredSizeOffset, 100000), a},
        {frameB, b},
        {Bytes(frameB.begin(), frameB.end() - 10), b},
        {WithField(StoredFrame(false, Bytes(8 * 15), false), kKELStoredSizeOffset, 5000), b}, // DXT1
        {WithField(frameB, kKELHeaderSizeOffset, 5000), b},
        {shortLZF, b},
        {Bytes(1), b}, // made empty below
    };
    std::vector<Bytes> samples;
    for (const auto& sampleAndPicture : samplesAndPictures)
        samples.push_back(sampleAndPicture.first);
    WriteMovie(Path("damaged.mov"), kWidth, kHeight, samples);
    // FFmpeg's muxer drops empty packets: set the last sample's size to 0 in the sample-size
    // table instead. The last sample ends its chunk, so no other sample moves.
    Bytes movie = ReadFile(Path("damaged.mov"));
    std::fill_n(movie.begin() + AtomOffset(movie, "stsz") + 20 + 4 * (samplesAndPictures.size() - 1), 4, 0);
    WriteFile(Path("damaged.mov"), movie);

    Bytes expected;
    for (const auto& sample : samplesAndPictures)
        expected.insert(expected.end(), sample.second.begin(), sample.second.end());
    const std::string line =
        "qzkt decode: 7 of 9 frames were damaged and replaced by the previous good frame\n";
    const RunResult raw = Run({"qzkt", "decode", "--gl", "software", "damaged.mov", "damaged.argb"});
    EXPECT_EQ(raw.status, 3);
    EXPECT_EQ(raw.err, line);
    EXPECT_TRUE(ReadFile(Path("damaged.argb")) == expected);

    // A video keeps every frame at its time.
    const RunResult video = Run({"qzkt", "decode", "--gl", "software", "damaged.mov", "damaged.mkv"});
    EXPECT_EQ(video.status, 3);
    EXPECT_EQ(video.err, line);
    MustRun({"ffprobe", "-v", "error", "-show_entries", "packet=pts_time", "-of", "csv=p=0", "damaged.mkv"},
            "times.txt");
    const Bytes times = ReadFile(Path("times.txt"));
    EXPECT_EQ(std::string(times.begin(), times.end()),
              "0.000000\n0.100000\n0.200000\n0.300000\n0.400000\n0.500000\n0.600000\n0.700000\n0.800000\n");
}

TEST_F(ToolTest, InterruptedRunsLeaveNothingBehind) {
    std::signal(SIGPIPE, SIG_IGN); // a tool that ended early fails the test instead of ending it
    const Bytes frame = ClipFrame(16, 8, 0);
    Bytes frames;
    for (int i = 0; i < 100; ++i)
        frames.insert(frames.end(), frame.begin(), frame.end());
    WriteFile(Path("clip.argb"), frames);
    ASSERT_EQ(
        Run({"qzkt", "encode", prefsArg_, "--raw", "16x8", "--rate", "10", "clip.argb", "long.mov"}).status,
        0);
    // With its index first, a movie decodes as it streams in.
    MustRun(
        {"ffmpeg", "-v", "error", "-i", "long.mov", "-c", "copy", "-movflags", "+faststart", "streamed.mov"});
    const Bytes streamed = ReadFile(Path("streamed.mov"));
    const std::vector<std::string> inputs = FolderListing();

    // Each tool gets part of its input on a standard input that then stays open.
    const std::vector<std::pair<std::vector<std::string>, Bytes>> runs = {
        {{"qzkt", "encode", prefsArg_, "--raw", "16x8", "-", "out.mov"}, frame},
        {{"qzkt", "decode", "/dev/stdin", "out.mkv"}, Bytes(streamed.begin(), streamed.end() - 300)},
    };
    for (const auto& [args, input] : runs)
        for (int signal : {SIGINT, SIGKILL}) {
            int pipeFds[2];
            ASSERT_EQ(pipe2(pipeFds, O_CLOEXEC), 0);
            const pid_t pid = Spawn(args, pipeFds[0]);
            close(pipeFds[0]);
            EXPECT_EQ(write(pipeFds[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
            EXPECT_TRUE(WaitUntilMidWay(pid, pipeFds[1], dir_)) << args[1];
            kill(pid, signal);
            EXPECT_EQ(Wait(pid).status, 128 + signal);
            close(pipeFds[1]);
            EXPECT_EQ(FolderListing(), inputs) << args[1] << " ended by signal " << signal;
        }

    // An image sequence interrupted after some of its images were written keeps them (each is
    // a whole picture) and says which they are.
    int pipeFds[2];
    ASSERT_EQ(pipe2(pipeFds, O_CLOEXEC), 0);
    const pid_t pid = Spawn({"qzkt", "decode", "/dev/stdin", "seq_%03d.png"}, pipeFds[0]);
    close(pipeFds[0]);
    EXPECT_EQ(write(pipeFds[1], streamed.data(), streamed.size() - 300),
              static_cast<ssize_t>(streamed.size() - 300));
    for (int tries = 0; tries < 3000 && access(Path("seq_001.png").c_str(), F_OK) != 0; ++tries)
        usleep(10000);
    ASSERT_EQ(access(Path("seq_001.png").c_str(), F_OK), 0);
    kill(pid, SIGINT);
    const RunResult interrupted = Wait(pid);
    close(pipeFds[1]);
    EXPECT_EQ(interrupted.status, 128 + SIGINT);
    std::vector<std::string> kept;
    for (const std::string& name : FolderListing())
        if (name.rfind("seq_", 0) == 0) kept.push_back(name);
    ASSERT_FALSE(kept.empty());
    char last[32];
    std::snprintf(last, sizeof last, "seq_%03zu.png", kept.size());
    EXPECT_EQ(kept.back(), last) << "images 1..N, none missing";
    EXPECT_EQ(interrupted.err, kept.size() == 1
                                   ? "qzkt decode: interrupted; seq_001.png was written and is kept\n"
                                   : "qzkt decode: interrupted; seq_001.png to " + kept.back() +
                                         " were written and are kept\n");
    for (const std::string& name : kept)
        unlink(Path(name).c_str());
    EXPECT_EQ(FolderListing(), inputs) << "nothing else written";
}
