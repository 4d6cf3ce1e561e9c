// What the tool's files must hold, computed with the codec's own functions: a generated
// clip, its blocks for each block kind, and their decoded pictures (DXT1/DXT5 through the
// reference S3TC decoder).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/reference_pictures.h"

enum class BlockKind { kDXT24, kDXT1, kDXT5 };

// Frame `index` of a width x height ARGB clip: gradients that move, hard edges, noise and
// an alpha ramp, so that every block kind has work to do at every edge of the picture.
Bytes ClipFrame(int width, int height, int index);

// The unpacked payload the compressor makes of an ARGB frame.
Bytes ReferenceBlocks(BlockKind kind, const Bytes& argb, int width, int height);

// The width x height ARGB picture the blocks stand for (alpha 255 except in DXT5).
Bytes DecodeBlocks(BlockKind kind, const Bytes& blocks, int width, int height);

// A frame as the compressor writes these blocks (DXT24, or opaque DXT1): the header, then the
// blocks packed with LZF or stored.
Bytes EncodedFrame(bool dxt24, const Bytes& blocks, bool lzf);

// A QuickTime movie of these samples as the tool writes one, at 10 frames per second.
void WriteMovie(const std::string& path, int width, int height, const std::vector<Bytes>& samples);

// Every sample of a movie's QZKT track, in order.
std::vector<Bytes> MovieSamples(const std::string& movie);
