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
#include "support/frame_builders.h"
#include "support/reference_pictures.h"

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
