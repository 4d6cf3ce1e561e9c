// Seed inputs for the four fuzz targets.
#include "seeds.h"

#include <sys/stat.h>

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

void WriteSeeds(const std::string& folder) {
    MakeFolder(folder + "/frame");
    MakeFolder(folder + "/movie");
    MakeFolder(folder + "/settings");
    MakeFolder(folder + "/bmp");
    WriteFrameSeeds(folder + "/frame");
    WriteMovieSeeds(folder + "/movie");
    WriteSettingsSeeds(folder + "/settings");
    WriteBitmapSeeds(folder + "/bmp");
}
