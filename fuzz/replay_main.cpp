// The fuzz targets without libFuzzer: replays every file named on the command line, and
// every file in every folder named (not recursing, in name order), through the target's
// LLVMFuzzerTestOneInput, each once, in a heap block of exactly its size. Arguments that start
// with '-' (libFuzzer's options) are ignored, so a libFuzzer command line replays its corpus.
// A crash or a broken promise ends the run (after the input's name has been printed); the
// exit status is 0 when every input ran, 1 when a path cannot be read.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;

// The files that path names: itself, or the regular files in the folder.
bool CollectInputs(const fs::path& path, std::vector<fs::path>& inputs) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
        if (!fs::is_regular_file(path, error)) return false;
        inputs.push_back(path);
        return true;
    }
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(path, error))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    inputs.insert(inputs.end(), files.begin(), files.end());
    return !error;
}

bool Replay(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!in.eof() && in.fail()) return false;
    std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    LLVMFuzzerTestOneInput(exact.get(), bytes.size());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] == '-') continue;
        if (!CollectInputs(argv[i], inputs)) {
            std::fprintf(stderr, "%s: cannot read %s\n", argv[0], argv[i]);
            return 1;
        }
    }
    for (const fs::path& input : inputs) {
        std::fprintf(stderr, "%s\n", input.c_str());
        if (!Replay(input)) {
            std::fprintf(stderr, "%s: cannot read %s\n", argv[0], input.c_str());
            return 1;
        }
    }
    std::fprintf(stderr, "%zu inputs replayed\n", inputs.size());
    return 0;
}
