// Complete-or-nothing output files: an unnamed temporary file linked into place on success.
#include "output/atomic_output_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/tool_error.h"
#include "output/interrupt_cleanup.h"
#include "output/output_check.h"

namespace {

std::string FolderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

std::string NameOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Where writing to path ends up: the file a symbolic link (or a chain of them) names, as
// ffmpeg writes through a link; path itself when it is no link.
std::string ResolveLinks(const std::string& path) {
    std::string current = path;
    for (int hops = 0; hops < 40; ++hops) { // more is a loop; creating the file reports it
        char target[4096];
        const ssize_t n = readlink(current.c_str(), target, sizeof target - 1);
        if (n <= 0) break;
        target[n] = '\0';
        current = target[0] == '/' ? std::string(target) : FolderOf(current) + "/" + target;
    }
    return current;
}

std::string UniqueTempPath(const std::string& path) {
    static int counter = 0;
    return FolderOf(path) + "/." + NameOf(path) + ".qzkt-" + std::to_string(getpid()) + "-" +
           std::to_string(++counter) + ".tmp";
}

} // namespace

int WriteFully(int fd, const void* data, size_t size, int stalled) noexcept {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = write(fd, bytes, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return n < 0 ? errno : stalled;
        bytes += n;
        size -= static_cast<size_t>(n);
    }
    return 0;
}

AtomicOutputFile::AtomicOutputFile(const std::string& path) : path_(path), target_(ResolveLinks(path)) {
    CheckOutputName(path);
    const std::string folder = FolderOf(target_);
    fd_ = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
    if (fd_ >= 0) {
        // Unnamed files are created with the mode masked by nothing; apply the umask as a
        // plain creat() would.
        const mode_t mask = umask(0);
        umask(mask);
        fchmod(fd_, 0666 & ~mask);
        return;
    }
    // Only a file system without unnamed files (or an old kernel) falls back to a named
    // temporary; a missing or read-only folder is an error either way.
    if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)
        throw ToolError("cannot write to folder " + folder + ": " + SystemErrorText(errno));
    tempPath_ = UniqueTempPath(target_);
    fd_ = open(tempPath_.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0666);
    if (fd_ < 0) {
        const int error = errno;
        tempPath_.clear();
        throw ToolError("cannot write to folder " + folder + ": " + SystemErrorText(error));
    }
    RegisterTemporaryFile(tempPath_);
}

AtomicOutputFile::~AtomicOutputFile() {
    if (!committed_) Discard();
}

void AtomicOutputFile::Discard() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
    if (!tempPath_.empty()) {
        unlink(tempPath_.c_str());
        ForgetTemporaryFile();
        tempPath_.clear();
    }
}

void AtomicOutputFile::Write(const void* data, size_t size) {
    const int error = WriteAll(data, size);
    if (error != 0) throw ToolError("cannot write " + path_ + ": " + SystemErrorText(error));
}

int AtomicOutputFile::WriteAll(const void* data, size_t size) noexcept {
    return WriteFully(fd_, data, size, ENOSPC);
}

void AtomicOutputFile::TakeNameWithoutReplacing() {
    // Without -y a file that took the name while this one was being written is kept: the
    // name is taken only if it is still free, in one step.
    int error = 0;
    if (renameat2(AT_FDCWD, tempPath_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) != 0) {
        error = errno;
        // File systems without the flag: a hard link fails just the same when the name exists.
        if (error == EINVAL || error == ENOSYS) {
            error = link(tempPath_.c_str(), target_.c_str()) == 0 ? 0 : errno;
            if (error == 0) unlink(tempPath_.c_str());
        }
    }
    if (error == EEXIST)
        throw ToolError(OverwriteRefusal(path_) + " (it appeared while the output was written)");
    if (error != 0) throw ToolError("cannot create " + path_ + ": " + SystemErrorText(error));
}

void AtomicOutputFile::Commit() {
    // An older file about to be replaced must not be lost to a power cut that comes after the
    // rename but before the new bytes reach the disk: the new file goes to disk first. A new
    // name puts nothing at stake, and the wait for the disk (40-70 ms here, most of it the
    // device's cache flush) would be a tenth of a short encode; those bytes reach the disk
    // as any other program's do, as ffmpeg's and cp's.
    struct stat existing;
    if (stat(target_.c_str(), &existing) == 0 && fsync(fd_) != 0 && errno != EINVAL && errno != EROFS)
        throw ToolError("cannot write " + path_ + ": " + SystemErrorText(errno));

    if (tempPath_.empty()) {
        // Give the unnamed file a hidden name, then move it over the destination in one step.
        // The name is registered first, so that a signal arriving in between removes it.
        const std::string named = UniqueTempPath(target_);
        const std::string self = "/proc/self/fd/" + std::to_string(fd_);
        RegisterTemporaryFile(named);
        if (linkat(AT_FDCWD, self.c_str(), AT_FDCWD, named.c_str(), AT_SYMLINK_FOLLOW) != 0) {
            const int error = errno;
            ForgetTemporaryFile();
            throw ToolError("cannot create " + path_ + ": " + SystemErrorText(error));
        }
        tempPath_ = named;
    }
    // Some file systems (NFS) report a failed write only when the file is closed.
    const int closed = close(fd_);
    fd_ = -1;
    if (closed != 0 && errno != EINTR)
        throw ToolError("cannot write " + path_ + ": " + SystemErrorText(errno));
    // The name may have become an input or a non-file while the output was being written.
    CheckOutputName(path_);
    if (OutputsMayReplace()) {
        if (rename(tempPath_.c_str(), target_.c_str()) != 0)
            throw ToolError("cannot create " + path_ + ": " + SystemErrorText(errno));
    } else {
        TakeNameWithoutReplacing();
    }
    ForgetTemporaryFile();
    tempPath_.clear();
    committed_ = true;
}
