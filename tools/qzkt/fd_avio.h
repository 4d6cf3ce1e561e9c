// An FFmpeg I/O context over an AtomicOutputFile, so muxers write and seek in files that
// appear only when complete.
#pragma once

#include "atomic_output_file.h"

extern "C" {
#include <libavformat/avio.h>
}

class FdOutputIO {
  public:
    // Throws ToolError when out of memory. The file stays owned by the caller and must
    // outlive the context.
    explicit FdOutputIO(AtomicOutputFile& file);
    ~FdOutputIO();
    FdOutputIO(const FdOutputIO&) = delete;
    FdOutputIO& operator=(const FdOutputIO&) = delete;

    AVIOContext* get() const { return context_; }

  private:
    AVIOContext* context_ = nullptr;
};
