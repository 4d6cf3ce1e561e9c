// The codec information record both QZKT components carry as their 'cdci' 256 resource.
#include "codec_info.h"

#include <cstring>

// What the codec is, as hosts list it: a lossy intra-only codec of 4x4 blocks that works on
// 32-bit ARGB, stores opaque (24-bit) or alpha (32-bit) frames, and is built for speed.
CodecInfo QZKTCodecInfo() {
    CodecInfo info;
    std::memset(&info, 0, sizeof info);
    const char name[] = "QZKT fast intra (DXT + LZF)";
    info.typeName[0] = static_cast<unsigned char>(sizeof name - 1);
    std::memcpy(info.typeName + 1, name, sizeof name - 1);
    info.version = 1; // matches the component version 0x10001
    info.revisionLevel = 1;
    info.vendor = static_cast<int32_t>(FourCC("Qnht"));
    info.compressFlags = codecInfoDoes32;
    info.decompressFlags = codecInfoDoes32;
    info.formatFlags = codecInfoDepth24 | codecInfoDepth32;
    info.compressionAccuracy = 128; // lossy block coding: mid-scale
    info.decompressionAccuracy = 128;
    info.compressionSpeed = 2; // milliseconds for a 320x240 frame, about
    info.decompressionSpeed = 1;
    info.compressionLevel = 64; // LZF over DXT blocks: light compression
    info.minimumHeight = 1;     // partial 4x4 blocks are padded, so any size works
    info.minimumWidth = 1;
    return info;
}
