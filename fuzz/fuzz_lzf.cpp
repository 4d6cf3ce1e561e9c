// Fuzz target: arbitrary bytes as an LZF stream through the decoder's unpackers, compared with
// liblzf's (the input's layout is in lzf_input.h).
#include "fuzz_common.h"
#include "lzf_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string fault = RunLZFInput(data, size);
    if (!fault.empty()) ReportFault("fuzz_lzf", fault);
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return 0;
}
