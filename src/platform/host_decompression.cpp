// Host decompression entry: an image description, a decompression request, and the two
// selectors a host calls per frame.
#include "host_decompression.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "gl/gl_context.h"
#include "image_compression.h"
#include "image_decompression.h"
#include "memory_manager.h"
#include "stream/kel_frame_check.h"
#include "stream/kel_settings.h"

struct HostDecompression {
    ComponentInstance instance;
    ImageDescriptionHandle description;
    CodecCapabilities capabilities;
    CodecDecompressParams params;
    int width;
    int height;
    bool preflighted;
    HostRendererChoice renderer;
    std::string* problem; // why the last frame was not decoded
};

namespace {

const int kMaxSide = 32767;

} // namespace

OSStatus HostDecompressionCreate(int width, int height, HostDecompression** decompressionOut) {
    if (decompressionOut == nullptr) return paramErr;
    *decompressionOut = nullptr;
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) return paramErr;
    RegisterBaseImageDecompressor();

    auto* d = static_cast<HostDecompression*>(std::calloc(1, sizeof(HostDecompression)));
    if (d == nullptr) return memFullErr;
    d->width = width;
    d->height = height;
    d->renderer = kHostRendererProcessDefault;
    d->problem = new (std::nothrow) std::string();
    if (d->problem == nullptr) {
        std::free(d);
        return memFullErr;
    }
    d->description =
        NewImageDescription(kKELCodecType, static_cast<int16_t>(width), static_cast<int16_t>(height));
    if (d->description == nullptr) {
        delete d->problem;
        std::free(d);
        return memFullErr;
    }
    const OSErr opened = OpenADefaultComponent(decompressorComponentType, kKELCodecType, &d->instance);
    if (opened != noErr) {
        DisposeHandle(reinterpret_cast<Handle>(d->description));
        delete d->problem;
        std::free(d);
        return opened;
    }
    *decompressionOut = d;
    return noErr;
}

OSStatus HostDecompressionDecodeFrame(HostDecompression* d, const uint8_t* frame, size_t size, uint8_t* argb,
                                      size_t rowBytes) {
    if (d == nullptr || argb == nullptr || (frame == nullptr && size != 0)) return paramErr;
    d->problem->clear();
    if (rowBytes == 0) rowBytes = static_cast<size_t>(d->width) * 4;
    if (rowBytes < static_cast<size_t>(d->width) * 4 || rowBytes > INT32_MAX || size > INT32_MAX)
        return paramErr;

    (*d->description)->dataSize = static_cast<int32_t>(size);
    CodecDecompressParams& p = d->params;
    p.imageDescription = d->description;
    p.data = reinterpret_cast<Ptr>(const_cast<uint8_t*>(frame));
    p.bufferSize = static_cast<int32_t>(size);
    p.capabilities = &d->capabilities;
    p.dstPixMap.baseAddr = reinterpret_cast<Ptr>(argb);
    p.dstPixMap.rowBytes = static_cast<int32_t>(rowBytes);
    p.dstPixMap.bounds = Rect{0, 0, static_cast<int16_t>(d->height), static_cast<int16_t>(d->width)};
    p.dstPixMap.pixelFormat = k32ARGBPixelFormat;
    p.dstPixMap.pixelSize = 32;
    p.srcRect = p.dstPixMap.bounds;

    if (!d->preflighted) {
        const ComponentResult preflight = ImageCodecPreDecompress(d->instance, &p);
        if (preflight != noErr) return preflight;
        d->preflighted = true;
    }
    const ComponentResult decoded = ImageCodecBandDecompress(d->instance, &p);
    if (decoded != noErr) return decoded;
    // The decompressor declines damaged frames silently; tell the host.
    const KELFrameProblem problem = CheckKELFrame(frame, size, d->width, d->height);
    if (problem == KELFrameProblem::kNone) return noErr;
    *d->problem = KELFrameProblemText(problem);
    return codecBadDataErr;
}

void HostDecompressionSetRenderer(HostDecompression* d, HostRendererChoice choice) {
    if (d != nullptr) d->renderer = choice;
}

const char* HostDecompressionProblem(const HostDecompression* d) {
    return d != nullptr ? d->problem->c_str() : "";
}

const char* HostDecompressionRendererName(const HostDecompression*) {
    return "";
}

void HostDecompressionClose(HostDecompression* d) {
    if (d == nullptr) return;
    CloseComponent(d->instance);
    DisposeHandle(reinterpret_cast<Handle>(d->description));
    delete d->problem;
    std::free(d);
}

void HostDecompressionAllowSoftwareRenderer(bool allow) {
    GLContext::SetAllowSoftwareRenderer(allow);
}

bool HostDecompressionRendererAvailable(bool acceptSoftware) {
    const bool allowed = GLContext::AllowsSoftwareRenderer();
    GLContext::SetAllowSoftwareRenderer(acceptSoftware);
    GLContext probe;
    const bool available = probe.InitContext();
    probe.DeleteContext();
    GLContext::SetAllowSoftwareRenderer(allowed);
    return available;
}
