// Host decompression entry: an image description, a decompression request, and the two
// selectors a host calls per frame.
#include "host_decompression.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "blocks/block_coders.h"
#include "blocks/s3tc_decode.h"
#include "decompressor/gpu_size_rule.h"
#include "gl/gl_context.h"
#include "gl/gl_renderer_limits.h"
#include "host_checks.h"
#include "platform/image_compression.h"
#include "platform/image_decompression.h"
#include "platform/memory_manager.h"
#include "stream/kel_frame_check.h"
#include "stream/kel_header.h"
#include "stream/kel_settings.h"
#include "stream/lzf_unpack.h"

struct HostDecompression {
    ComponentInstance instance;
    ImageDescriptionHandle description;
    CodecCapabilities capabilities;
    CodecDecompressParams params;
    int width;
    int height;
    bool preflighted;
    HostRendererChoice renderer;
    bool rendererFixed;        // the GPU path's context exists: acceptSoftware no longer changes
    bool acceptSoftware;       // the renderer policy its context was (or will be) made under
    std::string* problem;      // why the last frame was not decoded
    std::string* rendererName; // GL_RENDERER of the GPU path, once it drew a frame
    uint8_t* cpuBlocks;        // the CPU decoder's unpacked blocks (malloc), for frames of this size
};

namespace {

// Whether the decompression's GPU path accepts a software renderer: fixed by its first GPU
// frame (when its context is made), until then as its renderer choice says.
bool AcceptsSoftware(const HostDecompression* d) {
    if (d->rendererFixed) return d->acceptSoftware;
    switch (d->renderer) {
    case kHostRendererHardware:
        return false;
    case kHostRendererAuto:
    case kHostRendererSoftware:
    case kHostRendererCPU:
        return true;
    case kHostRendererProcessDefault:
        break;
    }
    return GLContext::AllowsSoftwareRenderer();
}

// Sets the calling thread's renderer policy for the component's calls, and puts the previous
// one back.
class ThreadRendererPolicyScope {
  public:
    explicit ThreadRendererPolicyScope(bool acceptSoftware) : previous_(GLContext::ThreadRendererPolicy()) {
        GLContext::SetThreadRendererPolicy(acceptSoftware ? GLRendererPolicy::kSoftwareAccepted
                                                          : GLRendererPolicy::kHardwareOnly);
    }
    ~ThreadRendererPolicyScope() { GLContext::SetThreadRendererPolicy(previous_); }
    ThreadRendererPolicyScope(const ThreadRendererPolicyScope&) = delete;
    ThreadRendererPolicyScope& operator=(const ThreadRendererPolicyScope&) = delete;

  private:
    GLRendererPolicy previous_;
};

// Whether a frame that passed the layout check can be decoded here on the CPU with its LZF
// payload walked only once, by unpacking it: a DXT24 frame, or a DXT1/DXT5 frame when this
// decompression uses the CPU decoder, either without a packed second plane (whose stream only
// the whole check walks; neither decoder uses the plane).
bool UnpacksWhileChecking(const HostDecompression* d, const uint8_t* frame) {
    const KELHeader header = ReadKELHeader(frame);
    const bool plane =
        static_cast<int32_t>(header.planeWidth) > 0 && static_cast<int32_t>(header.planeHeight) > 0;
    if (plane && header.planePacking == kKELPackingLZF) return false;
    // The DXT24 decoder writes whole blocks: only frames whose rows hold whole blocks (every
    // common video width) can take it without the decompressor's padded buffer.
    return (header.blockKind == kKELBlockKindDXT24 && d->width % 4 == 0) ||
           (header.blockKind == kKELBlockKindS3TC && HostDecompressionDecodesS3TCOnCPU(d));
}

// The DXT24 blocks in d->cpuBlocks into the width x height pixels at argb (a width of whole
// blocks): the whole block rows directly, a last partial one through a four-row buffer.
void DecodeDXT24Rows(HostDecompression* d, uint8_t* argb, size_t rowBytes) {
    const BlockImageDecoder decode = CodersFor(BlockKind::kDXT24).decode;
    const int wholeRows = d->height / 4 * 4;
    const int row = static_cast<int>(rowBytes);
    decode(d->cpuBlocks, argb, d->width, wholeRows, row);
    const int left = d->height - wholeRows;
    if (left == 0) return;
    const size_t lineBytes = static_cast<size_t>(d->width) * 4;
    std::vector<uint8_t> last(lineBytes * 4);
    decode(d->cpuBlocks + static_cast<size_t>(wholeRows / 4) * (d->width / 4) * kDXT24BlockBytes, last.data(),
           d->width, 4, static_cast<int>(lineBytes));
    for (int y = 0; y < left; ++y)
        std::memcpy(argb + static_cast<size_t>(wholeRows + y) * rowBytes, &last[lineBytes * y], lineBytes);
}

// A frame on the CPU: its payload unpacked into the decompression's block buffer, then decoded
// into exactly width x height pixels, as the decompressor's own CPU path does for DXT24 (which
// reads 10-byte blocks whatever the alpha flag says). The frame passed the layout check; a
// packed payload that does not unpack to exactly the frame's blocks is a damaged frame, named
// as the whole check names it, and the destination is untouched.
OSStatus DecodeOnCPU(HostDecompression* d, const uint8_t* frame, size_t frameSize, uint8_t* argb,
                     size_t rowBytes) {
    const KELHeader header = ReadKELHeader(frame);
    const bool dxt24 = header.blockKind == kKELBlockKindDXT24;
    const bool alpha = header.alpha != 0;
    const size_t blocks = static_cast<size_t>(KELBlockCount(d->width, d->height));
    if (d->cpuBlocks == nullptr) // room for the largest blocks of any kind
        d->cpuBlocks = static_cast<uint8_t*>(
            std::malloc(blocks * std::max(KELBytesPerBlock(true, true), KELBytesPerBlock(false, true))));
    if (d->cpuBlocks == nullptr) return memFullErr;
    const size_t payload = blocks * KELBytesPerBlock(dxt24, alpha);
    const uint8_t* stored = frame + header.headerSize;
    if (header.packing != kKELPackingLZF) {
        std::memcpy(d->cpuBlocks, stored, payload); // the layout check saw at least this many
    } else if (LZFUnpackIntoZeroed(stored, header.storedSize, d->cpuBlocks, payload) != payload) {
        // Not cleared first: only a payload that fills the buffer exactly is decoded.
        const KELFrameProblem problem = CheckKELFrame(frame, frameSize, d->width, d->height);
        *d->problem = KELFrameProblemText(
            problem != KELFrameProblem::kNone ? problem : KELFrameProblem::kPayloadUnpack);
        return codecBadDataErr;
    }
    if (dxt24)
        DecodeDXT24Rows(d, argb, rowBytes);
    else
        DecodeS3TC(d->cpuBlocks, alpha, argb, d->width, d->height, static_cast<int>(rowBytes));
    return noErr;
}

void FreeDecompression(HostDecompression* d) {
    std::free(d->cpuBlocks);
    if (d->description != nullptr) DisposeHandle(reinterpret_cast<Handle>(d->description));
    delete d->problem;
    delete d->rendererName;
    std::free(d);
}

} // namespace

OSStatus HostDecompressionCreate(int width, int height, HostDecompression** decompressionOut) {
    if (decompressionOut == nullptr) return paramErr;
    *decompressionOut = nullptr;
    if (!IsHostFrameSide(width) || !IsHostFrameSide(height)) return paramErr;
    RegisterBaseImageDecompressor();

    auto* d = static_cast<HostDecompression*>(std::calloc(1, sizeof(HostDecompression)));
    if (d == nullptr) return memFullErr;
    d->width = width;
    d->height = height;
    d->renderer = kHostRendererProcessDefault;
    d->problem = new (std::nothrow) std::string();
    d->rendererName = new (std::nothrow) std::string();
    if (d->problem != nullptr && d->rendererName != nullptr)
        d->description =
            NewImageDescription(kKELCodecType, static_cast<int16_t>(width), static_cast<int16_t>(height));
    if (d->description == nullptr) {
        FreeDecompression(d);
        return memFullErr;
    }
    const OSErr opened = OpenADefaultComponent(decompressorComponentType, kKELCodecType, &d->instance);
    if (opened != noErr) {
        FreeDecompression(d);
        return opened;
    }
    *decompressionOut = d;
    return noErr;
}

OSStatus HostDecompressionDecodeFrame(HostDecompression* d, const uint8_t* frame, size_t size, uint8_t* argb,
                                      size_t rowBytes) {
    if (d == nullptr) return paramErr;
    d->problem->clear();
    const char* mistake = nullptr;
    if ((frame == nullptr && size != 0) || argb == nullptr)
        mistake = "a null frame with a size, or a null destination";
    else if (HostRowBytes(rowBytes, d->width) == 0 && rowBytes <= INT32_MAX)
        mistake = "row_bytes below width * 4";
    else if (rowBytes > INT32_MAX || size > INT32_MAX)
        mistake = "row_bytes or frame_size above 2^31 - 1";
    if (mistake != nullptr) {
        *d->problem = mistake;
        return paramErr;
    }
    rowBytes = HostRowBytes(rowBytes, d->width);
    // No bytes at all (a zero-byte buffer from upstream, which may come without an address) are
    // data too: a frame shorter than a header, so damaged, never a caller mistake.
    static const uint8_t kNoBytes[1] = {0};
    if (frame == nullptr) frame = kNoBytes;

    // Damaged frames are declined before the decompressor sees them: nothing is sized or
    // allocated from their headers. Frames decoded here on the CPU have their LZF stream walked
    // by the unpacking itself (the same verdict, one pass instead of two: a tenth of a DXT24
    // decode).
    KELFrameProblem problem = CheckKELFrame(frame, size, d->width, d->height, KELFrameCheckDepth::kLayout);
    const bool onCPU = problem == KELFrameProblem::kNone && UnpacksWhileChecking(d, frame);
    if (problem == KELFrameProblem::kNone && !onCPU)
        problem = CheckKELFrame(frame, size, d->width, d->height);
    if (problem != KELFrameProblem::kNone) {
        *d->problem = KELFrameProblemText(problem);
        return codecBadDataErr;
    }
    if (onCPU) return DecodeOnCPU(d, frame, size, argb, rowBytes);
    // DXT1/DXT5 frames (block kind 0; the frame check declined the others but DXT24's) decode
    // on the GPU: only when it can hold them.
    const uint8_t blockKind = frame[kKELBlockKindOffset];
    if (blockKind != kKELBlockKindDXT24) {
        const std::string gpuProblem = GPUPathProblem(d->width, d->height, AcceptsSoftware(d));
        if (!gpuProblem.empty()) {
            *d->problem = gpuProblem;
            return codecNoRendererErr;
        }
    }

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

    // The decompressor makes its GL context on this thread during its first GPU frame.
    const bool acceptSoftware = AcceptsSoftware(d);
    const ThreadRendererPolicyScope policy(acceptSoftware);
    if (!d->preflighted) {
        const ComponentResult preflight = ImageCodecPreDecompress(d->instance, &p);
        if (preflight != noErr) return preflight;
        d->preflighted = true;
    }
    const ComponentResult decoded = ImageCodecBandDecompress(d->instance, &p);
    if (decoded != noErr) return decoded;
    if (blockKind != kKELBlockKindDXT24 && !d->rendererFixed) {
        d->rendererFixed = true;
        d->acceptSoftware = acceptSoftware;
        *d->rendererName = ProbeGLRenderer(acceptSoftware).renderer;
    }
    return noErr;
}

void HostDecompressionSetRenderer(HostDecompression* d, HostRendererChoice choice) {
    if (d != nullptr) d->renderer = choice;
}

const char* HostDecompressionProblem(const HostDecompression* d) {
    return d != nullptr ? d->problem->c_str() : "";
}

bool HostDecompressionDecodesS3TCOnCPU(const HostDecompression* d) {
    if (d == nullptr) return false;
    if (d->renderer == kHostRendererCPU) return true;
    // Whether there is a hardware renderer is asked once per process (it makes a context).
    return d->renderer == kHostRendererAuto && !HostDecompressionRendererAvailable(false);
}

const char* HostDecompressionRendererName(const HostDecompression* d) {
    return d != nullptr ? d->rendererName->c_str() : "";
}

void HostDecompressionClose(HostDecompression* d) {
    if (d == nullptr) return;
    CloseComponent(d->instance);
    FreeDecompression(d);
}

void HostDecompressionAllowSoftwareRenderer(bool allow) {
    GLContext::SetAllowSoftwareRenderer(allow);
}

bool HostDecompressionRendererAvailable(bool acceptSoftware) {
    return ProbeGLRenderer(acceptSoftware).available;
}
