// Shared set-up of the end-to-end suites: a fresh folder per test, and the built qzkt tool
// (and FFmpeg's programs) run as child processes in it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <sys/resource.h>
#include <sys/types.h>
#include <vector>

using Bytes = std::vector<uint8_t>;

struct RunResult {
    int status = -1;     // the exit status, or 128 + the signal that ended the process
    std::string err;     // standard error, less the summary line
    std::string summary; // the tool's closing summary line ("qzkt encode: 3 frames of ..."), if any
    long peakRssKiB = 0; // the process's peak resident memory
    long ErrLines() const { return std::count(err.begin(), err.end(), '\n'); }
};

// How a child process starts: its standard input and output, and limits. Children get SIGPIPE
// and SIGXFSZ at their defaults, as a shell gives them, unless keepIgnoredSigpipe.
struct ChildSetup {
    int stdinFd = -1;                     // or /dev/null
    int stdoutFd = -1;                    // or stdoutName
    std::string stdoutName;               // in the test's folder, or an absolute path; /dev/null when empty
    rlim_t fileSizeLimit = RLIM_INFINITY; // RLIMIT_FSIZE: longer files fail as on a full disk
    bool keepIgnoredSigpipe = false;      // inherit the test's SIG_IGN for SIGPIPE
};

class ToolTest : public testing::Test {
  protected:
    void SetUp() override;
    // Fails when a tool run left its semaphore names in /dev/shm; removes the folder.
    void TearDown() override;

    std::string Path(const std::string& name) const { return dir_ + "/" + name; }

    // Starts a program in the test's folder; "qzkt" is the built tool. Standard input is
    // stdinFd (or /dev/null), standard output the file stdoutName (or /dev/null).
    pid_t Spawn(std::vector<std::string> args, int stdinFd = -1, const std::string& stdoutName = "");
    pid_t Spawn(std::vector<std::string> args, const ChildSetup& setup);
    RunResult Wait(pid_t pid);
    RunResult Run(const std::vector<std::string>& args, const std::string& stdinName = "",
                  const std::string& stdoutName = "");
    // Runs ffmpeg or ffprobe; fails the test unless it succeeds.
    void MustRun(const std::vector<std::string>& args, const std::string& stdoutName = "");

    std::vector<std::string> FolderListing() const;

    // Writes clip.mov, six 20x12 frames with the movie's index first (so that the samples end
    // the file, in order), and two copies of it cut short: four.mov at the end of the fourth
    // sample and four_and_a_bit.mov 20 bytes into the fifth. Returns clip.mov's samples.
    std::vector<Bytes> WriteCutMovies();

    // Writes clip.argb (three 16x8 frames) and x.mov, its movie (output_safety_test.cpp).
    Bytes WriteClipAndMovie();

    // What ffprobe must see in every movie the tool writes: a QuickTime movie with one
    // video track tagged 'QZKT' of this size, frame count and rate, every sample a key frame.
    void ExpectQZKTMovie(const std::string& movie, int width, int height, int frames,
                         const std::string& rate);

    std::string root_;     // dir_, the standard error file and the settings folder
    std::string dir_;      // where the programs run and write
    std::string prefsArg_; // an empty settings folder, so the default settings apply
    std::vector<pid_t> toolPids_;
};

// Sets result's err and summary from a child's standard error.
void SplitSummary(const std::string& err, RunResult& result);

// Whether process pid holds a file of folder open (an output still without a name), and a wait
// of up to 30 s for it.
bool HoldsFileIn(pid_t pid, const std::string& folder);
bool WaitUntilHoldsFileIn(pid_t pid, const std::string& folder);

Bytes ReadFile(const std::string& path);
void WriteFile(const std::string& path, const Bytes& bytes);
