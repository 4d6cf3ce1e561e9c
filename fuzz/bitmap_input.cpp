// A fuzz input through the bitmap file loader.
#include "bitmap_input.h"

#include <cstdlib>
#include <cstring>

#include "input_file.h"
#include "pixel/bmp_file.h"
#include "platform/little_endian.h"

BitmapRun RunBitmapInput(const uint8_t* data, size_t size) {
    BitmapRun run;
    const InputFile file(data, size);
    void* info = nullptr;
    void* bits = LoadDIBitmap(file.path().c_str(), &info);
    if (bits == nullptr) return run;
    // The whole BITMAPINFOHEADER is read, so a shorter info block is an overflow.
    unsigned char header[40];
    std::memcpy(header, info, sizeof header);
    run.loaded = true;
    run.width = static_cast<int32_t>(ReadLE32(header + 4));
    run.height = static_cast<int32_t>(ReadLE32(header + 8));
    run.bitCount = ReadLE16(header + 14);
    std::free(bits);
    std::free(info);
    return run;
}

std::string BitmapOutcome(const BitmapRun& run) {
    if (!run.loaded) return "none";
    return std::to_string(run.width) + "x" + std::to_string(run.height) + " " + std::to_string(run.bitCount) +
           "-bit";
}
