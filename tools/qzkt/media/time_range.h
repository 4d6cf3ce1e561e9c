// Which part of the input a transcoder takes (--start/-ss, --duration/-t, --frames), and the
// window that picks those frames and moves their times.
#pragma once

#include <cstdint>

extern "C" {
#include <libavutil/avutil.h>
}

class Options;

// Option names the transcoding commands accept for a range (for Options' flag lists).
extern const char* const kRangeFlags[3]; // --start (-ss), --duration (-t), --frames

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
