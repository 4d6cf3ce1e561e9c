// Frames, movies, settings and bitmaps for the fuzz corpora.
#include "corpus_builders.h"

#include <lzf.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "compressor/compressor_component.h"
#include "compressor/compressor_settings.h"
#include "pixel/bmp_file.h"
#include "platform/little_endian.h"
#include "platform/preferences_directory.h"

namespace {} // namespace

Bytes BitmapFile(int32_t width, int32_t height, uint16_t bitCount, uint32_t compression, uint32_t imageSize,
                 uint32_t colorsUsed, const Bytes& extraInfo, const Bytes& bits) {
    Bytes info(40);
    WriteLE32(&info[0], 40);
    WriteLE32(&info[4], static_cast<uint32_t>(width));
    WriteLE32(&info[8], static_cast<uint32_t>(height));
    WriteLE16(&info[12], 1);
    WriteLE16(&info[14], bitCount);
    WriteLE32(&info[16], compression);
    WriteLE32(&info[20], imageSize);
    WriteLE32(&info[32], colorsUsed);
    info.insert(info.end(), extraInfo.begin(), extraInfo.end());
    const std::string folder = MakeScratchFolder();
    const std::string path = folder + "/bitmap.bmp";
    const int saved = SaveDIBitmap(path.c_str(), info.data(), bits.data());
    Bytes file = ReadBytes(path);
    RemoveScratchFolder(folder);
    if (saved != 0) throw std::runtime_error("SaveDIBitmap failed");
    return file;
}

Bytes SettingsHandle(const KELSettingsValues& values) {
    Bytes handle(kKELSettingsHandleSize);
    WriteKELSettingsRecord(handle.data(), values);
    return handle;
}

Bytes PreferencesFile(const KELSettingsValues& values) {
    // Through the compressor's own writer: the values become a fresh compressor's settings,
    // which it saves when its settings dialog is confirmed; here they are saved directly.
    const std::string folder = MakeScratchFolder();
    SetPreferencesDirectory(folder.c_str());
    KELCompressorGlobals globals{};
    globals.alpha = values.alpha;
    globals.dxt24 = values.dxt24;
    globals.noLZF = values.noLZF;
    globals.threadSetting = values.threadSetting;
    WritePreferences(&globals);
    SetPreferencesDirectory(nullptr);
    Bytes file = ReadBytes(folder + "/KELPreferences.dat");
    RemoveScratchFolder(folder);
    return file;
}

Bytes ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

void WriteBytes(const std::string& path, const Bytes& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out) throw std::runtime_error("cannot write " + path);
}

std::string MakeScratchFolder() {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/qzkt-corpus-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a scratch folder");
    return pattern;
}

void RemoveScratchFolder(const std::string& folder) {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}
