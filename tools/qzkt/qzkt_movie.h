// QuickTime movies whose one video track holds QZKT frames: every sample a self-contained
// key frame, the sample description carrying 'QZKT', the width and the height.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

extern "C" {
#include <libavformat/avformat.h>
}

#include "atomic_output_file.h"
#include "fd_avio.h"
#include "ffmpeg_util.h"

const uint32_t kQZKTCodecTag = MKTAG('Q', 'Z', 'K', 'T');

// Writes a .mov that appears only when Finish() succeeds.
class QZKTMovieWriter {
  public:
    // Throws ToolError when the file cannot be created.
    QZKTMovieWriter(const std::string& path, int width, int height, AVRational timeBase,
                    AVRational frameRate);

    // Appends one encoded frame shown at pts (in timeBase units, increasing).
    void WriteFrame(const uint8_t* data, size_t size, int64_t pts);

    // Writes the movie's index and gives the file its name. Throws ToolError on failure.
    void Finish();

  private:
    std::string path_;
    AtomicOutputFile file_;
    FdOutputIO io_;
    AvOutputPtr format_; // freed before io_ and file_
    AVStream* stream_ = nullptr;
    AVRational timeBase_;
    int64_t frameDuration_ = 1;
    AvPacketPtr packet_ = NewPacket();
};

struct QZKTSample {
    const uint8_t* data = nullptr; // valid until the next call of Next
    size_t size = 0;
    int64_t pts = 0; // in the track's time base
    bool keyFrame = false;
};

// Reads the samples of a movie's QZKT track in order.
class QZKTMovieReader {
  public:
    // Throws ToolError when path is missing, is not a QuickTime movie, or has no QZKT track.
    explicit QZKTMovieReader(const std::string& path);

    int width() const { return width_; }
    int height() const { return height_; }
    AVRational timeBase() const { return timeBase_; }
    AVRational frameRate() const { return frameRate_; }
    int64_t frameCount() const { return frameCount_; }

    // The next sample; false at the end of the track. Throws ToolError on a read error.
    bool Next(QZKTSample& sample);

  private:
    std::string path_;
    AvInputPtr format_;
    AVStream* stream_ = nullptr;
    AvPacketPtr packet_ = NewPacket();
    int width_ = 0, height_ = 0;
    AVRational timeBase_{1, 1};
    AVRational frameRate_{25, 1};
    int64_t frameCount_ = 0;
};
