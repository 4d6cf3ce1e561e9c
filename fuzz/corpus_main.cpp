// fuzz_corpus: writes the fuzzers' seed corpora, or the malformed-input corpus.
//   fuzz_corpus seeds FOLDER      frame/, movie/, settings/, bmp/, lzf/ and lzf_pack/ seeds, made by the
//   codec fuzz_corpus malformed FOLDER  the checked-in corpus of fuzz/corpus/ and its manifest
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

#include "malformed_corpus.h"
#include "seeds.h"

int main(int argc, char** argv) {
    const std::string mode = argc == 3 ? argv[1] : "";
    if (mode != "seeds" && mode != "malformed") {
        std::fprintf(stderr, "usage: fuzz_corpus seeds|malformed FOLDER\n");
        return 2;
    }
    try {
        std::filesystem::create_directories(argv[2]);
        if (mode == "seeds")
            WriteSeeds(argv[2]);
        else
            WriteMalformedCorpus(argv[2]);
    } catch (const std::exception& e) { // std::runtime_error, std::filesystem::filesystem_error
        std::fprintf(stderr, "fuzz_corpus: %s\n", e.what());
        return 1;
    }
    return 0;
}
