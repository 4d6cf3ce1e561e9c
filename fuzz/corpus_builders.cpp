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
#include "host/host_compression.h"
#include "media/qzkt_movie.h"
#include "pixel/bmp_file.h"
#include "pixel/synthetic_image.h"
#include "platform/little_endian.h"
#include "platform/preferences_directory.h"

namespace {

void Receive(void* refCon, const uint8_t* data, size_t size) {
    static_cast<Bytes*>(refCon)->assign(data, data + size);
}

// Offset of the atom whose four-character type is tag (the first one).
size_t AtomOffset(const Bytes& movie, const char* tag) {
    const auto at = std::search(movie.begin(), movie.end(), tag, tag + 4);
    if (at == movie.end() || at - movie.begin() < 4) throw std::runtime_error(std::string("no atom ") + tag);
    return static_cast<size_t>(at - movie.begin()) - 4;
}

} // namespace

Bytes EncodedFrame(int width, int height, const KELSettingsValues& settings, int frame) {
    ZQN_CompressorRegister();
    Bytes encoded;
    HostCompression* compression = nullptr;
    OSStatus status = HostCompressionCreate(width, height, &settings, Receive, &encoded, &compression);
    if (status == noErr) {
        Bytes picture(static_cast<size_t>(width) * height * 4);
        FillSyntheticARGB(picture.data(), width, height, width * 4, frame, settings.alpha != 0);
        status = HostCompressionEncodeFrame(compression, picture.data(), 0);
    }
    HostCompressionClose(compression);
    if (status != noErr || encoded.empty())
        throw std::runtime_error("the compressor answered " + std::to_string(status));
    return encoded;
}

Bytes BlockBytes(size_t bytes, size_t period) {
    Bytes blocks(bytes);
    uint32_t state = 0x2545F491;
    for (size_t i = 0; i < bytes; ++i) {
        if (period != 0 && i >= period) {
            blocks[i] = blocks[i - period];
            continue;
        }
        state = state * 1664525 + 1013904223;
        blocks[i] = static_cast<uint8_t>(state >> 24);
    }
    return blocks;
}

Bytes Packed(const Bytes& bytes) {
    Bytes packed(bytes.size() + 64);
    packed.resize(lzf_compress(bytes.data(), static_cast<unsigned>(bytes.size()), packed.data(),
                               static_cast<unsigned>(packed.size())));
    return packed;
}

Bytes HandFrame(KELHeader header, const Bytes& stored) {
    if (header.headerSize == 0) header.headerSize = kKELHeaderSize;
    if (header.version == 0) header.version = kKELFormatVersion;
    if (header.storedSize == 0) header.storedSize = static_cast<uint32_t>(stored.size());
    Bytes frame(kKELHeaderSize);
    WriteKELHeader(frame.data(), header);
    frame.insert(frame.end(), stored.begin(), stored.end());
    return frame;
}

Bytes WithField(Bytes frame, uint32_t offset, uint32_t value) {
    if (offset + 4 > frame.size()) throw std::runtime_error("no field at " + std::to_string(offset));
    WriteLE32(&frame[offset], value);
    return frame;
}

Bytes MovieBytes(int width, int height, const std::vector<Bytes>& samples) {
    const std::string folder = MakeScratchFolder();
    const std::string path = folder + "/movie.mov";
    {
        QZKTMovieWriter movie(path, width, height, AVRational{1, 10}, AVRational{10, 1});
        for (size_t i = 0; i < samples.size(); ++i) {
            const Bytes sample = samples[i].empty() ? Bytes(1) : samples[i];
            movie.WriteFrame(sample.data(), sample.size(), static_cast<int64_t>(i));
        }
        movie.Finish();
    }
    Bytes movie = ReadBytes(path);
    RemoveScratchFolder(folder);
    // stsz: size, type, version and flags, sample size, sample count, then one size a sample.
    for (size_t i = 0; i < samples.size(); ++i)
        if (samples[i].empty()) WriteLE32(&movie.at(AtomOffset(movie, "stsz") + 20 + 4 * i), 0);
    return movie;
}

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

Bytes LE32s(const std::vector<uint32_t>& values) {
    Bytes bytes(values.size() * 4);
    for (size_t i = 0; i < values.size(); ++i)
        WriteLE32(&bytes[4 * i], values[i]);
    return bytes;
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
