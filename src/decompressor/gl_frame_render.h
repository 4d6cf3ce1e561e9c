// The GPU half of the frame reader: uploads unpacked blocks (and the optional second plane),
// draws one quad through the decode program into the instance's framebuffer, and reads the
// result straight into the host's buffer.
#pragma once

#include "gl_decompressor_resources.h"

struct UnpackedFrame {
    int width, height;           // the frame's size
    int blockWidth, blockHeight; // rounded up to whole 4x4 blocks
    unsigned char blockKind;     // header byte 26
    unsigned char alpha;         // header byte 5
    void* blocks;                // the unpacked payload
    void* plane;                 // the unpacked second plane, or null
    int planeWidth, planeHeight;
    bool planeIsRGB; // 3 bytes per plane pixel, else 4
};

// Decodes the frame into destination through the instance's GL context, creating the
// context and its objects on first use. Leaves the destination untouched when no context
// can be made current.
void RenderFrameWithGL(GLDecompressorResources* resources, const UnpackedFrame& frame, void* destination,
                       int rowBytes);
