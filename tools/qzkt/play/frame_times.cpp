// qzkt play --benchmark's figures.
#include "play/frame_times.h"

#include <algorithm>
#include <cmath>

namespace {

// The nearest-rank percentile of sorted values: the smallest value with at least p% of the
// values at or below it.
double Percentile(const std::vector<double>& sorted, double p) {
    const size_t rank = static_cast<size_t>(std::ceil(p / 100.0 * static_cast<double>(sorted.size())));
    return sorted[std::max<size_t>(rank, 1) - 1];
}

} // namespace

FrameTimeSummary SummariseFrameTimes(const std::vector<double>& arrivals, size_t warmUp) {
    FrameTimeSummary summary;
    if (arrivals.size() <= warmUp) return summary;
    summary.frames = arrivals.size() - warmUp;
    if (summary.frames < 2) return summary;
    std::vector<double> intervals;
    for (size_t i = warmUp + 1; i < arrivals.size(); ++i)
        intervals.push_back(arrivals[i] - arrivals[i - 1]);
    summary.seconds = arrivals.back() - arrivals[warmUp];
    summary.fps = summary.seconds > 0 ? static_cast<double>(intervals.size()) / summary.seconds : 0;
    std::sort(intervals.begin(), intervals.end());
    summary.p50 = Percentile(intervals, 50);
    summary.p90 = Percentile(intervals, 90);
    summary.p99 = Percentile(intervals, 99);
    summary.max = intervals.back();
    return summary;
}
