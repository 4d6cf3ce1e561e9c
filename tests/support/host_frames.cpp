// The compressor's own frames.
#include "host_frames.h"

#include <stdexcept>
#include <string>

#include "compressor/compressor_component.h"
#include "host/host_compression.h"
#include "pixel/synthetic_image.h"
#include "platform/preferences_directory.h"

namespace {

void Keep(void* out, const uint8_t* data, size_t size) {
    static_cast<Bytes*>(out)->assign(data, data + size);
}

} // namespace

Bytes EncodeThroughHost(const Bytes& argb, int width, int height, const KELSettingsValues& settings) {
    SetPreferencesDirectory("/nonexistent/qzkt-test-frames");
    ZQN_CompressorRegister();
    Bytes encoded;
    HostCompression* compression = nullptr;
    OSStatus status = HostCompressionCreate(width, height, &settings, Keep, &encoded, &compression);
    if (status == noErr) status = HostCompressionEncodeFrame(compression, argb.data(), 0);
    HostCompressionClose(compression);
    if (status != noErr || encoded.empty())
        throw std::runtime_error("the compressor answered " + std::to_string(status));
    return encoded;
}

Bytes EncodedFrame(int width, int height, const KELSettingsValues& settings, int frame) {
    Bytes picture(static_cast<size_t>(width) * height * 4);
    FillSyntheticARGB(picture.data(), width, height, width * 4, frame, settings.alpha != 0);
    return EncodeThroughHost(picture, width, height, settings);
}
