// What the tool knows about one QZKT sample before decoding it: its header and whether its
// stored parts lie inside the sample (qzkt_inspect_frame).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The header fields the tool reports, as the decoder reads them.
struct FrameHeader {
    uint32_t headerSize = 0;
    uint8_t version = 0;
    uint8_t alpha = 0;
    uint8_t packing = 0; // 1: LZF
    uint32_t storedSize = 0;
    uint8_t blockColourPlane = 0;
    uint8_t blockKind = 0; // 1: DXT24 blocks
};

struct FrameLayout {
    bool intact = false;
    std::string problem;      // why the frame is damaged, for reports
    FrameHeader header{};     // valid when the sample holds at least a header
    uint32_t payloadSize = 0; // unpacked payload bytes for the track's size
};

FrameLayout CheckFrame(const uint8_t* data, size_t size, int width, int height);

// Whether a sample of a width x height track holds DXT1/DXT5 blocks, which decode through
// OpenGL (by its header; a sample too short for one needs no renderer, it is damaged).
bool NeedsRenderer(const uint8_t* data, size_t size, int width, int height);

class QZKTMovieReader;

// Whether every frame the movie's track lists decodes opaque: DXT24 blocks, whatever the alpha
// flag says (DXT1's three-colour blocks hold transparent black, DXT5's their alpha). Reads only
// the frames' headers; false when one cannot be read.
bool EveryFrameOpaque(const QZKTMovieReader& movie);
