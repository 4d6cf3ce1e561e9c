// The note for repaired times.
#include "media/increasing_times.h"

std::string RepairedTimesNote(int64_t count, const std::string& what) {
    if (count == 0) return "";
    return std::to_string(count) + " " + what +
           (count == 1 ? " time did not increase and was" : " times did not increase and were") +
           " moved forward, as ffmpeg does";
}
