// Write and seek callbacks over an AtomicOutputFile.
#include "output/output_file_io.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/tool_error.h"

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
    const int error = static_cast<AtomicOutputFile*>(opaque)->WriteAll(buffer, static_cast<size_t>(size));
    return error == 0 ? size : AVERROR(error);
}

int64_t Seek(void* opaque, int64_t offset, int whence) {
    const int fd = static_cast<AtomicOutputFile*>(opaque)->fd();
    if (whence & AVSEEK_SIZE) {
        struct stat st;
        return fstat(fd, &st) == 0 ? static_cast<int64_t>(st.st_size) : AVERROR(errno);
    }
    const off_t at = lseek(fd, static_cast<off_t>(offset), whence & ~AVSEEK_FORCE);
    return at < 0 ? AVERROR(errno) : static_cast<int64_t>(at);
}

} // namespace

OutputFileIO::OutputFileIO(AtomicOutputFile& file) {
    unsigned char* buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
    if (buffer != nullptr)
        context_ = avio_alloc_context(buffer, kBufferSize, 1, &file, nullptr, WritePacket, Seek);
    if (context_ == nullptr) {
        av_free(buffer);
        throw ToolError("out of memory");
    }
    context_->seekable = AVIO_SEEKABLE_NORMAL;
    // Samples (a megabyte and more each) go to the file as they are, not copied through the
    // buffer in 64 KB pieces; the muxer's small header writes still gather in the buffer.
    context_->direct = 1;
}

OutputFileIO::~OutputFileIO() {
    if (context_ != nullptr) {
        av_freep(&context_->buffer);
        avio_context_free(&context_);
    }
}
