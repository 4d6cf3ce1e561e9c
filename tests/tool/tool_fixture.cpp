// Running the tool and FFmpeg's programs as child processes.
#include "tool_fixture.h"

#include <regex>

#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

void ToolTest::SetUp() {
    char pattern[] = "/tmp/qzkt-tool-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root_ = pattern;
    dir_ = root_ + "/work";
    ASSERT_EQ(mkdir(dir_.c_str(), 0755), 0);
    prefsArg_ = "--prefs-dir=" + root_ + "/prefs";
}

void ToolTest::TearDown() {
    std::string leftOver; // glibc keeps semaphore NAME as /dev/shm/sem.NAME
    DIR* shm = opendir("/dev/shm");
    while (const dirent* entry = shm != nullptr ? readdir(shm) : nullptr)
        for (pid_t pid : toolPids_)
            if (std::string(entry->d_name).rfind("sem.kelstart_" + std::to_string(pid) + "_", 0) == 0)
                leftOver += std::string(" ") + entry->d_name;
    if (shm != nullptr) closedir(shm);
    EXPECT_EQ(leftOver, "") << "semaphore names the tool left behind";
    std::system(("rm -rf '" + root_ + "'").c_str());
}

pid_t ToolTest::Spawn(std::vector<std::string> args, int stdinFd, const std::string& stdoutName) {
    ChildSetup setup;
    setup.stdinFd = stdinFd;
    setup.stdoutName = stdoutName;
    return Spawn(std::move(args), setup);
}

pid_t ToolTest::Spawn(std::vector<std::string> args, const ChildSetup& setup) {
    const bool tool = args[0] == "qzkt";
    if (tool) args[0] = QZKT_TOOL;
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (setup.stdinFd >= 0)
        posix_spawn_file_actions_adddup2(&actions, setup.stdinFd, 0);
    else
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    const std::string& name = setup.stdoutName;
    const std::string out = name.empty() ? "/dev/null" : name[0] == '/' ? name : Path(name);
    const std::string err = root_ + "/stderr";
    if (setup.stdoutFd >= 0)
        posix_spawn_file_actions_adddup2(&actions, setup.stdoutFd, 1);
    else
        posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addchdir_np(&actions, dir_.c_str());
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGXFSZ);
    if (!setup.keepIgnoredSigpipe) sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    // A child takes its limits from this process when it starts: lower ours for that moment.
    rlimit saved{};
    getrlimit(RLIMIT_FSIZE, &saved);
    if (setup.fileSizeLimit != RLIM_INFINITY) {
        const rlimit lowered{setup.fileSizeLimit, saved.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &lowered), 0);
    }
    pid_t pid = -1;
    EXPECT_EQ(posix_spawnp(&pid, argv[0], &actions, &attributes, argv.data(), environ), 0) << argv[0];
    if (setup.fileSizeLimit != RLIM_INFINITY) setrlimit(RLIMIT_FSIZE, &saved);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (tool && pid > 0) toolPids_.push_back(pid);
    return pid;
}

RunResult ToolTest::Wait(pid_t pid) {
    RunResult result;
    int status = 0;
    rusage usage{};
    if (pid <= 0 || wait4(pid, &status, 0, &usage) != pid) return result;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.peakRssKiB = usage.ru_maxrss;
    const Bytes err = ReadFile(root_ + "/stderr");
    SplitSummary(std::string(err.begin(), err.end()), result);
    return result;
}

void SplitSummary(const std::string& err, RunResult& result) {
    static const std::regex summary("qzkt (encode|decode): [0-9]+ frames? of [0-9]+x[0-9]+ .*");
    size_t start = 0;
    while (start < err.size()) {
        size_t end = err.find('\n', start);
        end = end == std::string::npos ? err.size() : end + 1;
        const std::string line = err.substr(start, end - start);
        (std::regex_match(line.substr(0, line.find('\n')), summary) ? result.summary : result.err) += line;
        start = end;
    }
}

RunResult ToolTest::Run(const std::vector<std::string>& args, const std::string& stdinName,
                        const std::string& stdoutName) {
    const int in = stdinName.empty() ? -1 : open(Path(stdinName).c_str(), O_RDONLY | O_CLOEXEC);
    const RunResult result = Wait(Spawn(args, in, stdoutName));
    if (in >= 0) close(in);
    return result;
}

void ToolTest::MustRun(const std::vector<std::string>& args, const std::string& stdoutName) {
    const RunResult result = Run(args, "", stdoutName);
    ASSERT_EQ(result.status, 0) << args[0] << ": " << result.err;
}

std::vector<std::string> ToolTest::FolderListing() const {
    std::vector<std::string> names;
    DIR* dir = opendir(dir_.c_str());
    while (const dirent* entry = dir != nullptr ? readdir(dir) : nullptr)
        if (std::string(entry->d_name) != "." && std::string(entry->d_name) != "..")
            names.push_back(entry->d_name);
    if (dir != nullptr) closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

void ToolTest::ExpectQZKTMovie(const std::string& movie, int width, int height, int frames,
                               const std::string& rate) {
    MustRun({"ffprobe", "-v", "error", "-of", "default=nw=1", "-show_entries",
             "format=nb_streams:format_tags=major_brand:stream=codec_type,codec_tag_string,width,height,"
             "r_frame_rate,nb_frames:packet=flags",
             movie},
            "probe.txt");
    std::string expected;
    for (int i = 0; i < frames; ++i)
        expected += "flags=K_\n";
    expected += "codec_type=video\ncodec_tag_string=QZKT\nwidth=" + std::to_string(width) +
                "\nheight=" + std::to_string(height) + "\nr_frame_rate=" + rate +
                "\nnb_frames=" + std::to_string(frames) + "\nnb_streams=1\nTAG:major_brand=qt  \n";
    const Bytes probed = ReadFile(Path("probe.txt"));
    EXPECT_EQ(std::string(probed.begin(), probed.end()), expected) << movie;
    unlink(Path("probe.txt").c_str());
}

Bytes ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

void WriteFile(const std::string& path, const Bytes& bytes) {
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

bool HoldsFileIn(pid_t pid, const std::string& folder) {
    const std::string fds = "/proc/" + std::to_string(pid) + "/fd";
    DIR* dir = opendir(fds.c_str());
    bool found = false;
    while (const dirent* entry = dir != nullptr ? readdir(dir) : nullptr) {
        char target[4096] = {};
        if (readlink((fds + "/" + entry->d_name).c_str(), target, sizeof target - 1) > 0)
            found |= std::string(target).rfind(folder + "/", 0) == 0;
    }
    if (dir != nullptr) closedir(dir);
    return found;
}

bool WaitUntilHoldsFileIn(pid_t pid, const std::string& folder) {
    for (int tries = 0; tries < 3000; ++tries, usleep(10000))
        if (HoldsFileIn(pid, folder)) return true;
    return false;
}
