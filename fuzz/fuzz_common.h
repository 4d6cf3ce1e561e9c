// What the fuzz targets share: the picture cap, so that the fuzzer hunts faults rather than
// memory limits (as FFmpeg's decoder fuzzer caps its pictures), and the way a target reports
// a broken promise.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Pictures of more pixels than this are not decoded (a 1024x1024 frame, or 16400x8).
const int64_t kMaxFuzzPixels = int64_t(1) << 20;

// What a destination is filled with before a decode, to see which bytes the decode wrote.
const uint8_t kGuard = 0xA5;

// Whether bytes of a destination of rows rowBytes apart no longer hold the guard: any of them,
// or (outsideOnly) any outside its width x 4 bytes a row.
inline bool DestinationTouched(const std::vector<uint8_t>& destination, size_t rowBytes, int width,
                               bool outsideOnly) {
    const size_t pictureBytes = static_cast<size_t>(width) * 4;
    for (size_t i = 0; i < destination.size(); ++i)
        if (destination[i] != kGuard && (!outsideOnly || i % rowBytes >= pictureBytes)) return true;
    return false;
}

// Ends the process as a crash does, so that libFuzzer keeps the input.
[[noreturn]] inline void ReportFault(const char* target, const std::string& fault) {
    std::fprintf(stderr, "%s: %s\n", target, fault.c_str());
    std::abort();
}

// Runs one input through run (which returns a record with a `fault` field) and reports the
// fault it found, if any, as target: the body of the targets' LLVMFuzzerTestOneInput.
template <typename Run> int CheckOneInput(const char* target, Run run, const uint8_t* data, size_t size) {
    const auto record = run(data, size);
    if (!record.fault.empty()) ReportFault(target, record.fault);
    return 0;
}
