// BMP file load and save with the codec's 16-byte file header.
// Kept on purpose with no product caller (docs/kept-on-purpose.md).
#include "bmp_file.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "platform/little_endian.h"

namespace {

const int kFileHeaderSize = 16;
const int kInfoHeaderSize = 40;
const uint16_t kBitmapType = 0x4D42; // "BM"

enum Compression : uint32_t { kRGB = 0, kRLE8 = 1, kRLE4 = 2, kBitFields = 3 };

// Fields of the BITMAPINFOHEADER at the start of the info block.
struct InfoFields {
    int32_t width;
    int32_t height;
    uint16_t bitCount;
    uint32_t compression;
    uint32_t imageSize;
    uint32_t colorsUsed;
};

InfoFields ReadInfo(const unsigned char* info) {
    return InfoFields{static_cast<int32_t>(ReadLE32(info + 4)),
                      static_cast<int32_t>(ReadLE32(info + 8)),
                      ReadLE16(info + 14),
                      ReadLE32(info + 16),
                      ReadLE32(info + 20),
                      ReadLE32(info + 32)};
}

// Larger than any image these files hold (4 GB, the most a 32-bit size field can say).
const long long kMaxImageSize = 0xFFFFFFFFLL;

// The stored image size, or |height| rows of (width * bits + 7) / 8 bytes; -1 when the
// fields describe no valid size, or one larger than kMaxImageSize (the product of the
// 32-bit sides and the bit count could otherwise overflow).
long long ImageSize(const InfoFields& f) {
    if (f.imageSize != 0) return f.imageSize;
    const long long rowBytes = (static_cast<long long>(f.width) * f.bitCount + 7) / 8;
    const long long rows = f.height < 0 ? -static_cast<long long>(f.height) : f.height;
    if (rowBytes < 0) return -1;
    if (rows != 0 && rowBytes > kMaxImageSize / rows) return -1;
    return rowBytes * rows;
}

// Bytes from the current position to the end of file, or -1 when it cannot be told.
long long BytesLeft(FILE* file) {
    const long here = std::ftell(file);
    if (here < 0 || std::fseek(file, 0, SEEK_END) != 0) return -1;
    const long end = std::ftell(file);
    if (end < 0 || std::fseek(file, here, SEEK_SET) != 0) return -1;
    return end - here;
}

// 40 bytes, plus three colour masks for bit fields, plus a palette where one is called for;
// -1 when the palette size cannot be expressed.
long long InfoSize(const InfoFields& f) {
    long long size = kInfoHeaderSize;
    if (f.compression == kBitFields) size += 12;

    const bool palette = f.compression == kRLE8 || f.compression == kRLE4 ||
                         (f.compression == kRGB && (f.bitCount <= 8 || f.colorsUsed != 0)) ||
                         (f.compression == kBitFields && f.colorsUsed != 0);
    if (palette) {
        if (f.colorsUsed != 0)
            size += 4LL * f.colorsUsed;
        else if (f.bitCount < 31)
            size += 4LL << f.bitCount;
        else
            return -1;
    }
    return size;
}

} // namespace

void* LoadDIBitmap(const char* path, void** info) {
    FILE* file = std::fopen(path, "rb");
    if (file == nullptr) return nullptr;

    unsigned char header[kFileHeaderSize];
    if (std::fread(header, sizeof header, 1, file) != 1 || ReadLE16(header) != kBitmapType) {
        std::fclose(file);
        return nullptr;
    }

    const long long infoSize = static_cast<long long>(ReadLE32(header + 12)) - kFileHeaderSize;
    *info = nullptr;
    // Sizes are checked against what the file holds before anything is allocated, so that a
    // header claiming gigabytes costs nothing; such a file would end short of them anyway.
    const long long bytesLeft = BytesLeft(file);
    if (infoSize < kInfoHeaderSize || infoSize > bytesLeft) { // no room for the fields read below
        std::fclose(file);
        return nullptr;
    }
    unsigned char* infoBlock = static_cast<unsigned char*>(std::malloc(static_cast<size_t>(infoSize)));
    *info = infoBlock;
    if (infoBlock == nullptr) {
        std::fclose(file);
        return nullptr;
    }
    if (std::fread(infoBlock, 1, static_cast<size_t>(infoSize), file) != static_cast<size_t>(infoSize)) {
        std::free(infoBlock);
        std::fclose(file);
        return nullptr;
    }

    const long long imageSize = ImageSize(ReadInfo(infoBlock));
    const bool fits = imageSize >= 0 && imageSize <= bytesLeft - infoSize;
    void* bits = fits ? std::malloc(static_cast<size_t>(imageSize)) : nullptr;
    if (bits == nullptr) {
        std::free(infoBlock);
        std::fclose(file);
        return nullptr;
    }
    if (std::fread(bits, 1, static_cast<size_t>(imageSize), file) != static_cast<size_t>(imageSize)) {
        std::free(bits);
        std::free(infoBlock);
        std::fclose(file);
        return nullptr;
    }

    std::fclose(file);
    return bits;
}

int SaveDIBitmap(const char* path, const void* info, const void* bits) {
    FILE* file = std::fopen(path, "wb");
    if (file == nullptr) return -1;

    const InfoFields fields = ReadInfo(static_cast<const unsigned char*>(info));
    const long long imageSize = ImageSize(fields);
    const long long infoSize = InfoSize(fields);
    if (imageSize < 0 || infoSize < 0) {
        std::fclose(file);
        return -1;
    }

    unsigned char header[kFileHeaderSize] = {};
    WriteLE16(header + 0, kBitmapType);
    WriteLE32(header + 4, static_cast<uint32_t>(kFileHeaderSize + infoSize + imageSize));
    WriteLE32(header + 12, static_cast<uint32_t>(kFileHeaderSize + infoSize));

    if (std::fwrite(header, 1, sizeof header, file) != sizeof header ||
        std::fwrite(info, 1, static_cast<size_t>(infoSize), file) != static_cast<size_t>(infoSize)) {
        std::fclose(file);
        return -1;
    }
    const size_t written = std::fwrite(bits, 1, static_cast<size_t>(imageSize), file);
    const bool closed = std::fclose(file) == 0;
    return (written == static_cast<size_t>(imageSize) && closed) ? 0 : -1;
}
