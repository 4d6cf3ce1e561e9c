// FFmpeg helpers: allocation, logging and exact pixel conversion.
#include "media/ffmpeg_util.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "cli/tool_error.h"
#include "media/frame_buffer.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

std::string AvErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(error, text, sizeof text);
    return text;
}

std::string SystemErrorText(int error) {
    return std::strerror(error);
}

AvFramePtr NewFrame() {
    AvFramePtr frame(av_frame_alloc());
    if (!frame) throw ToolError("out of memory");
    return frame;
}

AvPacketPtr NewPacket() {
    AvPacketPtr packet(av_packet_alloc());
    if (!packet) throw ToolError("out of memory");
    return packet;
}

void QuietFFmpegLogging() {
    av_log_set_level(AV_LOG_QUIET);
}

void PixelConverter::Convert(const uint8_t* const srcData[], const int srcLinesize[], AVPixelFormat srcFormat,
                             uint8_t* const dstData[], const int dstLinesize[], AVPixelFormat dstFormat,
                             int width, int height, AVColorSpace srcSpace, AVColorRange srcRange) {
    // ARGB to planar G, B, R (and A) is a byte shuffle, done here: this swscale changes some
    // alpha values by one on that path (70x38 pictures with varied alpha), and the video
    // outputs must stay lossless.
    if (srcFormat == AV_PIX_FMT_ARGB && (dstFormat == AV_PIX_FMT_GBRP || dstFormat == AV_PIX_FMT_GBRAP)) {
        const bool alpha = dstFormat == AV_PIX_FMT_GBRAP;
        for (int y = 0; y < height; ++y) {
            const uint8_t* argb = srcData[0] + static_cast<ptrdiff_t>(y) * srcLinesize[0];
            uint8_t* g = dstData[0] + static_cast<ptrdiff_t>(y) * dstLinesize[0];
            uint8_t* b = dstData[1] + static_cast<ptrdiff_t>(y) * dstLinesize[1];
            uint8_t* r = dstData[2] + static_cast<ptrdiff_t>(y) * dstLinesize[2];
            uint8_t* a = alpha ? dstData[3] + static_cast<ptrdiff_t>(y) * dstLinesize[3] : nullptr;
            for (int x = 0; x < width; ++x, argb += 4) {
                if (alpha) a[x] = argb[0];
                r[x] = argb[1];
                g[x] = argb[2];
                b[x] = argb[3];
            }
        }
        return;
    }
    context_.reset(sws_getCachedContext(context_.release(), width, height, srcFormat, width, height,
                                        dstFormat, kConvertFlags, nullptr, nullptr, nullptr));
    if (!context_) throw ToolError("cannot convert pictures from this pixel format");
    Run(srcData, srcLinesize, height, dstData, dstLinesize, srcSpace, srcRange);
}

void PixelConverter::Scale(const uint8_t* const srcData[], const int srcLinesize[], AVPixelFormat srcFormat,
                           int srcWidth, int srcHeight, uint8_t* const dstData[], const int dstLinesize[],
                           AVPixelFormat dstFormat, int width, int height, AVColorSpace srcSpace,
                           AVColorRange srcRange) {
    context_.reset(sws_getCachedContext(context_.release(), srcWidth, srcHeight, srcFormat, width, height,
                                        dstFormat, kScaleFlags, nullptr, nullptr, nullptr));
    if (!context_) throw ToolError("cannot scale pictures from this pixel format");
    Run(srcData, srcLinesize, srcHeight, dstData, dstLinesize, srcSpace, srcRange);
}

void PixelConverter::Run(const uint8_t* const srcData[], const int srcLinesize[], int srcHeight,
                         uint8_t* const dstData[], const int dstLinesize[], AVColorSpace srcSpace,
                         AVColorRange srcRange) {
    int space = SWS_CS_ITU601;
    // Untagged sources: the matrix by the source's own height.
    if (srcSpace == AVCOL_SPC_BT709 || (srcSpace == AVCOL_SPC_UNSPECIFIED && srcHeight >= 720))
        space = SWS_CS_ITU709;
    else if (srcSpace == AVCOL_SPC_BT2020_NCL || srcSpace == AVCOL_SPC_BT2020_CL)
        space = SWS_CS_BT2020;
    const int* coefficients = sws_getCoefficients(space);
    const int fullRangeSource = (srcRange == AVCOL_RANGE_JPEG) ? 1 : 0;
    // Fails harmlessly (and changes nothing) for RGB sources, which have no matrix.
    sws_setColorspaceDetails(context_.get(), coefficients, fullRangeSource, coefficients, 1, 0, 1 << 16,
                             1 << 16);
    // swscale may read a little past a row's last pixel (ARGB to RGB24 reads one byte more).
    // FFmpeg's frames and FrameBytes keep room for that; a mapped raw file, or a caller's own
    // buffer, may end with its last row. So a one-plane source goes in two slices: the rows
    // whose over-read stays inside the picture, then the last rows from a padded copy.
    constexpr int kReadPastRow = static_cast<int>(kFrameBytesSlack);
    const int stride = srcLinesize[0];
    if (srcData[1] != nullptr || stride <= 0) {
        sws_scale(context_.get(), srcData, srcLinesize, 0, srcHeight, dstData, dstLinesize);
        return;
    }
    const int tailRows = std::min(srcHeight, kReadPastRow / stride + 1);
    const int headRows = srcHeight - tailRows;
    if (headRows > 0) sws_scale(context_.get(), srcData, srcLinesize, 0, headRows, dstData, dstLinesize);
    const size_t tailBytes = static_cast<size_t>(tailRows) * stride;
    paddedTail_.resize(tailBytes + kReadPastRow);
    std::memcpy(paddedTail_.data(), srcData[0] + static_cast<ptrdiff_t>(headRows) * stride, tailBytes);
    const uint8_t* tail[4] = {paddedTail_.data(), nullptr, nullptr, nullptr};
    sws_scale(context_.get(), tail, srcLinesize, headRows, tailRows, dstData, dstLinesize);
}
