// Small owners for FFmpeg objects and the pixel conversions the tool needs.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

struct AvFrameFree {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct AvPacketFree {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct AvCodecContextFree {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct SwsContextFree {
    void operator()(SwsContext* s) const { sws_freeContext(s); }
};
// Demuxing contexts come from avformat_open_input, muxing ones from
// avformat_alloc_output_context2; each kind has its own way out.
struct AvInputClose {
    void operator()(AVFormatContext* f) const { avformat_close_input(&f); }
};
struct AvOutputFree {
    void operator()(AVFormatContext* f) const { avformat_free_context(f); }
};

using AvFramePtr = std::unique_ptr<AVFrame, AvFrameFree>;
using AvPacketPtr = std::unique_ptr<AVPacket, AvPacketFree>;
using AvCodecContextPtr = std::unique_ptr<AVCodecContext, AvCodecContextFree>;
using SwsContextPtr = std::unique_ptr<SwsContext, SwsContextFree>;
using AvInputPtr = std::unique_ptr<AVFormatContext, AvInputClose>;
using AvOutputPtr = std::unique_ptr<AVFormatContext, AvOutputFree>;

AvFramePtr NewFrame();
AvPacketPtr NewPacket();

// Keeps FFmpeg quiet except for real errors, which the tool reports in its own words.
void QuietFFmpegLogging();

// swscale flags. Same size: point sampling with accurate rounding and no dithering, so RGB
// reorderings are lossless and Y'CbCr sources convert the same way on every run. Scaled:
// bicubic, as ffmpeg's -s.
constexpr int kConvertFlags = SWS_POINT | SWS_ACCURATE_RND | SWS_BITEXACT | SWS_FULL_CHR_H_INT;
constexpr int kScaleFlags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_BITEXACT | SWS_FULL_CHR_H_INT;

// Converts pictures of one size between two pixel formats without scaling or dithering,
// reusing its state from frame to frame. RGB-to-RGB conversions are lossless reorderings.
// For Y'CbCr sources the colour space and range say how to turn them into RGB; an
// unspecified colour space is taken as BT.709 from 720 rows up and BT.601 below, as video
// players do. A source may end with its last row: nothing past it is read. A destination
// needs kFrameBytesSlack bytes of room after its last row (frame_buffer.h), which FrameBytes
// and FFmpeg's frames have: swscale writes one byte past it from RGB24 to ARGB.
class PixelConverter {
  public:
    void Convert(const uint8_t* const srcData[], const int srcLinesize[], AVPixelFormat srcFormat,
                 uint8_t* const dstData[], const int dstLinesize[], AVPixelFormat dstFormat, int width,
                 int height, AVColorSpace srcSpace = AVCOL_SPC_UNSPECIFIED,
                 AVColorRange srcRange = AVCOL_RANGE_UNSPECIFIED);

    // The same, scaled from srcWidth x srcHeight to width x height (bicubic, as ffmpeg's -s).
    void Scale(const uint8_t* const srcData[], const int srcLinesize[], AVPixelFormat srcFormat, int srcWidth,
               int srcHeight, uint8_t* const dstData[], const int dstLinesize[], AVPixelFormat dstFormat,
               int width, int height, AVColorSpace srcSpace = AVCOL_SPC_UNSPECIFIED,
               AVColorRange srcRange = AVCOL_RANGE_UNSPECIFIED);

  private:
    void Run(const uint8_t* const srcData[], const int srcLinesize[], int srcHeight, uint8_t* const dstData[],
             const int dstLinesize[], AVColorSpace srcSpace, AVColorRange srcRange);

    SwsContextPtr context_;
    std::vector<uint8_t> paddedTail_;
};
