// PixelConverter on pictures that end where their memory ends: the decoded pictures and
// mapped raw files it is given have no padding after their last row, and FFmpeg's converters
// read a little past a row's end on some paths (ARGB to RGB24 reads one byte more).
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "media/ffmpeg_util.h"
#include "media/frame_buffer.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace {

// An ARGB picture followed by `room` bytes, then an unreadable page.
class GuardedPicture {
  public:
    GuardedPicture(int width, int height, size_t room = 0) : bytes_(static_cast<size_t>(width) * height * 4) {
        const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t pages = (bytes_ + room + page - 1) / page;
        mappedBytes_ = (pages + 1) * page;
        void* map = mmap(nullptr, mappedBytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (map == MAP_FAILED) return;
        base_ = static_cast<uint8_t*>(map);
        mprotect(base_ + pages * page, page, PROT_NONE);
        pixels_ = base_ + pages * page - room - bytes_;
        for (size_t i = 0; i < bytes_; ++i)
            pixels_[i] = static_cast<uint8_t>(i * 37 + (i >> 7));
    }
    ~GuardedPicture() {
        if (base_ != nullptr) munmap(base_, mappedBytes_);
    }
    GuardedPicture(const GuardedPicture&) = delete;
    GuardedPicture& operator=(const GuardedPicture&) = delete;

    uint8_t* pixels() const { return pixels_; }
    std::vector<uint8_t> Copy() const { return std::vector<uint8_t>(pixels_, pixels_ + bytes_); }

  private:
    size_t bytes_, mappedBytes_ = 0;
    uint8_t* base_ = nullptr;
    uint8_t* pixels_ = nullptr;
};

struct Planes {
    Planes(AVPixelFormat format, int width, int height) {
        const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(format);
        const int planes = av_pix_fmt_count_planes(format);
        for (int p = 0; p < planes; ++p) {
            const bool chroma = (p == 1 || p == 2) && !(desc->flags & AV_PIX_FMT_FLAG_RGB);
            const int rows = chroma ? AV_CEIL_RSHIFT(height, desc->log2_chroma_h) : height;
            // Aligned rows with room after them, as FFmpeg's own frames have: swscale writes
            // whole vectors.
            linesize[p] = FFALIGN(av_image_get_linesize(format, width, p), 64);
            storage[p].assign(static_cast<size_t>(linesize[p]) * (rows + 1), 0);
            data[p] = storage[p].data();
        }
    }
    std::vector<uint8_t> storage[4];
    uint8_t* data[4] = {};
    int linesize[4] = {};
};

// The whole picture in one call to swscale, from a padded copy: what the converter must give.
Planes Reference(const std::vector<uint8_t>& padded, int width, int height, AVPixelFormat format, int toWidth,
                 int toHeight, int flags) {
    Planes out(format, toWidth, toHeight);
    SwsContext* context = sws_getContext(width, height, AV_PIX_FMT_ARGB, toWidth, toHeight, format, flags,
                                         nullptr, nullptr, nullptr);
    const int* coefficients = sws_getCoefficients(SWS_CS_ITU601);
    sws_setColorspaceDetails(context, coefficients, 0, coefficients, 1, 0, 1 << 16, 1 << 16);
    const uint8_t* src[4] = {padded.data(), nullptr, nullptr, nullptr};
    const int stride[4] = {width * 4, 0, 0, 0};
    sws_scale(context, src, stride, 0, height, out.data, out.linesize);
    sws_freeContext(context);
    return out;
}

} // namespace

// Over-reads of a few bytes crashed decodes to PNG-in-.mov whose frame happened to end at the
// end of a mapping; the rows are now given in slices, which must not change a pixel.
TEST(PixelConverter, ReadsNothingPastAPicturesLastRowAndMatchesAWholePictureConversion) {
    QuietFFmpegLogging();
    for (const int width : {1, 3, 72, 301}) {
        for (const int height : {1, 5, 56}) {
            GuardedPicture guarded(width, height);
            ASSERT_NE(guarded.pixels(), nullptr);
            std::vector<uint8_t> padded = guarded.Copy();
            padded.resize(padded.size() + 256, 0);
            for (const AVPixelFormat format : {AV_PIX_FMT_RGB24, AV_PIX_FMT_BGRA, AV_PIX_FMT_RGBA,
                                               AV_PIX_FMT_YUVJ444P, AV_PIX_FMT_YUVJ420P}) {
                SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + " to " +
                             av_get_pix_fmt_name(format));
                Planes converted(format, width, height);
                const int stride[4] = {width * 4, 0, 0, 0};
                const uint8_t* src[4] = {guarded.pixels(), nullptr, nullptr, nullptr};
                PixelConverter converter;
                converter.Convert(src, stride, AV_PIX_FMT_ARGB, converted.data, converted.linesize, format,
                                  width, height);
                const Planes expected =
                    Reference(padded, width, height, format, width, height, kConvertFlags);
                for (int p = 0; p < 4; ++p)
                    EXPECT_EQ(converted.storage[p], expected.storage[p]) << p;

                // Scaled, as --size does, to twice the size and to a third of it.
                for (const int scale : {0, 1}) {
                    const int toWidth = scale ? width * 2 : (width + 2) / 3;
                    const int toHeight = scale ? height * 2 : (height + 2) / 3;
                    Planes scaled(format, toWidth, toHeight);
                    converter.Scale(src, stride, AV_PIX_FMT_ARGB, width, height, scaled.data, scaled.linesize,
                                    format, toWidth, toHeight);
                    const Planes want =
                        Reference(padded, width, height, format, toWidth, toHeight, kScaleFlags);
                    for (int p = 0; p < 4; ++p)
                        EXPECT_EQ(scaled.storage[p], want.storage[p]) << p;
                }
            }
        }
    }
}

// The other way: decoded frames of the formats inputs come in (FFmpeg's own padded frames)
// into an ARGB picture with no more room after it than a FrameBytes buffer has (RGB24 input
// writes one byte past the last row: with no room, images without alpha crashed here).
TEST(PixelConverter, WritesNothingPastTheRoomAfterAnARGBPicture) {
    QuietFFmpegLogging();
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_YUV444P10LE, AV_PIX_FMT_NV12,
          AV_PIX_FMT_YUVA420P, AV_PIX_FMT_RGB24, AV_PIX_FMT_RGBA, AV_PIX_FMT_GBRP, AV_PIX_FMT_GBRAP,
          AV_PIX_FMT_GRAY8, AV_PIX_FMT_PAL8, AV_PIX_FMT_RGB48LE, AV_PIX_FMT_BGR0}) {
        for (const int width : {1, 3, 18, 301}) {
            for (const int height : {1, 5, 56}) {
                SCOPED_TRACE(std::string(av_get_pix_fmt_name(format)) + " " + std::to_string(width) + "x" +
                             std::to_string(height));
                AvFramePtr frame = NewFrame();
                frame->format = format;
                frame->width = width;
                frame->height = height;
                ASSERT_GE(av_frame_get_buffer(frame.get(), 0), 0);
                for (int p = 0; p < 4 && frame->buf[p] != nullptr; ++p)
                    for (size_t i = 0; i < frame->buf[p]->size; ++i)
                        frame->buf[p]->data[i] = static_cast<uint8_t>(i * 13 + p * 7 + (i >> 5));

                // The room lies against an unreadable page; the picture must be what a
                // destination with plenty of room receives.
                GuardedPicture guarded(width, height, kFrameBytesSlack);
                ASSERT_NE(guarded.pixels(), nullptr);
                uint8_t* out[4] = {guarded.pixels(), nullptr, nullptr, nullptr};
                const int stride[4] = {width * 4, 0, 0, 0};
                PixelConverter converter;
                converter.Convert(frame->data, frame->linesize, format, out, stride, AV_PIX_FMT_ARGB, width,
                                  height);
                std::vector<uint8_t> padded(static_cast<size_t>(width) * height * 4 + 256, 0xEE);
                uint8_t* paddedOut[4] = {padded.data(), nullptr, nullptr, nullptr};
                PixelConverter().Convert(frame->data, frame->linesize, format, paddedOut, stride,
                                         AV_PIX_FMT_ARGB, width, height);
                EXPECT_EQ(guarded.Copy(), std::vector<uint8_t>(padded.begin(), padded.end() - 256));
                EXPECT_EQ(std::vector<uint8_t>(padded.end() - 256 + kFrameBytesSlack, padded.end()),
                          std::vector<uint8_t>(256 - kFrameBytesSlack, 0xEE))
                    << "written past the room after the last row";

                // Scaled into one, as --size does.
                const int toWidth = width * 2 + 1, toHeight = height + 3;
                GuardedPicture scaled(toWidth, toHeight, kFrameBytesSlack);
                ASSERT_NE(scaled.pixels(), nullptr);
                uint8_t* scaledOut[4] = {scaled.pixels(), nullptr, nullptr, nullptr};
                const int scaledStride[4] = {toWidth * 4, 0, 0, 0};
                converter.Scale(frame->data, frame->linesize, format, width, height, scaledOut, scaledStride,
                                AV_PIX_FMT_ARGB, toWidth, toHeight);
                std::vector<uint8_t> scaledPadded(static_cast<size_t>(toWidth) * toHeight * 4 + 256, 0xEE);
                uint8_t* scaledPaddedOut[4] = {scaledPadded.data(), nullptr, nullptr, nullptr};
                PixelConverter().Scale(frame->data, frame->linesize, format, width, height, scaledPaddedOut,
                                       scaledStride, AV_PIX_FMT_ARGB, toWidth, toHeight);
                EXPECT_EQ(scaled.Copy(),
                          std::vector<uint8_t>(scaledPadded.begin(), scaledPadded.end() - 256));
            }
        }
    }
}
