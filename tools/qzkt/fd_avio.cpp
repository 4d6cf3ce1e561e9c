// Write and seek callbacks over a file descriptor.
#include "fd_avio.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

#include "tool_error.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

namespace {

const int kBufferSize = 1 << 16;

// FFmpeg 6.1 made the buffer const; both signatures are accepted.
#if LIBAVFORMAT_VERSION_MAJOR >= 61
using WriteBuffer = const uint8_t*;
#else
using WriteBuffer = uint8_t*;
#endif

int WritePacket(void* opaque, WriteBuffer buffer, int size) {
    const int fd = *static_cast<int*>(opaque);
    int done = 0;
    while (done < size) {
        const ssize_t n = write(fd, buffer + done, static_cast<size_t>(size - done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return AVERROR(n < 0 ? errno : ENOSPC);
        done += static_cast<int>(n);
    }
    return size;
}

int64_t Seek(void* opaque, int64_t offset, int whence) {
    const int fd = *static_cast<int*>(opaque);
    if (whence & AVSEEK_SIZE) {
        struct stat st;
        return fstat(fd, &st) == 0 ? static_cast<int64_t>(st.st_size) : AVERROR(errno);
    }
    const off_t at = lseek(fd, static_cast<off_t>(offset), whence & ~AVSEEK_FORCE);
    return at < 0 ? AVERROR(errno) : static_cast<int64_t>(at);
}

} // namespace

FdOutputIO::FdOutputIO(int fd) : fd_(fd) {
    unsigned char* buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
    if (buffer != nullptr)
        context_ = avio_alloc_context(buffer, kBufferSize, 1, &fd_, nullptr, WritePacket, Seek);
    if (context_ == nullptr) {
        av_free(buffer);
        throw ToolError("out of memory");
    }
    context_->seekable = AVIO_SEEKABLE_NORMAL;
}

FdOutputIO::~FdOutputIO() {
    if (context_ != nullptr) {
        av_freep(&context_->buffer);
        avio_context_free(&context_);
    }
}
