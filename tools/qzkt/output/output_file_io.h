// An FFmpeg I/O context over an AtomicOutputFile, so muxers write and seek in files that
// appear only when complete.
#pragma once

#include <string>

#include "output/atomic_output_file.h"

extern "C" {
#include <libavformat/avformat.h>
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

// Lets a muxer writing through an OutputFileIO read back what it wrote (the QuickTime muxer's
// faststart pass moves the samples to put the index first): its reopening of its own output
// gets a reading context over the same file. path names the output.
void AllowReadingBack(AVFormatContext* format, const std::string& path);
