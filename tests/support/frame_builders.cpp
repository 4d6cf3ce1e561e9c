// Hand-made frames.
#include "frame_builders.h"

#include <lzf.h>

#include <random>
#include <stdexcept>
#include <string>

#include "platform/little_endian.h"

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

Bytes RandomBytes(size_t size, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(size);
    for (uint8_t& b : bytes)
        b = static_cast<uint8_t>(random());
    return bytes;
}

Bytes Packed(const Bytes& bytes) {
    // LZF's worst case is one control byte for every 32 literals.
    Bytes packed(bytes.size() + bytes.size() / 16 + 64);
    packed.resize(lzf_compress(bytes.data(), static_cast<unsigned>(bytes.size()), packed.data(),
                               static_cast<unsigned>(packed.size())));
    return packed;
}

Bytes HandFrame(KELHeader header, const Bytes& stored, const Bytes& plane) {
    if (header.headerSize == 0) header.headerSize = kKELHeaderSize;
    if (header.version == 0) header.version = kKELFormatVersion;
    if (header.storedSize == 0) header.storedSize = static_cast<uint32_t>(stored.size());
    if (header.planeStoredSize == 0) header.planeStoredSize = static_cast<uint32_t>(plane.size());
    Bytes frame(kKELHeaderSize);
    WriteKELHeader(frame.data(), header);
    frame.insert(frame.end(), stored.begin(), stored.end());
    frame.insert(frame.end(), plane.begin(), plane.end());
    return frame;
}

Bytes StoredFrame(bool dxt24, const Bytes& blocks, bool lzf) {
    KELHeader header{};
    header.packing = lzf ? kKELPackingLZF : 0;
    header.blockKind = dxt24 ? kKELBlockKindDXT24 : kKELBlockKindS3TC;
    return HandFrame(header, lzf ? Packed(blocks) : blocks);
}

Bytes RawFrame(int w, int h, uint8_t blockKind, uint8_t alpha, uint8_t fill) {
    KELHeader header{};
    header.blockKind = blockKind;
    header.alpha = alpha;
    const size_t size = KELBlockCount(w, h) * KELBytesPerBlock(blockKind == kKELBlockKindDXT24, alpha != 0);
    return HandFrame(header, Bytes(size, fill));
}

Bytes WithField(Bytes frame, uint32_t offset, uint32_t value) {
    if (offset + 4 > frame.size()) throw std::runtime_error("no field at " + std::to_string(offset));
    WriteLE32(&frame[offset], value);
    return frame;
}

Bytes LE32s(const std::vector<uint32_t>& values) {
    Bytes bytes(values.size() * 4);
    for (size_t i = 0; i < values.size(); ++i)
        WriteLE32(&bytes[i * 4], values[i]);
    return bytes;
}

size_t TouchedOutside(const Bytes& buffer, size_t rowBytes, int w, int h, uint8_t guard) {
    size_t touched = 0;
    for (size_t i = 0; i < buffer.size(); ++i)
        touched += buffer[i] != guard && (i / rowBytes >= size_t(h) || i % rowBytes >= size_t(w) * 4);
    return touched;
}
