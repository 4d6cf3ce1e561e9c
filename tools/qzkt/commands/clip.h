// The built-in clip of the demo and the benchmark: generated frames (moving gradients, hard
// edges, thin lines, text-like detail, noise), the same bytes on every run.
#pragma once

#include <cstdint>
#include <vector>

struct Clip {
    int width;
    int height;
    int frameCount;
    int rate; // frames per second

    // Frame index (0-based) as 32-bit ARGB, rows width * 4 bytes apart.
    std::vector<uint8_t> Frame(int index) const;
};
