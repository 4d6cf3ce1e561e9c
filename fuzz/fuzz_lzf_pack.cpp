// Fuzz target: arbitrary bytes through the encoder's LZF packer, compared with liblzf's
// lzf_compress (the input's layout is in lzf_input.h).
#include "fuzz_common.h"
#include "lzf_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string fault = RunLZFPackInput(data, size);
    if (!fault.empty()) ReportFault("fuzz_lzf_pack", fault);
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    return 0;
}
