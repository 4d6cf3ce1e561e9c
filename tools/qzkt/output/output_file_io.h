// An FFmpeg I/O context over an AtomicOutputFile, so muxers write and seek in files that
// appear only when complete.
#pragma once

#include "output/atomic_output_file.h"

extern "C" {
#include <libavformat/avio.h>
}

class OutputFileIO {
  public:
    // Throws ToolError when out of memory. The file stays owned by the caller and must
    // outlive the context.
    explicit OutputFileIO(AtomicOutputFile& file);
    ~OutputFileIO();
    OutputFileIO(const OutputFileIO&) = delete;
    OutputFileIO& operator=(const OutputFileIO&) = delete;

    AVIOContext* get() const { return context_; }

  private:
    AVIOContext* context_ = nullptr;
};
