// A fuzz input through qzkt_inspect_frame and qzkt_decode, and their promises checked.
#include "api_input.h"

#include <qzkt/qzkt.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "fuzz_common.h"

namespace {

const size_t kPrefixSize = 5;

// The frame in a block of exactly its size; null for an empty frame, as a caller may pass.
std::unique_ptr<uint8_t[]> ExactCopy(const uint8_t* bytes, size_t size) {
    if (size == 0) return nullptr;
    std::unique_ptr<uint8_t[]> copy(new uint8_t[size]);
    std::copy(bytes, bytes + size, copy.get());
    return copy;
}

struct Decoded {
    qzkt_result result = QZKT_OK;
    std::vector<uint8_t> picture;
};

// Decodes size bytes of frame; returns the fault it finds ("" when none).
std::string DecodeChecked(qzkt_decoder* decoder, const uint8_t* bytes, size_t size, int width, int height,
                          size_t rowBytes, Decoded& out) {
    const std::unique_ptr<uint8_t[]> frame = ExactCopy(bytes, size);
    qzkt_frame_info info{};
    const qzkt_result inspected = qzkt_inspect_frame(frame.get(), size, width, height, &info);
    out.picture.assign(rowBytes * height, kGuard);
    out.result = qzkt_decode(decoder, frame.get(), size, out.picture.data(), rowBytes);
    const std::string problem = qzkt_decoder_problem(decoder);
    const bool declined = out.result == QZKT_DAMAGED_FRAME || out.result == QZKT_NO_RENDERER;
    if (inspected != QZKT_OK && inspected != QZKT_DAMAGED_FRAME)
        return "qzkt_inspect_frame answered " + std::to_string(inspected);
    if (out.result != QZKT_OK && !declined) return "qzkt_decode answered " + std::to_string(out.result);
    if (declined == problem.empty())
        return "a problem line that does not match the result: '" + problem + "'";
    if (inspected == QZKT_DAMAGED_FRAME && out.result != QZKT_DAMAGED_FRAME)
        return std::string("a frame qzkt_inspect_frame calls damaged (") + info.problem +
               ") was not declined";
    // qzkt_unpack_frame makes the same check: it unpacks exactly the frames qzkt_decode does not
    // call damaged, into a buffer of exactly the size it asks for.
    qzkt_blocks_info blocks{};
    qzkt_result unpacked = qzkt_unpack_frame(frame.get(), size, width, height, nullptr, 0, &blocks);
    if (unpacked == QZKT_BUFFER_TOO_SMALL) {
        const std::unique_ptr<uint8_t[]> buffer(new uint8_t[blocks.size]);
        unpacked = qzkt_unpack_frame(frame.get(), size, width, height, buffer.get(), blocks.size, &blocks);
    }
    if ((unpacked == QZKT_DAMAGED_FRAME) != (out.result == QZKT_DAMAGED_FRAME) ||
        (unpacked != QZKT_OK && unpacked != QZKT_DAMAGED_FRAME))
        return "qzkt_unpack_frame answered " + std::to_string(unpacked) + " where qzkt_decode answered " +
               std::to_string(out.result);
    if (declined && DestinationTouched(out.picture, rowBytes, width, false))
        return "a declined frame changed the destination";
    if (!declined && DestinationTouched(out.picture, rowBytes, width, true))
        return "a decoded frame wrote outside its picture";
    return "";
}

} // namespace

ApiRun RunApiInput(const uint8_t* data, size_t size) {
    ApiRun run;
    if (size < kPrefixSize) return run;
    run.width = (data[0] | data[1] << 8) & 0x7FFF;
    run.height = (data[2] | data[3] << 8) & 0x7FFF;
    const size_t rowBytes = static_cast<size_t>(run.width) * 4 + data[4];
    if (run.width == 0 || run.height == 0 || static_cast<int64_t>(run.width) * run.height > kMaxFuzzPixels)
        return run;
    run.ran = true;

    qzkt_decoder* decoder = nullptr;
    const qzkt_result created = qzkt_decoder_create(run.width, run.height, QZKT_RENDERER_SOFTWARE, &decoder);
    if (created != QZKT_OK) {
        run.fault = "qzkt_decoder_create answered " + std::to_string(created);
        return run;
    }
    const uint8_t* frame = data + kPrefixSize;
    const size_t frameSize = size - kPrefixSize;
    Decoded whole, cut, again;
    run.fault = DecodeChecked(decoder, frame, frameSize, run.width, run.height, rowBytes, whole);
    run.result = whole.result;
    run.renderer = qzkt_decoder_renderer_name(decoder);
    if (run.fault.empty())
        run.fault = DecodeChecked(decoder, frame, frameSize / 2, run.width, run.height, rowBytes, cut);
    if (run.fault.empty())
        run.fault = DecodeChecked(decoder, frame, frameSize, run.width, run.height, rowBytes, again);
    if (run.fault.empty() && (again.result != whole.result || again.picture != whole.picture))
        run.fault = "the same frame decoded twice gave different results";
    qzkt_decoder_destroy(decoder);
    return run;
}

std::string ApiOutcome(const ApiRun& run) {
    if (!run.ran) return "not-run";
    switch (run.result) {
    case QZKT_OK:
        return "ok";
    case QZKT_DAMAGED_FRAME:
        return "bad-data";
    case QZKT_NO_RENDERER:
        return "no-renderer";
    }
    return "result " + std::to_string(run.result);
}
