// The frame source of raw 32-bit ARGB frames from a file or standard input.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
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
        }
        frame_.resize(static_cast<size_t>(width) * height * 4);
    }

    ~RawSource() override {
        if (ownsFd_) close(fd_);
    }

    std::string Damage() const override { return damage_; }

    bool Next(ArgbFrame& out) override {
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
            // The frames before it are whole; they are kept and the rest is reported.
            damage_ = "it ends inside frame " + std::to_string(index_ + 1) + " (" + std::to_string(filled) +
                      " of " + std::to_string(frame_.size()) + " bytes of a " + std::to_string(width_) + "x" +
                      std::to_string(height_) + " ARGB frame)";
            return false;
        }
        out.data = frame_.data();
        out.rowBytes = width_ * 4;
        out.pts = index_++;
        out.buffer = &frame_;
        return true;
    }

  private:
    std::string path_;
    int fd_ = -1;
    bool ownsFd_ = false;
    FrameBytes frame_;
    int64_t index_ = 0;
    std::string damage_;
};

} // namespace

std::unique_ptr<FrameSource> OpenRawSource(const std::string& path, int width, int height,
                                           AVRational frameRate) {
    return std::make_unique<RawSource>(path, width, height, frameRate);
}
