// Outputs that would destroy data are refused, and outputs that cannot be written fail: one
// line, a failure status, the inputs byte for byte as they were, and no partial files.
#include <csignal>
#include <fcntl.h>
#include <map>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/frame_builders.h"
#include "support/movie_builders.h"
#include "support/reference_frames.h"
#include "tool_fixture.h"

namespace {

const int kWidth = 16, kHeight = 8;

// Every name in the folder with its kind and, for files, its bytes.
std::map<std::string, std::pair<mode_t, Bytes>> Snapshot(const std::string& dir,
                                                         const std::vector<std::string>& names) {
    std::map<std::string, std::pair<mode_t, Bytes>> snapshot;
    for (const std::string& name : names) {
        struct stat st {};
        lstat((dir + "/" + name).c_str(), &st);
        snapshot[name] = {st.st_mode & S_IFMT, S_ISREG(st.st_mode) ? ReadFile(dir + "/" + name) : Bytes()};
    }
    return snapshot;
}

} // namespace

// Writes clip.argb, three 16x8 frames, and x.mov, their movie; returns the frames (empty when
// the encode failed, which fails the test).
Bytes ToolTest::WriteClipAndMovie() {
    const Bytes clip = ClipFrames(kWidth, kHeight, 3);
    WriteFile(Path("clip.argb"), clip);
    const RunResult encoded = Run({"qzkt", "encode", prefsArg_, "--raw", "16x8", "clip.argb", "x.mov"});
    EXPECT_EQ(encoded.status, 0) << encoded.err;
    return encoded.status == 0 ? clip : Bytes();
}

TEST_F(ToolTest, RefusesOutputsThatAreInputsOrNotFiles) {
    const Bytes clip = WriteClipAndMovie();
    ASSERT_FALSE(clip.empty());
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=32x16:rate=5:duration=0.6", "-c:v",
             "ffv1", "a.mkv"});
    MustRun({"ffmpeg", "-v", "error", "-i", "a.mkv", "in_%03d.png"});
    ASSERT_EQ(link(Path("a.mkv").c_str(), Path("hard.mkv").c_str()), 0);
    ASSERT_EQ(symlink("a.mkv", Path("soft.mkv").c_str()), 0);
    ASSERT_EQ(symlink("clip.argb", Path("soft.argb").c_str()), 0);
    ASSERT_EQ(link(Path("x.mov").c_str(), Path("hard.mov").c_str()), 0);
    ASSERT_EQ(link(Path("x.mov").c_str(), Path("seq_002.png").c_str()), 0); // image 2 of seq_%03d.png
    ASSERT_EQ(mkfifo(Path("fifo.mov").c_str(), 0644), 0);
    ASSERT_EQ(symlink("fifo.mov", Path("to_fifo.mov").c_str()), 0);
    ASSERT_EQ(symlink("/dev/null", Path("null.mov").c_str()), 0);
    ASSERT_EQ(mkdir(Path("dir.mov").c_str(), 0755), 0);
    const int listening = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string socketPath = Path("socket.mov");
    ASSERT_LT(socketPath.size(), sizeof address.sun_path);
    std::copy(socketPath.begin(), socketPath.end(), address.sun_path);
    ASSERT_EQ(bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

    struct Case {
        std::vector<std::string> args;
        std::string message;
        std::string stdinName = "";
    };
    const std::string same = "; give another output name";
    const std::string notFile = ", not a regular file; give the name of a file to write";
    const std::vector<Case> cases = {
        {{"encode", "a.mkv", "a.mkv"}, "the output a.mkv is the input file" + same},
        {{"encode", "a.mkv", "./a.mkv"}, "the output ./a.mkv is the input a.mkv under another name" + same},
        {{"encode", "a.mkv", "hard.mkv"}, "the output hard.mkv is the input a.mkv under another name" + same},
        {{"encode", "a.mkv", "soft.mkv"}, "the output soft.mkv is the input a.mkv under another name" + same},
        {{"encode", "soft.mkv", "a.mkv"}, "the output a.mkv is the input soft.mkv under another name" + same},
        {{"encode", "--raw", "16x8", "clip.argb", "clip.argb"},
         "the output clip.argb is the input file" + same},
        {{"encode", "--raw", "16x8", "clip.argb", "soft.argb"},
         "the output soft.argb is the input clip.argb under another name" + same},
        {{"encode", "--raw", "16x8", "-", "clip.argb"},
         "the output clip.argb is the input standard input under another name" + same,
         "clip.argb"},
        {{"encode", "in_%03d.png", "in_002.png"}, "the output in_002.png is the input file" + same},
        {{"decode", "x.mov", "x.mov"}, "the output x.mov is the input file" + same},
        {{"decode", "x.mov", "hard.mov"}, "the output hard.mov is the input x.mov under another name" + same},
        {{"decode", "x.mov", "seq_%03d.png"},
         "the output seq_002.png is the input x.mov under another name" + same},
        {{"encode", "a.mkv", "fifo.mov"}, "the output fifo.mov is a fifo" + notFile},
        {{"decode", "x.mov", "fifo.mov"}, "the output fifo.mov is a fifo" + notFile},
        {{"encode", "a.mkv", "to_fifo.mov"}, "the output to_fifo.mov is a fifo" + notFile},
        {{"encode", "a.mkv", "null.mov"}, "the output null.mov is a character device" + notFile},
        {{"decode", "x.mov", "null.mov"}, "the output null.mov is a character device" + notFile},
        {{"encode", "a.mkv", "dir.mov"}, "the output dir.mov is a directory" + notFile},
        {{"decode", "x.mov", "dir.mov"}, "the output dir.mov is a directory" + notFile},
        {{"encode", "a.mkv", "socket.mov"}, "the output socket.mov is a socket" + notFile},
    };
    const std::vector<std::string> names = FolderListing();
    const auto before = Snapshot(dir_, names);

    for (const Case& c : cases) {
        std::vector<std::string> args = {"qzkt", c.args[0], prefsArg_};
        args.insert(args.end(), c.args.begin() + 1, c.args.end());
        const RunResult r = Run(args, c.stdinName);
        EXPECT_EQ(r.status, 1) << c.args[0] << " " << c.args[1] << " " << c.args.back();
        EXPECT_EQ(r.err, "qzkt " + c.args[0] + ": " + c.message + "\n");
    }

    // Standard output that is the input itself (appended to) is refused; /dev/null is fine.
    ChildSetup appendToInput;
    appendToInput.stdoutFd = open(Path("x.mov").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    const RunResult appended = Wait(Spawn({"qzkt", "decode", "x.mov", "-"}, appendToInput));
    close(appendToInput.stdoutFd);
    EXPECT_EQ(appended.status, 1);
    EXPECT_EQ(appended.err, "qzkt decode: standard output is the input x.mov; write to another file\n");
    EXPECT_EQ(Run({"qzkt", "decode", "x.mov", "-"}).status, 0) << "standard output on /dev/null";

    close(listening);
    EXPECT_EQ(FolderListing(), names) << "no output or temporary files";
    EXPECT_TRUE(Snapshot(dir_, names) == before) << "every input and node as it was";

    // A link to the input as input and another output name is fine.
    const RunResult ok = Run({"qzkt", "decode", "hard.mov", "x.argb"});
    EXPECT_EQ(ok.status, 0) << ok.err;
    EXPECT_EQ(ReadFile(Path("x.argb")).size(), clip.size());

    // A fifo that takes the output's name while the output is being written keeps it.
    int pipeFds[2];
    ASSERT_EQ(pipe2(pipeFds, O_CLOEXEC), 0);
    const pid_t pid = Spawn({"qzkt", "encode", prefsArg_, "--raw", "16x8", "-", "late.mov"}, pipeFds[0]);
    close(pipeFds[0]);
    ASSERT_TRUE(WaitUntilHoldsFileIn(pid, dir_));
    ASSERT_EQ(mkfifo(Path("late.mov").c_str(), 0644), 0);
    EXPECT_EQ(write(pipeFds[1], clip.data(), clip.size()), static_cast<ssize_t>(clip.size()));
    close(pipeFds[1]);
    const RunResult late = Wait(pid);
    EXPECT_EQ(late.status, 1);
    EXPECT_EQ(late.err, "qzkt encode: the output late.mov is a fifo" + notFile + "\n");
    struct stat st {};
    ASSERT_EQ(lstat(Path("late.mov").c_str(), &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));
}

TEST_F(ToolTest, WriteErrorsFailWithOneLineAndLeaveNothing) {
    // Two flat frames and one of noise: as PNG images the first two fit in 4 KB, the third does not.
    Bytes clip;
    for (int i = 0; i < 2; ++i) {
        const Bytes flat = Bytes(64 * 64 * 4, 0x80);
        clip.insert(clip.end(), flat.begin(), flat.end());
    }
    uint32_t noise = 12345;
    for (int i = 0; i < 64 * 64 * 4; ++i)
        clip.push_back(static_cast<uint8_t>((noise = noise * 1103515245 + 12345) >> 23));
    WriteFile(Path("clip.argb"), clip);
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "--no-lzf", "--raw", "64x64", "clip.argb", "x.mov"}).status,
              0);
    const std::vector<std::string> inputs = FolderListing();

    // Files limited to 4 KB, as on a disk that fills up: the tool must not be ended by SIGXFSZ.
    const std::vector<std::pair<std::vector<std::string>, std::string>> limited = {
        {{"qzkt", "decode", "x.mov", "seq_%03d.png"},
         "qzkt decode: seq_%03d.png stopped early; seq_001.png to seq_002.png were written and are kept\n"
         "qzkt decode: cannot write seq_003.png: File too large\n"},
        {{"qzkt", "decode", "x.mov", "x.mkv"}, "qzkt decode: cannot write x.mkv: File too large\n"},
        {{"qzkt", "decode", "x.mov", "x.argb"}, "qzkt decode: cannot write x.argb: File too large\n"},
        {{"qzkt", "encode", prefsArg_, "--no-lzf", "--raw", "64x64", "clip.argb", "y.mov"},
         "qzkt encode: cannot write y.mov: File too large\n"},
    };
    ChildSetup full;
    full.fileSizeLimit = 4096;
    for (const auto& [args, line] : limited) {
        const RunResult r = Wait(Spawn(args, full));
        EXPECT_EQ(r.status, 1) << args.back();
        EXPECT_EQ(r.err, line);
        // The images of a sequence are whole files; the two written before the failure stay.
        if (args.back() == "seq_%03d.png") {
            for (const char* image : {"seq_001.png", "seq_002.png"})
                EXPECT_EQ(unlink(Path(image).c_str()), 0) << image;
        }
        EXPECT_EQ(FolderListing(), inputs) << args.back() << ": no partial output";
    }

    // Standard output on a full device: every command that prints fails.
    ChildSetup devFull;
    devFull.stdoutName = "/dev/full";
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{"qzkt", "info", "x.mov"},
                                               {"qzkt", "info", "--summary", "x.mov"},
                                               {"qzkt", "settings", "--show", prefsArg_},
                                               {"qzkt", "decode", "x.mov", "-"},
                                               {"qzkt", "--help"},
                                               {"qzkt", "encode", "--help"}}) {
        const RunResult r = Wait(Spawn(args, devFull));
        EXPECT_EQ(r.status, 1) << args[1];
        const std::string who = args[1] == "--help" ? "qzkt" : "qzkt " + args[1];
        EXPECT_EQ(r.err, who + ": cannot write to standard output: No space left on device\n");
    }

    // A pipe whose reader has gone: SIGPIPE ends the tool without a word, as it ends other
    // tools; where SIGPIPE is ignored, the failed write is reported.
    std::signal(SIGPIPE, SIG_IGN);
    for (bool ignored : {false, true})
        for (const std::string command : {"info", "decode"}) {
            int pipeFds[2];
            ASSERT_EQ(pipe2(pipeFds, O_CLOEXEC), 0);
            close(pipeFds[0]);
            ChildSetup closedPipe;
            closedPipe.stdoutFd = pipeFds[1];
            closedPipe.keepIgnoredSigpipe = ignored;
            std::vector<std::string> args = {"qzkt", command, "x.mov"};
            if (command == "decode") args.push_back("-");
            const RunResult r = Wait(Spawn(args, closedPipe));
            close(pipeFds[1]);
            EXPECT_EQ(r.status, ignored ? 1 : 128 + SIGPIPE) << command;
            EXPECT_EQ(r.err,
                      ignored ? "qzkt " + command + ": cannot write to standard output: Broken pipe\n" : "");
        }
    EXPECT_EQ(FolderListing(), inputs);
}

TEST_F(ToolTest, WithoutYesNoFileIsEverReplaced) {
    const Bytes clip = WriteClipAndMovie();
    ASSERT_FALSE(clip.empty());
    const Bytes theirs = {'t', 'h', 'e', 'i', 'r', 's'};

    // An image sequence: every image the run will write is checked before the first one.
    WriteFile(Path("img_002.png"), theirs);
    const std::vector<std::string> names = FolderListing();
    for (const auto& [flag, refusal] :
         std::vector<std::pair<std::string, std::string>>{{"-n", "img_002.png exists; not replaced (-n)"},
                                                          {"", "img_002.png exists; use -y to replace it"}}) {
        std::vector<std::string> args = {"qzkt", "decode", "x.mov", "img_%03d.png"};
        if (!flag.empty()) args.insert(args.begin() + 2, flag);
        const RunResult r = Run(args);
        EXPECT_EQ(r.status, 1) << flag;
        EXPECT_EQ(r.err, "qzkt decode: " + refusal + "\n");
        EXPECT_EQ(FolderListing(), names) << flag << ": no image written";
        EXPECT_EQ(ReadFile(Path("img_002.png")), theirs);
    }
    EXPECT_EQ(Run({"qzkt", "decode", "-y", "x.mov", "img_%03d.png"}).status, 0);
    EXPECT_NE(ReadFile(Path("img_002.png")), theirs);

    // A file that takes the output's name while the output is being written is kept, unless -y.
    for (const std::string flag : {"-n", "", "-y"}) {
        unlink(Path("race.mov").c_str());
        int pipeFds[2];
        ASSERT_EQ(pipe2(pipeFds, O_CLOEXEC), 0);
        std::vector<std::string> args = {"qzkt", "encode", prefsArg_, "--raw", "16x8", "-", "race.mov"};
        if (!flag.empty()) args.insert(args.begin() + 2, flag);
        const pid_t pid = Spawn(args, pipeFds[0]);
        close(pipeFds[0]);
        ASSERT_TRUE(WaitUntilHoldsFileIn(pid, dir_));
        WriteFile(Path("race.mov"), theirs); // the other run finishes first
        EXPECT_EQ(write(pipeFds[1], clip.data(), clip.size()), static_cast<ssize_t>(clip.size()));
        close(pipeFds[1]);
        const RunResult r = Wait(pid);
        if (flag == "-y") {
            EXPECT_EQ(r.status, 0) << r.err;
            EXPECT_EQ(ReadFile(Path("race.mov")), ReadFile(Path("x.mov")));
            continue;
        }
        EXPECT_EQ(r.status, 1) << flag;
        EXPECT_EQ(r.err, "qzkt encode: race.mov exists; " +
                             std::string(flag == "-n" ? "not replaced (-n)" : "use -y to replace it") +
                             " (it appeared while the output was written)\n");
        EXPECT_EQ(ReadFile(Path("race.mov")), theirs) << flag;
    }
}

TEST_F(ToolTest, OutputsAreWrittenThroughSymbolicLinks) {
    // As ffmpeg does: the link stays a link, and the file it names gets the output (a link to
    // nothing gets its file made).
    Bytes clip = ClipFrame(kWidth, kHeight, 0);
    WriteFile(Path("clip.argb"), clip);
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "--raw", "16x8", "clip.argb", "plain.mov"}).status, 0);
    ASSERT_EQ(mkdir(Path("real").c_str(), 0755), 0);
    WriteFile(Path("real/old.mov"), {'o', 'l', 'd'});
    ASSERT_EQ(symlink("real/old.mov", Path("to_old.mov").c_str()), 0);
    ASSERT_EQ(symlink("real/new.mov", Path("to_new.mov").c_str()), 0);
    ASSERT_EQ(symlink("to_old.mov", Path("chain.argb").c_str()), 0);

    EXPECT_EQ(Run({"qzkt", "encode", prefsArg_, "--raw", "16x8", "clip.argb", "to_old.mov"}).status, 1)
        << "an existing file behind the link needs -y";
    for (const char* output : {"to_old.mov", "to_new.mov"}) {
        const RunResult r = Run({"qzkt", "encode", "-y", prefsArg_, "--raw", "16x8", "clip.argb", output});
        EXPECT_EQ(r.status, 0) << output << ": " << r.err;
    }
    struct stat st {};
    for (const char* link : {"to_old.mov", "to_new.mov"}) {
        ASSERT_EQ(lstat(Path(link).c_str(), &st), 0);
        EXPECT_TRUE(S_ISLNK(st.st_mode)) << link;
    }
    EXPECT_EQ(ReadFile(Path("real/old.mov")), ReadFile(Path("plain.mov")));
    EXPECT_EQ(ReadFile(Path("real/new.mov")), ReadFile(Path("plain.mov")));

    // Through a chain of links, by decode.
    EXPECT_EQ(Run({"qzkt", "decode", "-y", "plain.mov", "chain.argb"}).status, 0);
    ASSERT_EQ(lstat(Path("chain.argb").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(ReadFile(Path("real/old.mov")).size(), clip.size());
    EXPECT_EQ(FolderListing(), (std::vector<std::string>{"chain.argb", "clip.argb", "plain.mov", "real",
                                                         "to_new.mov", "to_old.mov"}));
}
