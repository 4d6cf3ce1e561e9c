// An output file that appears under its name only when it is complete.
//
// The bytes go to a file without a name in the destination's folder (O_TMPFILE), which
// vanishes by itself if the process dies, even by SIGKILL; Commit() gives it its name in one
// step, replacing an older file of that name only with -y (output_check.h): without it, a
// file that took the name meanwhile is kept and the commit fails. An output named by a
// symbolic link is written through it, as ffmpeg does: the link stays, and the file it names
// gets the output. Where the file system has no unnamed files, a hidden temporary name beside
// the destination is used instead, removed on failure and on SIGINT/SIGTERM/SIGHUP.
#pragma once

#include <cstddef>
#include <string>

// Writes all of data to fd, going on after short writes and EINTR; returns 0, or the errno
// of the failure (`stalled` for a write that makes no progress: ENOSPC for a file, EIO for
// standard output).
int WriteFully(int fd, const void* data, size_t size, int stalled) noexcept;

class AtomicOutputFile {
  public:
    // Creates the temporary file; throws ToolError when the folder cannot be written or the
    // name may not be written (an input, or not a regular file: see output_check.h).
    explicit AtomicOutputFile(const std::string& path);
    // Removes the temporary file unless Commit() succeeded.
    ~AtomicOutputFile();
    AtomicOutputFile(const AtomicOutputFile&) = delete;
    AtomicOutputFile& operator=(const AtomicOutputFile&) = delete;

    // Read/write descriptor of the temporary file, valid until Commit() or destruction.
    int fd() const { return fd_; }
    const std::string& path() const { return path_; }

    // Writes all of data, or throws ToolError.
    void Write(const void* data, size_t size);
    // Writes all of data; returns 0, or the errno of the failure (for callers that must not
    // throw, such as FFmpeg's I/O callbacks).
    int WriteAll(const void* data, size_t size) noexcept;

    // Gives the file its final name, after checking the name again; when that replaces an
    // older file, waits first until the new one is on disk. Throws ToolError on failure, and
    // the file is then discarded.
    void Commit();

  private:
    void Discard();
    void TakeNameWithoutReplacing();

    std::string path_;     // the name the user gave, for messages
    std::string target_;   // path_ with symbolic links followed: where the file goes
    std::string tempPath_; // empty while the file has no name
    int fd_ = -1;
    bool committed_ = false;
};
