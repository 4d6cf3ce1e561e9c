// A fuzz input through HostDecompressionDecodeFrame, and the entry's promises checked.
#include "frame_input.h"

#include <algorithm>

#include "decompressor/decompressor_component.h"
#include "fuzz_common.h"
#include "host/host_decompression.h"
#include "platform/little_endian.h"

void PrepareFrameInputs() {
    ZQN_CodecRegister();
    HostDecompressionAllowSoftwareRenderer(true);
}

FrameRun RunFrameInput(const uint8_t* data, size_t size) {
    FrameRun run;
    if (size < kFramePrefixSize) return run;
    run.width = ReadLE16(data) & 0x7FFF;
    run.height = ReadLE16(data + 2) & 0x7FFF;
    const size_t rowBytes = static_cast<size_t>(run.width) * 4 + data[4];
    if (run.width == 0 || run.height == 0 || static_cast<int64_t>(run.width) * run.height > kMaxFuzzPixels)
        return run;
    run.ran = true;

    HostDecompression* decompression = nullptr;
    const OSStatus created = HostDecompressionCreate(run.width, run.height, &decompression);
    if (created != noErr) {
        run.fault = "HostDecompressionCreate answered " + std::to_string(created);
        return run;
    }
    const uint8_t* frame = data + kFramePrefixSize;
    const size_t frameSize = size - kFramePrefixSize;
    std::vector<uint8_t> destination(rowBytes * run.height, kGuard);
    run.status = HostDecompressionDecodeFrame(decompression, frame, frameSize, destination.data(), rowBytes);
    run.problem = HostDecompressionProblem(decompression);
    run.renderer = HostDecompressionRendererName(decompression);
    // Once more on the same decompression, as the next frame of a movie.
    std::vector<uint8_t> again(destination.size(), kGuard);
    const OSStatus againStatus =
        HostDecompressionDecodeFrame(decompression, frame, frameSize, again.data(), rowBytes);
    HostDecompressionClose(decompression);

    const bool declined = run.status == codecBadDataErr || run.status == codecNoRendererErr;
    if (run.status != noErr && !declined)
        run.fault = "status " + std::to_string(run.status) + " for a frame";
    else if (declined && run.problem.empty())
        run.fault = "a declined frame without a problem line";
    else if (!declined && !run.problem.empty())
        run.fault = "a problem line after noErr: " + run.problem;
    else if (declined && DestinationTouched(destination, rowBytes, run.width, false))
        run.fault = "a declined frame changed the destination";
    else if (!declined && DestinationTouched(destination, rowBytes, run.width, true))
        run.fault = "a decoded frame wrote outside its picture";
    else if (againStatus != run.status || again != destination)
        run.fault = "the same frame decoded twice gave different results";
    return run;
}

std::string FrameOutcome(const FrameRun& run) {
    if (!run.ran) return "not-run";
    switch (run.status) {
    case noErr:
        return "ok";
    case codecBadDataErr:
        return "bad-data";
    case codecNoRendererErr:
        return "no-renderer";
    }
    return "status " + std::to_string(run.status);
}

std::vector<uint8_t> FrameInput(int width, int height, uint8_t padding, const std::vector<uint8_t>& frame) {
    std::vector<uint8_t> input(kFramePrefixSize + frame.size());
    WriteLE16(input.data(), static_cast<uint16_t>(width));
    WriteLE16(input.data() + 2, static_cast<uint16_t>(height));
    input[4] = padding;
    std::copy(frame.begin(), frame.end(), input.begin() + kFramePrefixSize);
    return input;
}
