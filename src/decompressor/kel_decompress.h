// The frame reader: turns one encoded QZKT frame into 32-bit ARGB pixels (bytes A, R, G, B)
// in the host's buffer. DXT24 frames decode on the CPU; every other block kind is uploaded
// to the GPU and drawn through the decode program.
#pragma once

struct GLDecompressorResources;

// width and height are the frame's size from the image description (not rounded);
// destination has rowBytes between rows. The reader trusts the header's sizes: callers make
// sure the frame's stored parts lie inside its data first (see stream/kel_frame_check.h).
// Returns 0, or -108 when a working buffer cannot be allocated. Working buffers are zero-
// filled, so a short payload shows zeroed blocks rather than old heap contents. The main
// block buffer is kept per calling thread for the next frame (see kel_decompress.cpp).
//
// The CPU path writes whole 4x4 blocks: DXT24 frames need room for width and height rounded
// up to multiples of 4 in the destination. The GPU path writes exactly width x height.
int KEL_DecompressImageData(GLDecompressorResources* resources, int width, int height,
                            const unsigned char* frame, void* destination, int rowBytes);
