// What the tool knows about one QZKT sample before decoding it: its header and whether its
// stored parts lie inside the sample.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "stream/kel_header.h"

struct FrameLayout {
    bool intact = false;
    std::string problem;      // why the frame is damaged, for reports
    KELHeader header{};       // valid when the sample holds at least a header
    uint32_t payloadSize = 0; // unpacked payload bytes for the track's size
};

FrameLayout CheckFrame(const uint8_t* data, size_t size, int width, int height);
