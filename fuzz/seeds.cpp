// Seed inputs for the five fuzz targets.
#include "seeds.h"

#include <sys/stat.h>

#include <lzf.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "corpus_builders.h"
#include "frame_input.h"

namespace {

struct Kind {
    const char* name;
    uint8_t alpha;
    uint8_t dxt24;
};
const Kind kKinds[] = {{"dxt1", 0, 0}, {"dxt5", 1, 0}, {"dxt24", 0, 1}};

void MakeFolder(const std::string& path) {
    mkdir(path.c_str(), 0755);
}

std::string SizeName(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

void WriteFrameSeeds(const std::string& folder) {
    const int sizes[][2] = {{1, 1}, {5, 3}, {8, 8}, {17, 9}, {33, 20}};
    for (const Kind& kind : kKinds)
        for (const auto& size : sizes)
            for (uint8_t noLZF = 0; noLZF <= 1; ++noLZF) {
                const KELSettingsValues settings = {kind.alpha, kind.dxt24, noLZF, 2};
                const Bytes frame = EncodedFrame(size[0], size[1], settings);
                const std::string name =
                    std::string(kind.name) + (noLZF ? "_raw_" : "_lzf_") + SizeName(size[0], size[1]);
                WriteBytes(folder + "/" + name, FrameInput(size[0], size[1], 0, frame));
            }
    // Destination rows a few bytes longer than the picture, and not a whole number of pixels.
    WriteBytes(folder + "/dxt24_lzf_17x9_padded3", FrameInput(17, 9, 3, EncodedFrame(17, 9, {0, 1, 0, 2})));
    WriteBytes(folder + "/dxt1_lzf_17x9_padded8", FrameInput(17, 9, 8, EncodedFrame(17, 9, {0, 0, 0, 2})));
}

void WriteMovieSeeds(const std::string& folder) {
    for (const Kind& kind : kKinds) {
        std::vector<Bytes> frames;
        for (int i = 0; i < 3; ++i)
            frames.push_back(
                EncodedFrame(20, 12, {kind.alpha, kind.dxt24, static_cast<uint8_t>(i == 2), 2}, i));
        WriteBytes(folder + "/" + kind.name + "_20x12.mov", MovieBytes(20, 12, frames));
    }
    WriteBytes(folder + "/dxt24_7x5_one_frame.mov", MovieBytes(7, 5, {EncodedFrame(7, 5, {0, 1, 0, 2})}));
}

void WriteSettingsSeeds(const std::string& folder) {
    const KELSettingsValues values[] = {{0, 1, 0, 2}, {1, 0, 1, 9}, {0, 0, 0, 1}, {0, 1, 1, 5}};
    for (const KELSettingsValues& v : values) {
        const std::string name = std::to_string(v.alpha) + std::to_string(v.dxt24) + std::to_string(v.noLZF) +
                                 "_" + std::to_string(v.threadSetting);
        WriteBytes(folder + "/preferences_" + name, PreferencesFile(v));
        WriteBytes(folder + "/handle_" + name, SettingsHandle(v));
    }
}

void WriteBitmapSeeds(const std::string& folder) {
    WriteBytes(folder + "/rgb24_3x2.bmp", BitmapFile(3, 2, 24, 0, 0, 0, {}, BlockBytes(18)));
    WriteBytes(folder + "/argb32_2x-2_top_down.bmp", BitmapFile(2, -2, 32, 0, 0, 0, {}, BlockBytes(16)));
    WriteBytes(folder + "/palette8_5x2.bmp", BitmapFile(5, 2, 8, 0, 0, 0, BlockBytes(1024), BlockBytes(10)));
    WriteBytes(folder + "/palette4_3x3_16_colours.bmp",
               BitmapFile(3, 3, 4, 0, 0, 16, BlockBytes(64), BlockBytes(6)));
    WriteBytes(folder + "/bitfields16_4x2.bmp",
               BitmapFile(4, 2, 16, 3, 0, 0, LE32s({0xF800, 0x07E0, 0x001F}), BlockBytes(16)));
    WriteBytes(folder + "/rgb24_2x2_image_size.bmp", BitmapFile(2, 2, 24, 0, 12, 0, {}, BlockBytes(12)));
}

} // namespace

// Packed streams of every kind of run (see lzf_input.h), with buffers of the exact size, one
// byte short and larger.
void WriteLZFSeeds(const std::string& folder) {
    const std::vector<uint8_t> payload = EncodedFrame(96, 64, {0, 1, 0, 2});
    std::vector<std::pair<std::string, std::vector<uint8_t>>> originals = {
        {"dxt24_frame", std::vector<uint8_t>(payload.begin(), payload.end())},
        {"one_byte_run", std::vector<uint8_t>(700, 'x')},
        {"text", {}}};
    for (int i = 0; i < 40; ++i)
        for (const char* word : {"block ", "colour ", "index "})
            originals.back().second.insert(originals.back().second.end(), word, word + std::strlen(word));
    for (const auto& [name, bytes] : originals) {
        std::vector<uint8_t> packed(bytes.size() + bytes.size() / 32 + 64);
        packed.resize(lzf_compress(bytes.data(), static_cast<unsigned>(bytes.size()), packed.data(),
                                   static_cast<unsigned>(packed.size())));
        for (const size_t outSize : {bytes.size(), bytes.size() - 1, bytes.size() + 100}) {
            std::vector<uint8_t> input(2 + packed.size());
            input[0] = static_cast<uint8_t>(outSize);
            input[1] = static_cast<uint8_t>(outSize >> 8);
            std::copy(packed.begin(), packed.end(), input.begin() + 2);
            WriteBytes(folder + "/" + name + "_into_" + std::to_string(outSize), input);
        }
    }
}

// Bytes to pack (see lzf_input.h): a DXT24 and a DXT1 payload, repeats, text, with output
// buffers of their size, a third of it and a few bytes.
void WriteLZFPackSeeds(const std::string& folder) {
    const std::vector<uint8_t> dxt24 = EncodedFrame(96, 64, {0, 1, 1, 2}),
                               dxt1 = EncodedFrame(64, 48, {0, 0, 1, 2});
    std::vector<std::pair<std::string, std::vector<uint8_t>>> originals = {
        {"dxt24_frame", dxt24},
        {"dxt1_frame", dxt1},
        {"one_byte_run", std::vector<uint8_t>(700, 'x')},
        {"text", {}}};
    for (int i = 0; i < 40; ++i)
        for (const char* word : {"block ", "colour ", "index "})
            originals.back().second.insert(originals.back().second.end(), word, word + std::strlen(word));
    for (const auto& [name, bytes] : originals)
        for (const size_t outSize : {bytes.size(), bytes.size() / 3, size_t{5}}) {
            std::vector<uint8_t> input(2 + bytes.size());
            input[0] = static_cast<uint8_t>(outSize);
            input[1] = static_cast<uint8_t>(outSize >> 8);
            std::copy(bytes.begin(), bytes.end(), input.begin() + 2);
            WriteBytes(folder + "/" + name + "_into_" + std::to_string(outSize), input);
        }
}

void WriteSeeds(const std::string& folder) {
    MakeFolder(folder + "/frame");
    MakeFolder(folder + "/movie");
    MakeFolder(folder + "/settings");
    MakeFolder(folder + "/bmp");
    MakeFolder(folder + "/lzf");
    MakeFolder(folder + "/lzf_pack");
    WriteFrameSeeds(folder + "/frame");
    WriteMovieSeeds(folder + "/movie");
    WriteSettingsSeeds(folder + "/settings");
    WriteBitmapSeeds(folder + "/bmp");
    WriteLZFSeeds(folder + "/lzf");
    WriteLZFPackSeeds(folder + "/lzf_pack");
}
