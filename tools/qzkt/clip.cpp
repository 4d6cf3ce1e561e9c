// The built-in clip.
#include "clip.h"

#include <cstddef>

#include "pixel/synthetic_image.h"

std::vector<uint8_t> Clip::Frame(int index) const {
    std::vector<uint8_t> argb(static_cast<size_t>(width) * height * 4);
    FillSyntheticARGB(argb.data(), width, height, width * 4, index);
    return argb;
}
