// Fuzz target: arbitrary bytes as a bitmap file through LoadDIBitmap (bitmap_input.h).
#include "bitmap_input.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    RunBitmapInput(data, size);
    return 0;
}
