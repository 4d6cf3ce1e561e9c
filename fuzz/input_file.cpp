// Fuzz inputs as memory files and plain files.
#include "input_file.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

[[noreturn]] void SetUpFailed(const char* what) {
    std::perror(what);
    std::abort();
}

void WriteAll(int fd, const uint8_t* data, size_t size, const char* what) {
    while (size > 0) {
        const ssize_t written = write(fd, data, size);
        if (written <= 0) SetUpFailed(what);
        data += written;
        size -= static_cast<size_t>(written);
    }
}

} // namespace

InputFile::InputFile(const uint8_t* data, size_t size) {
    fd_ = memfd_create("fuzz-input", MFD_CLOEXEC);
    if (fd_ < 0) SetUpFailed("memfd_create");
    WriteAll(fd_, data, size, "memfd write");
    path_ = "/proc/self/fd/" + std::to_string(fd_);
}

InputFile::~InputFile() {
    close(fd_);
}

void WriteInputTo(const std::string& path, const uint8_t* data, size_t size) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) SetUpFailed(path.c_str());
    WriteAll(fd, data, size, path.c_str());
    close(fd);
}
