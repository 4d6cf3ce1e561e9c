// Where the encoder's pictures come from: anything FFmpeg's libraries open (a video file, a
// still image, an image-sequence pattern such as frames_%04d.png), or raw 32-bit ARGB
// frames from a file or standard input. Every picture comes out as 32-bit ARGB (bytes A, R,
// G, B) with its presentation time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/frame_buffer.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/rational.h>
}

#include "cli/report_text.h"
#include "media/colour_matrix.h"
#include "media/increasing_times.h"
#include "media/time_range.h"
#include "output/output_check.h"

class StreamCopier;

struct ArgbFrame {
    const uint8_t* data = nullptr; // valid until the next call of FrameSource::Next
    int rowBytes = 0;
    int64_t pts = 0; // in the source's time base
    // The source's vector behind data, when it holds exactly the frame with rows width * 4
    // bytes apart: the caller may swap it for a vector of its own instead of copying the frame
    // (the source sizes whatever it gets back before its next frame). Null otherwise.
    FrameBytes* buffer = nullptr;
    // Set when data lies in a read-only mapping of the input file (rows width * 4 bytes apart),
    // which this keeps mapped: the caller may keep it and read the frame later without a copy.
    std::shared_ptr<const uint8_t> mapped;
};

class FrameSource {
  public:
    virtual ~FrameSource() = default;

    int width() const { return width_; }
    int height() const { return height_; }
    AVRational timeBase() const { return timeBase_; }
    AVRational frameRate() const { return frameRate_; }
    // How many frames the source expects to deliver; 0 when it cannot tell.
    int64_t expectedFrames() const { return expectedFrames_; }
    // The files it reads, by name ("-" for standard input): one, or every image of a sequence.
    const std::vector<std::string>& files() const { return files_; }
    // Whether its pictures have an alpha channel (as the decoder's pixel format says).
    bool hasAlpha() const { return hasAlpha_; }
    // The first time of its pictures (time base units), where a range's times count from.
    int64_t startTime() const { return startTime_; }

    // The demuxer and its picture stream, for carrying the other streams over; null for raw input.
    virtual const AVFormatContext* format() const { return nullptr; }
    virtual int videoIndex() const { return -1; }
    // The packets of the streams copier copies go to it (Take) as they are read.
    virtual void CopyOthersTo(StreamCopier*) {}
    // Whether --rate renumbers the frames of an input that has times of its own.
    virtual bool retimed() const { return false; }

    // The next picture; false at the end, also where damage ended the input early. Throws
    // ToolError only for input it cannot go on with (a picture of another size).
    virtual bool Next(ArgbFrame& frame) = 0;

    // Once Next has returned false: what was wrong with the input, in words for the user ("it
    // ends after 19 of its 40 frames"), or empty when it was read cleanly to its end. A cut-off
    // input, read or decoding errors, and packets its demuxer marks as damaged all count.
    virtual std::string Damage() const = 0;

  protected:
    int width_ = 0;
    int height_ = 0;
    AVRational timeBase_{1, 25};
    AVRational frameRate_{25, 1};
    int64_t expectedFrames_ = 0;
    std::vector<std::string> files_;
    bool hasAlpha_ = false;
    int64_t startTime_ = 0;
};

// How to read a media input.
struct MediaOptions {
    AVRational rate{0, 0};                     // --rate: the input's frame rate (0/0: its own)
    MatrixChoice matrix = MatrixChoice::kAuto; // --matrix
    int startNumber = -1;      // -start_number: an image pattern's first number (-1: the lowest there)
    int width = 0, height = 0; // --size: every frame scaled to this size (0: the input's own)
};

// Opens path with FFmpeg's libraries and decodes its best video stream. Throws ToolError
// when the input is missing, unreadable, or has no decodable video.
// With a rate, an image sequence (or another input whose demuxer takes a frame rate) is read
// at that rate, as ffmpeg's -framerate; any other input has its frames retimed to it.
std::unique_ptr<FrameSource> OpenMediaSource(const std::string& path, const MediaOptions& options = {});

// The frames of source that fall into window (made for its time base and start), with their
// times moved; its Damage is empty when the window, not the input, ended the reading early.
std::unique_ptr<FrameSource> SelectRange(std::unique_ptr<FrameSource> source, const TimeRange& range);

// Raw width x height 32-bit ARGB frames, back to back, from path or standard input ("-"),
// at the given frame rate. An input that ends inside a frame ends before that frame, as damage.
std::unique_ptr<FrameSource> OpenRawSource(const std::string& path, int width, int height,
                                           AVRational frameRate);
