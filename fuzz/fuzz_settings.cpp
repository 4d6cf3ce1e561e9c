// Fuzz target: arbitrary bytes as the compressor's preferences file and as its settings
// handle (settings_input.h).
#include "fuzz_common.h"
#include "settings_input.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    PrepareSettingsInputs();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return CheckOneInput("fuzz_settings", RunSettingsInput, data, size);
}
