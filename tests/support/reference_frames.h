// What the tool's files must hold, computed with the codec's own functions: a generated
// clip, its blocks for each block kind, and their decoded pictures (DXT1/DXT5 through the
// reference S3TC decoder).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "blocks/block_coders.h"
#include "reference_pictures.h"

// Frame `index` of a width x height ARGB clip: gradients that move, hard edges, noise and
// an alpha ramp, so that every block kind has work to do at every edge of the picture.
Bytes ClipFrame(int width, int height, int index);

// Frames 0..count-1 of that clip, back to back (a raw ARGB file).
Bytes ClipFrames(int width, int height, int count);

// The unpacked payload the compressor makes of an ARGB frame.
Bytes ReferenceBlocks(BlockKind kind, const Bytes& argb, int width, int height);

// The width x height ARGB picture the blocks stand for (alpha 255 except in DXT5).
Bytes DecodeBlocks(BlockKind kind, const Bytes& blocks, int width, int height);
