// Pixel aspect, rotation and colour tags of video streams.
#include "media/video_geometry.h"

#include <cmath>
#include <cstring>

extern "C" {
#include <libavutil/display.h>
}

VideoGeometry GeometryOf(const AVFormatContext* format, const AVStream* stream) {
    VideoGeometry geometry;
    const AVRational aspect = av_guess_sample_aspect_ratio(const_cast<AVFormatContext*>(format),
                                                           const_cast<AVStream*>(stream), nullptr);
    if (aspect.num > 0 && aspect.den > 0 && aspect.num != aspect.den)
        av_reduce(&geometry.pixelAspect.num, &geometry.pixelAspect.den, aspect.num, aspect.den, 1 << 30);
    size_t size = 0;
    const uint8_t* matrix = av_stream_get_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
    if (matrix != nullptr && size >= 9 * sizeof(int32_t)) {
        const double degrees = av_display_rotation_get(reinterpret_cast<const int32_t*>(matrix));
        if (!std::isnan(degrees)) {
            geometry.rotated = true;
            geometry.rotation = degrees == 0 ? 0 : degrees; // no "-0"
        }
    }
    geometry.primaries = stream->codecpar->color_primaries;
    geometry.transfer = stream->codecpar->color_trc;
    return geometry;
}

void FitPixelAspect(VideoGeometry& geometry, int width, int height, int toWidth, int toHeight) {
    if (width <= 0 || height <= 0 || toWidth <= 0 || toHeight <= 0 ||
        (width == toWidth && height == toHeight))
        return;
    const AVRational aspect = geometry.pixelAspect.num > 0 ? geometry.pixelAspect : AVRational{1, 1};
    const AVRational fitted = av_mul_q(aspect, AVRational{width * toHeight, height * toWidth});
    geometry.pixelAspect = fitted.num == fitted.den ? AVRational{0, 1} : fitted;
    av_reduce(&geometry.pixelAspect.num, &geometry.pixelAspect.den, geometry.pixelAspect.num,
              geometry.pixelAspect.den, 1 << 30);
}

std::string PixelAspectText(AVRational aspect) {
    if (aspect.num <= 0 || aspect.den <= 0 || aspect.num == aspect.den) return "";
    return std::to_string(aspect.num) + ":" + std::to_string(aspect.den);
}

void CopyGeometry(const VideoGeometry& from, AVStream* to) {
    if (from.pixelAspect.num > 0) {
        to->sample_aspect_ratio = from.pixelAspect;
        to->codecpar->sample_aspect_ratio = from.pixelAspect;
    }
    if (from.primaries == AVCOL_PRI_UNSPECIFIED && from.transfer == AVCOL_TRC_UNSPECIFIED) return;
    to->codecpar->color_primaries = from.primaries;
    to->codecpar->color_trc = from.transfer;
    // The frames are RGB: what the muxers need, beside the other two, to write the tags.
    to->codecpar->color_space = AVCOL_SPC_RGB;
}

bool MuxerKeepsRotation(const AVOutputFormat* format) {
    for (const char* name : {"mov", "mp4", "ipod", "ismv", "3gp", "3g2", "psp", "f4v"})
        if (std::strcmp(format->name, name) == 0) return true;
    return false;
}
