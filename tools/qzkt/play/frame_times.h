// The figures of qzkt play --benchmark: from the times frames reached the video sink, the
// sustained rate and the frame-time percentiles.
#pragma once

#include <cstddef>
#include <vector>

struct FrameTimeSummary {
    size_t frames = 0;  // frames counted (after the warm-up)
    double seconds = 0; // from the first counted frame's arrival to the last one's
    double fps = 0;     // frame intervals per second over that span
    // Frame times (intervals between arrivals) in seconds: nearest-rank percentiles.
    double p50 = 0, p90 = 0, p99 = 0, max = 0;
};

// arrivals: steady-clock seconds, in order. The first `warmUp` frames are left out (context
// creation, first uploads); fewer than two frames left give a summary of zeros but frames.
FrameTimeSummary SummariseFrameTimes(const std::vector<double>& arrivals, size_t warmUp);
