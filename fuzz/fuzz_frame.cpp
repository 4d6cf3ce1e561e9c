// Fuzz target: arbitrary bytes as one frame through the host decompression entry (the
// input's layout is in frame_input.h).
#include "frame_input.h"
#include "fuzz_common.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    PrepareFrameInputs();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return CheckOneInput("fuzz_frame", RunFrameInput, data, size);
}
