// The checks every SIMD block coder passes against its plain reference, checkasm style: the
// same image through both, bytes compared, the first different block reported with its
// source pixels. Images of generated blocks of every kind, and every edge padding, row pitch
// and misaligned row.
#pragma once

#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "blocks/block_coders.h"

using Bytes = std::vector<unsigned char>;
using Rng = std::mt19937;

struct BlockCoder {
    std::string name;
    size_t blockBytes; // one encoded block
    // encode(payload, image, width, height, rowBytes): the whole image (rowBytes 0 = width * 4).
    using Encode = std::function<void(unsigned char*, unsigned char*, int, int, int)>;
    Encode simd, plain;
};

// A block kind's fast and plain image encoders from the codec's table (block_coders.h), with the
// harness's rowBytes 0 as packed rows.
BlockCoder TableCoder(BlockKind kind);

// Both encodings of the width x height image at image + offset are identical (a gtest
// failure names the first different block otherwise).
void ExpectSameBytes(const BlockCoder& coder, Bytes& image, int width, int height, int rowBytes,
                     size_t offset = 0);

// Writes one block's 16 ARGB pixels (64 bytes, row order).
using BlockMaker = std::function<void(Rng&, unsigned char*)>;

// Images of `blocksPerKind` generated blocks of each kind: noise, two colours, solid and
// near-solid, small noise around one colour, a few nearby levels, gradients, greys, extreme
// channel values.
void ExpectSameBytesForEveryBlockKind(const BlockCoder& coder, int blocksPerKind);

// Widths around every group size (1 to 16 blocks a group), every height mod 4, row pitches
// tight (0 and width * 4), padded, and not a multiple of 4, on sources that start 0 to 3
// bytes past an aligned address.
void ExpectSameBytesAtEveryEdgeAndPitch(const BlockCoder& coder);
