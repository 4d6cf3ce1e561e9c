// Parsing --start, --duration and --frames, and the frame window they make.
#include "media/time_range.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "cli/options.h"
#include "cli/tool_error.h"

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/parseutils.h>
}

const char* const kRangeFlags[3] = {"--start", "--duration", "--frames"};

namespace {

int64_t ParseTime(const std::string& flag, const std::string& text) {
    int64_t micros = 0;
    if (av_parse_time(&micros, text.c_str(), 1) < 0 || micros < 0)
        throw UsageError(flag + " takes a time such as 1.5 or 00:01:02.5, not '" + text + "'");
    return micros;
}

} // namespace

TimeRange ParseTimeRange(const Options& options) {
    TimeRange range;
    if (options.Has("--start")) range.start = ParseTime("--start", options.Value("--start"));
    if (options.Has("--duration")) range.duration = ParseTime("--duration", options.Value("--duration"));
    if (options.Has("--frames")) {
        const std::string text = options.Value("--frames");
        char* end = nullptr;
        const long long count = std::strtoll(text.c_str(), &end, 10);
        if (text.empty() || *end != '\0' || count < 1)
            throw UsageError("--frames takes a frame count (1 or more), not '" + text + "'");
        range.frames = count;
    }
    return range;
}

FrameWindow::FrameWindow(const TimeRange& range, AVRational timeBase, int64_t origin)
    : active_(range.Any()), range_(range), timeBase_(timeBase) {
    const int64_t originMicros = av_rescale_q(origin, timeBase, AV_TIME_BASE_Q);
    // Without a start nothing before the origin is cut (such as audio priming before time 0).
    from_ = range.start > 0 ? originMicros + range.start : INT64_MIN;
    if (range.duration >= 0) to_ = originMicros + range.start + range.duration;
    if (range.start > 0) shift_ = av_rescale_q(from_, AV_TIME_BASE_Q, timeBase);
}

FrameWindow::Verdict FrameWindow::Judge(int64_t pts) {
    if (!active_) return kTake;
    const int64_t micros = av_rescale_q(pts, timeBase_, AV_TIME_BASE_Q);
    if ((range_.frames >= 0 && taken_ >= range_.frames) || micros >= to_) {
        stopped_ = true;
        return kStop;
    }
    if (micros < from_) return kSkip;
    ++taken_;
    lastTaken_ = pts;
    return kTake;
}

int64_t FrameWindow::TakenEndMicros(AVRational rate) const {
    if (taken_ == 0) return INT64_MAX;
    const int64_t period = rate.num > 0 && rate.den > 0 ? av_rescale_q(1, av_inv_q(rate), timeBase_) : 0;
    return av_rescale_q(lastTaken_ + std::max<int64_t>(period, 1), timeBase_, AV_TIME_BASE_Q);
}

int64_t FrameWindow::shiftMicros() const {
    return av_rescale_q(shift_, timeBase_, AV_TIME_BASE_Q);
}

int64_t FrameWindow::Expected(int64_t total) const {
    if (!active_) return total;
    if (range_.frames >= 0 && (total <= 0 || range_.frames < total)) return range_.frames;
    return total; // for the progress line only: an upper bound is good enough
}
