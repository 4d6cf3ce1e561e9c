// Fuzz target: arbitrary bytes as a QZKT movie through the tool's reader, frame check and
// decoder (movie_input.h).
#include "fuzz_common.h"
#include "movie_input.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    PrepareMovieInputs();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return CheckOneInput("fuzz_movie", RunMovieInput, data, size);
}
