// The --jobs count and its limits.
#include "pipeline/frame_pipeline.h"

#include <algorithm>
#include <cstdlib>

#include "cli/options.h"

namespace {

const int kMaxAutoJobs = 16;
const int kMaxJobs = 256;
const size_t kInFlightBudget = size_t{1} << 30;

} // namespace

int DefaultJobs() {
    const unsigned threads = std::thread::hardware_concurrency();
    return std::clamp(static_cast<int>(threads), 1, kMaxAutoJobs);
}

int ParseJobs(const std::string& value) {
    if (value == "auto") return DefaultJobs();
    char* end = nullptr;
    const long count = std::strtol(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0' || count < 1 || count > kMaxJobs)
        throw UsageError("--jobs takes a count of frames at once (1.." + std::to_string(kMaxJobs) +
                         ") or auto, not '" + value + "'");
    return static_cast<int>(count);
}

int JobsWithinMemory(int jobs, size_t bytesPerJob) {
    const size_t fitting = kInFlightBudget / std::max<size_t>(1, 2 * bytesPerJob);
    return static_cast<int>(std::clamp<size_t>(fitting, 1, static_cast<size_t>(jobs)));
}
