// How a video is meant to be shown beside its pixels: pixel aspect ratio, rotation and the
// colours' primaries and transfer, read from a stream and carried onto another.
#pragma once

#include <string>

#include "media/ffmpeg_util.h"

struct VideoGeometry {
    AVRational pixelAspect{0, 1}; // 0/1 when square or unknown
    bool rotated = false;
    double rotation = 0; // degrees, as ffprobe gives them
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
};

VideoGeometry GeometryOf(const AVFormatContext* format, const AVStream* stream);

// Pictures scaled from width x height to toWidth x toHeight keep their shape on screen, as
// ffmpeg's scaling keeps it: the pixel aspect takes up the change of proportions.
void FitPixelAspect(VideoGeometry& geometry, int width, int height, int toWidth, int toHeight);

// "64:45"; "" for square pixels.
std::string PixelAspectText(AVRational aspect);

// Gives `to` the pixel aspect and colour tags of `from` (the rotation travels as the display
// matrix, see CopyDisplayMatrix). The colour matrix is not carried: it describes YUV coding,
// and the frames written here are RGB, which is what the matrix tag then says.
void CopyGeometry(const VideoGeometry& from, AVStream* to);

// Whether the muxer writes a stream's rotation (its display matrix): the QuickTime family.
bool MuxerKeepsRotation(const AVOutputFormat* format);
