// What the fuzz targets share: the picture cap, so that the fuzzer hunts faults rather than
// memory limits (as FFmpeg's decoder fuzzer caps its pictures), and the way a target reports
// a broken promise.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// Pictures of more pixels than this are not decoded (a 1024x1024 frame, or 16400x8).
const int64_t kMaxFuzzPixels = int64_t(1) << 20;

// Ends the process as a crash does, so that libFuzzer keeps the input.
[[noreturn]] inline void ReportFault(const char* target, const std::string& fault) {
    std::fprintf(stderr, "%s: %s\n", target, fault.c_str());
    std::abort();
}
