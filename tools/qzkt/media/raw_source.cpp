// The frame source of raw 32-bit ARGB frames from a file or standard input.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "cli/tool_error.h"
#include "media/frame_source.h"

namespace {

class RawSource : public FrameSource {
  public:
    RawSource(const std::string& path, int width, int height, AVRational rate) : path_(path) {
        if (width <= 0 || height <= 0 || static_cast<long long>(width) * height > (1LL << 28))
            throw ToolError("raw frame size " + std::to_string(width) + "x" + std::to_string(height) +
                            " is out of range");
        if (rate.num <= 0 || rate.den <= 0) throw ToolError("the frame rate must be positive");
        width_ = width;
        height_ = height;
        frameRate_ = rate;
        timeBase_ = av_inv_q(rate);
        files_.push_back(path);
        if (path == "-") {
            fd_ = STDIN_FILENO;
            path_ = "standard input";
        } else {
            fd_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
            if (fd_ < 0) throw ToolError("cannot open " + path + ": " + SystemErrorText(errno));
            ownsFd_ = true;
            const off_t size = lseek(fd_, 0, SEEK_END);
            if (size > 0) expectedFrames_ = size / (static_cast<off_t>(width) * height * 4);
            lseek(fd_, 0, SEEK_SET);
            struct stat status {};
            mappable_ = fstat(fd_, &status) == 0 && S_ISREG(status.st_mode);
        }
        frame_.resize(static_cast<size_t>(width) * height * 4);
    }

    ~RawSource() override {
        if (ownsFd_) close(fd_);
    }

    std::string Damage() const override { return damage_; }

    bool Next(ArgbFrame& out) override {
        if (mappable_) return NextMapped(out);
        frame_.resize(static_cast<size_t>(width_) * height_ * 4); // it may have been swapped away
        size_t filled = 0;
        while (filled < frame_.size()) {
            const ssize_t n = read(fd_, frame_.data() + filled, frame_.size() - filled);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) throw ToolError("cannot read " + path_ + ": " + SystemErrorText(errno));
            if (n == 0) break;
            filled += static_cast<size_t>(n);
        }
        if (filled == 0) return false;
        if (filled < frame_.size()) {
            ReportCut(filled);
            return false;
        }
        out.data = frame_.data();
        out.rowBytes = width_ * 4;
        out.pts = index_++;
        out.buffer = &frame_;
        out.mapped.reset();
        return true;
    }

  private:
    size_t FrameSize() const { return static_cast<size_t>(width_) * height_ * 4; }

    // The frames before it are whole; they are kept and the rest is reported.
    void ReportCut(size_t filled) {
        damage_ = "it ends inside frame " + std::to_string(index_ + 1) + " (" + std::to_string(filled) +
                  " of " + std::to_string(FrameSize()) + " bytes of a " + std::to_string(width_) + "x" +
                  std::to_string(height_) + " ARGB frame)";
    }

    // A regular file's frames straight from the page cache: the file is mapped (again when it
    // has grown past the mapping), and each frame's end is checked against the file's size
    // first, so that a file cut short, even while it is read, is reported as read() would
    // report it instead of faulting on the lost pages.
    bool NextMapped(ArgbFrame& out) {
        const size_t start = static_cast<size_t>(index_) * FrameSize();
        struct stat status {};
        if (fstat(fd_, &status) != 0) throw ToolError("cannot read " + path_ + ": " + SystemErrorText(errno));
        const size_t size = static_cast<size_t>(status.st_size);
        if (size <= start) return false;
        if (size - start < FrameSize()) {
            ReportCut(size - start);
            return false;
        }
        if (start + FrameSize() > mappedSize_) {
            void* mapped = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd_, 0);
            if (mapped == MAP_FAILED) throw ToolError("cannot read " + path_ + ": " + SystemErrorText(errno));
            madvise(mapped, size, MADV_SEQUENTIAL); // advice only: read ahead, drop behind
            // The jobs that still read frames of an earlier mapping keep it until they finish.
            mapping_ =
                std::shared_ptr<const uint8_t>(static_cast<const uint8_t*>(mapped), [size](const uint8_t* p) {
                    munmap(const_cast<uint8_t*>(p), size);
                });
            mappedSize_ = size;
        }
        out.data = mapping_.get() + start;
        out.rowBytes = width_ * 4;
        out.pts = index_++;
        out.buffer = nullptr;
        out.mapped = mapping_;
        return true;
    }

    std::string path_;
    int fd_ = -1;
    bool ownsFd_ = false;
    FrameBytes frame_;
    bool mappable_ = false; // a regular file, read through mappings
    std::shared_ptr<const uint8_t> mapping_;
    size_t mappedSize_ = 0;
    int64_t index_ = 0;
    std::string damage_;
};

} // namespace

std::unique_ptr<FrameSource> OpenRawSource(const std::string& path, int width, int height,
                                           AVRational frameRate) {
    return std::make_unique<RawSource>(path, width, height, frameRate);
}
