// An FFmpeg I/O context over a file descriptor the tool owns (such as an AtomicOutputFile),
// so muxers write and seek in files that appear only when complete.
#pragma once

extern "C" {
#include <libavformat/avio.h>
}

class FdOutputIO {
  public:
    // Throws ToolError when out of memory. fd stays owned by the caller.
    explicit FdOutputIO(int fd);
    ~FdOutputIO();
    FdOutputIO(const FdOutputIO&) = delete;
    FdOutputIO& operator=(const FdOutputIO&) = delete;

    AVIOContext* get() const { return context_; }

  private:
    int fd_;
    AVIOContext* context_ = nullptr;
};
