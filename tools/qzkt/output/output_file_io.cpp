// Write and seek callbacks over an AtomicOutputFile.
#include "output/output_file_io.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/tool_error.h"

extern "C" {
#include <libavformat/avformat.h>
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

// A reading context over the output file: its own position, reads by pread.
struct ReadBack {
    int fd;
    int64_t position;
};

int ReadPacket(void* opaque, uint8_t* buffer, int size) {
    auto* state = static_cast<ReadBack*>(opaque);
    const ssize_t got = pread(state->fd, buffer, static_cast<size_t>(size), state->position);
    if (got < 0) return AVERROR(errno);
    if (got == 0) return AVERROR_EOF;
    state->position += got;
    return static_cast<int>(got);
}

int64_t SeekReadBack(void* opaque, int64_t offset, int whence) {
    auto* state = static_cast<ReadBack*>(opaque);
    struct stat st;
    if (fstat(state->fd, &st) != 0) return AVERROR(errno);
    if (whence & AVSEEK_SIZE) return static_cast<int64_t>(st.st_size);
    switch (whence & ~AVSEEK_FORCE) {
    case SEEK_SET:
        state->position = offset;
        break;
    case SEEK_CUR:
        state->position += offset;
        break;
    case SEEK_END:
        state->position = static_cast<int64_t>(st.st_size) + offset;
        break;
    default:
        return AVERROR(EINVAL);
    }
    return state->position;
}

int OpenReadBack(AVFormatContext* format, AVIOContext** pb, const char* url, int flags, AVDictionary**) {
    if (flags != AVIO_FLAG_READ || format->url == nullptr || url == nullptr ||
        std::strcmp(url, format->url) != 0)
        return AVERROR(EPERM); // only the output itself, only for reading
    auto* state = new (std::nothrow) ReadBack{static_cast<AtomicOutputFile*>(format->pb->opaque)->fd(), 0};
    auto* buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
    *pb = state != nullptr && buffer != nullptr
              ? avio_alloc_context(buffer, kBufferSize, 0, state, ReadPacket, nullptr, SeekReadBack)
              : nullptr;
    if (*pb == nullptr) {
        av_free(buffer);
        delete state;
        return AVERROR(ENOMEM);
    }
    (*pb)->seekable = AVIO_SEEKABLE_NORMAL;
    return 0;
}

int CloseReadBack(AVFormatContext*, AVIOContext* pb) {
    if (pb == nullptr) return 0;
    delete static_cast<ReadBack*>(pb->opaque);
    av_freep(&pb->buffer);
    avio_context_free(&pb);
    return 0;
}

} // namespace

void AllowReadingBack(AVFormatContext* format, const std::string& path) {
    av_freep(&format->url);
    format->url = av_strdup(path.c_str());
    if (format->url == nullptr) throw ToolError("out of memory");
    format->io_open = OpenReadBack;
    format->io_close2 = CloseReadBack;
}

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
