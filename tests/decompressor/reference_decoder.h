// What the decompressor suites compare against: each frame's expected picture (through the
// reference decoders of tests/support) and frames encoded through the host compression entry.
#pragma once

#include <lzf.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "compressor/compressor_component.h"
#include "host/host_compression.h"
#include "pixel/synthetic_image.h"
#include "platform/preferences_directory.h"
#include "stream/kel_header.h"
#include "support/reference_pictures.h"

// Bytes of a w x h picture's buffer outside the picture that no longer hold `guard`.
inline size_t TouchedOutside(const Bytes& buffer, size_t rowBytes, int w, int h, uint8_t guard) {
    size_t touched = 0;
    for (size_t i = 0; i < buffer.size(); ++i)
        touched += buffer[i] != guard && (i / rowBytes >= size_t(h) || i % rowBytes >= size_t(w) * 4);
    return touched;
}

// The visible w x h picture a frame should decode to: its payload unpacked (zero-filled past
// the stored data), decoded by DecodeDXT24 when the block kind is 1, else as DXT1/DXT5.
inline Bytes ExpectedPicture(const Bytes& frame, int w, int h) {
    const KELHeader header = ReadKELHeader(frame.data());
    const bool dxt24 = header.blockKind == 1, alpha = header.alpha != 0;
    Bytes payload(KELBlockCount(w, h) * KELBytesPerBlock(dxt24, alpha));
    const uint8_t* stored = frame.data() + header.headerSize;
    if (header.packing == kKELPackingLZF)
        lzf_decompress(stored, header.storedSize, payload.data(), static_cast<unsigned>(payload.size()));
    else
        std::copy(stored, stored + std::min<size_t>(header.storedSize, payload.size()), payload.begin());
    return dxt24 ? DecodeDXT24Picture(payload.data(), w, h) : DecodeS3TCPicture(payload.data(), alpha, w, h);
}

// A frame encoded through the host compression entry with these settings. The compressor only
// reads the preferences file; it is pointed at a folder that does not exist, never the system's.
inline Bytes EncodeFrame(const Bytes& argb, int w, int h, KELSettingsValues settings) {
    SetPreferencesDirectory("/nonexistent/qzkt-decompressor-tests");
    ZQN_CompressorRegister();
    Bytes frame;
    auto keep = [](void* out, const uint8_t* data, size_t size) {
        static_cast<Bytes*>(out)->assign(data, data + size);
    };
    HostCompression* compression = nullptr;
    if (HostCompressionCreate(w, h, &settings, keep, &frame, &compression) == noErr)
        HostCompressionEncodeFrame(compression, argb.data(), 0);
    HostCompressionClose(compression);
    return frame;
}

// A generated picture encoded as above.
inline Bytes EncodedSynthetic(int w, int h, KELSettingsValues settings) {
    Bytes source(size_t(w) * h * 4);
    FillSyntheticARGB(source.data(), w, h, w * 4, 1, settings.alpha != 0);
    return EncodeFrame(source, w, h, settings);
}
