// What `qzkt encode` and `qzkt decode` share as transcoders: whether an existing output may be
// replaced (-y / -n), which part of the input to take (--start, --duration, --frames), the
// colour matrix for untagged Y'CbCr (--matrix), and the words of the summary line.
#pragma once

#include <cstdint>
#include <string>

#include "output_check.h"

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/pixfmt.h>
}

class Options;

// Option names the transcoding commands accept (for Options' flag lists).
extern const char* const kOverwriteFlags[2]; // --overwrite (-y), --no-overwrite (-n)
extern const char* const kRangeFlags[3];     // --start (-ss), --duration (-t), --frames

// The choice -y / -n make (output_check.h): -y and -n together are a usage error. The choice
// is also put in force for every output of the run (SetOverwriteChoice).
Overwrite OverwriteChoice(const Options& options);

// Keeps a stream's times strictly increasing, as muxers need them: a time at or before the
// last one becomes the last one plus one (what ffmpeg does to such times), and is counted.
class IncreasingTimes {
  public:
    int64_t Next(int64_t pts) {
        if (started_ && pts <= last_) {
            pts = last_ + 1;
            ++repaired_;
        }
        started_ = true;
        return last_ = pts;
    }
    int64_t repaired() const { return repaired_; }
    bool started() const { return started_; }
    int64_t last() const { return last_; }

  private:
    bool started_ = false;
    int64_t last_ = 0, repaired_ = 0;
};

// "N WHAT times did not increase and were moved forward, as ffmpeg does" (singular for one),
// the note for times repaired as IncreasingTimes and StreamCopier repair them; "" for none.
std::string RepairedTimesNote(int64_t count, const std::string& what);

// The part of the input to take, as ffmpeg's -ss, -t and -frames:v select it. Times are in
// microseconds from the start of the input.
struct TimeRange {
    int64_t start = 0;
    int64_t duration = -1; // -1: to the end
    int64_t frames = -1;   // -1: all
    bool Any() const { return start > 0 || duration >= 0 || frames >= 0; }
};

// Reads --start/-ss, --duration/-t (TIME as ffmpeg takes it: 1.5, 00:01:02.5) and --frames.
TimeRange ParseTimeRange(const Options& options);

// Picks the frames of a stream that fall into a TimeRange and moves their times so that the
// first taken frame of a range with a start is at time 0, as ffmpeg does with -ss.
class FrameWindow {
  public:
    enum Verdict { kSkip, kTake, kStop };

    FrameWindow() = default;
    // origin: the input's start, in timeBase (its first time where it does not start at 0).
    FrameWindow(const TimeRange& range, AVRational timeBase, int64_t origin);

    // Whether the frame at pts is taken; kStop once no later frame will be.
    Verdict Judge(int64_t pts);
    // pts moved to the output's time line.
    int64_t Shift(int64_t pts) const { return pts - shift_; }
    // The window and the shift in microseconds of the input's time, for the other streams:
    // [from, to) (to is INT64_MAX when open), to be narrowed once the last frame is known.
    int64_t fromMicros() const { return from_; }
    int64_t toMicros() const { return to_; }
    int64_t shiftMicros() const;
    // How many frames a stream of `total` frames gives (0 when total is unknown and the range
    // does not say).
    int64_t Expected(int64_t total) const;
    bool active() const { return active_; }
    // Whether Judge has said kStop: the range ended before the input.
    bool stoppedEarly() const { return stopped_; }
    // Whether the range ends after a number of frames, so that where it ends is known only then.
    bool endsByCount() const { return active_ && range_.frames >= 0; }
    // The end of the last frame taken (its time plus one period at rate), in microseconds of
    // the input's time; INT64_MAX before any.
    int64_t TakenEndMicros(AVRational rate) const;

  private:
    bool active_ = false;
    TimeRange range_;
    AVRational timeBase_{1, 1};
    int64_t from_ = 0, to_ = INT64_MAX; // microseconds
    int64_t shift_ = 0;                 // in timeBase
    int64_t taken_ = 0;
    int64_t lastTaken_ = 0; // in timeBase
    bool stopped_ = false;
};

// --matrix: how Y'CbCr pictures become RGB.
enum class MatrixChoice { kAuto, kBT601, kBT709 };
MatrixChoice ParseMatrixChoice(const std::string& value);
// The colour space to convert a picture tagged `tagged` with: the tag, or for auto and an
// untagged picture BT.709 from 720 rows up and BT.601 below, as players do; bt601/bt709 win.
AVColorSpace ConversionColorSpace(MatrixChoice choice, AVColorSpace tagged, int height);

// "1 frame", "3 frames".
std::string Counted(int64_t count, const std::string& noun);
// "517 bytes", "12.4 KB", "3.1 MB", "1.20 GB" (decimal units).
std::string HumanSize(int64_t bytes);
// The size of a file in bytes; -1 when it cannot be read.
int64_t FileSize(const std::string& path);
