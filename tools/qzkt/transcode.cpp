// The overwrite choice, range selection, the colour-matrix choice and summary wording.
#include "transcode.h"

#include <algorithm>
#include <cstdio>
#include <sys/stat.h>

#include "options.h"
#include "tool_error.h"

extern "C" {
#include <libavutil/mathematics.h>
#include <libavutil/parseutils.h>
}

const char* const kOverwriteFlags[2] = {"--overwrite", "--no-overwrite"};
const char* const kRangeFlags[3] = {"--start", "--duration", "--frames"};

Overwrite OverwriteChoice(const Options& options) {
    const bool yes = options.Has("--overwrite"), no = options.Has("--no-overwrite");
    if (yes && no)
        throw UsageError("-y (replace the output) and -n (never replace it) contradict each other");
    const Overwrite choice = yes ? Overwrite::kReplace : no ? Overwrite::kKeep : Overwrite::kRefuse;
    SetOverwriteChoice(choice);
    return choice;
}

std::string RepairedTimesNote(int64_t count, const std::string& what) {
    if (count == 0) return "";
    return std::to_string(count) + " " + what +
           (count == 1 ? " time did not increase and was" : " times did not increase and were") +
           " moved forward, as ffmpeg does";
}

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

MatrixChoice ParseMatrixChoice(const std::string& value) {
    if (value == "auto") return MatrixChoice::kAuto;
    if (value == "bt601") return MatrixChoice::kBT601;
    if (value == "bt709") return MatrixChoice::kBT709;
    throw UsageError("--matrix takes bt601, bt709 or auto, not '" + value + "'");
}

AVColorSpace ConversionColorSpace(MatrixChoice choice, AVColorSpace tagged, int height) {
    if (choice == MatrixChoice::kBT601) return AVCOL_SPC_BT470BG;
    if (choice == MatrixChoice::kBT709) return AVCOL_SPC_BT709;
    if (tagged != AVCOL_SPC_UNSPECIFIED && tagged != AVCOL_SPC_RESERVED) return tagged;
    return height >= 720 ? AVCOL_SPC_BT709 : AVCOL_SPC_BT470BG;
}

std::string Counted(int64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string HumanSize(int64_t bytes) {
    if (bytes < 1000) return Counted(bytes, "byte");
    char text[40];
    if (bytes < 1000 * 1000)
        std::snprintf(text, sizeof text, "%.1f KB", bytes / 1e3);
    else if (bytes < 1000 * 1000 * 1000)
        std::snprintf(text, sizeof text, "%.1f MB", bytes / 1e6);
    else
        std::snprintf(text, sizeof text, "%.2f GB", bytes / 1e9);
    return text;
}

int64_t FileSize(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : -1;
}
