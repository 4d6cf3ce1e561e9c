// Fuzz target: arbitrary bytes as a frame through the public API only (api_input.h): the
// library as a program that links libqzkt sees it.
#include "api_input.h"
#include "fuzz_common.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return CheckOneInput("fuzz_api", RunApiInput, data, size);
}
