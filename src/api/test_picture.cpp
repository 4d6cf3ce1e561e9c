// Generated test pictures and the quality measure, as the project's own demos, tests and
// benchmarks use them.
#include <cstdint>

#include "codec_host.h"
#include "pixel/synthetic_image.h"

namespace {

// The row stride for width pixels by the adapters' rule (HostRowBytes), as the picture code's
// int; false when the rule refuses it.
bool RowBytesFor(int width, size_t given, int* rowBytes) {
    const size_t used = HostRowBytes(given, width);
    *rowBytes = static_cast<int>(used);
    return used != 0;
}

} // namespace

qzkt_result qzkt_test_picture(uint8_t* argb, int width, int height, size_t row_bytes, int frame,
                              int with_alpha) {
    int rowBytes = 0;
    if (argb == nullptr || !IsHostFrameSide(width) || !IsHostFrameSide(height) ||
        !RowBytesFor(width, row_bytes, &rowBytes))
        return QZKT_BAD_ARGUMENTS;
    FillSyntheticARGB(argb, width, height, rowBytes, frame, with_alpha != 0);
    return QZKT_OK;
}

double qzkt_psnr(const uint8_t* a, size_t a_row_bytes, const uint8_t* b, size_t b_row_bytes, int width,
                 int height) {
    int aRowBytes = 0, bRowBytes = 0;
    if (a == nullptr || b == nullptr || !IsHostFrameSide(width) || !IsHostFrameSide(height) ||
        !RowBytesFor(width, a_row_bytes, &aRowBytes) || !RowBytesFor(width, b_row_bytes, &bRowBytes))
        return -1.0;
    return PSNRofARGB(a, aRowBytes, b, bRowBytes, width, height);
}
