// One fuzz input as a bitmap file through LoadDIBitmap (read from a memory file).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct BitmapRun {
    bool loaded = false;
    int32_t width = 0; // the info block's fields, when loaded
    int32_t height = 0;
    uint16_t bitCount = 0;
};

// Loads the input and frees what the loader returned (a loaded info block always holds at
// least a BITMAPINFOHEADER; the sanitizers see any shorter one).
BitmapRun RunBitmapInput(const uint8_t* data, size_t size);

// "none", or "<width>x<height> <bits>-bit".
std::string BitmapOutcome(const BitmapRun& run);
