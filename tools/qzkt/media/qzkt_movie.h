// QuickTime movies whose one video track holds QZKT frames: every sample a self-contained
// key frame, the sample description carrying 'QZKT', the width and the height.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

extern "C" {
#include <libavformat/avformat.h>
}

#include "cli/report_text.h"
#include "media/colour_matrix.h"
#include "media/ffmpeg_util.h"
#include "media/increasing_times.h"
#include "media/stream_copy.h"
#include "media/time_range.h"
#include "output/atomic_output_file.h"
#include "output/output_check.h"
#include "output/output_file_io.h"

const uint32_t kQZKTCodecTag = MKTAG('Q', 'Z', 'K', 'T');

// Whether a track holds QZKT video (its sample description says 'QZKT').
inline bool IsQZKTTrack(const AVCodecParameters* track) {
    return track->codec_type == AVMEDIA_TYPE_VIDEO && track->codec_tag == kQZKTCodecTag;
}

// avformat_find_stream_info for an opened movie, without reading its samples when it would
// learn nothing from them: when its tracks are QZKT video and data (timecode) only. FFmpeg has
// no QZKT decoder, so it would read up to its probe size (5 MB: four 1080p frames, 12-16 ms
// of a 0.2 s decode) looking for parameters that the movie's header already holds. Movies with
// other tracks (audio to carry over) get FFmpeg's whole look.
int FindStreamInfo(AVFormatContext* format);

// Writes a .mov that appears only when Finish() succeeds.
class QZKTMovieWriter {
  public:
    // Throws ToolError when the file cannot be created. With carry, the input's audio,
    // timecode and metadata are copied too: hand their packets to copier().
    // faststart puts the movie's index before its samples (a second pass at the end), so that a
    // copy cut short, or one still downloading, opens.
    QZKTMovieWriter(const std::string& path, int width, int height, AVRational timeBase, AVRational frameRate,
                    const CarryOver* carry = nullptr, bool faststart = false);

    StreamCopier& copier() { return copier_; }

    // Appends one encoded frame shown at pts (in timeBase units, increasing).
    void WriteFrame(const uint8_t* data, size_t size, int64_t pts);

    // Writes the movie's index and gives the file its name. Throws ToolError on failure.
    void Finish();

  private:
    std::string path_;
    AtomicOutputFile file_;
    OutputFileIO io_;
    AvOutputPtr format_; // freed before io_ and file_
    AVStream* stream_ = nullptr;
    StreamCopier copier_;
    AVRational timeBase_;
    int64_t frameDuration_ = 1;
    AvPacketPtr packet_ = NewPacket();
};

struct QZKTSample {
    const uint8_t* data = nullptr; // valid until the next call of Next
    size_t size = 0;
    int64_t pts = 0; // in the track's time base
    bool keyFrame = false;
    // The reader's packet that holds data: the caller may take its reference
    // (av_packet_move_ref) to keep the bytes past the next call instead of copying them.
    AVPacket* packet = nullptr;
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

    // The next sample; false at the end of the track (or of the window). Throws ToolError on
    // a read error.
    bool Next(QZKTSample& sample);

    const AVFormatContext* format() const { return format_.get(); }
    int streamIndex() const { return stream_->index; }
    // Takes only the samples of window, with their times moved (see FrameWindow).
    void SetWindow(const FrameWindow& window) { window_ = window; }
    // Whether the window, not the movie, ended the reading; the samples read, taken or not.
    bool stoppedByWindow() const { return window_.stoppedEarly(); }
    const FrameWindow& window() const { return window_; }
    int64_t samplesRead() const { return samplesRead_; }
    // Packets of the movie's audio streams go to handle as they are read.
    void ReadAudio(std::function<void(const AVPacket*)> handle);
    // Hands visit the first `bytes` bytes of every sample the track's index lists, read where
    // the index puts them (without moving the reader), until visit returns false. False when
    // a sample is shorter or cannot be read, or visit said stop.
    bool VisitSampleHeads(size_t bytes, const std::function<bool(const uint8_t*)>& visit) const;

  private:
    std::string path_;
    AvInputPtr format_;
    AVStream* stream_ = nullptr;
    AvPacketPtr packet_ = NewPacket();
    int width_ = 0, height_ = 0;
    AVRational timeBase_{1, 1};
    AVRational frameRate_{25, 1};
    int64_t frameCount_ = 0;
    FrameWindow window_;
    int64_t samplesRead_ = 0;
    std::function<void(const AVPacket*)> handleAudio_;
};
