// The host's way into the QZKT decompressor: what the command-line tool (and any other host)
// uses to decode encoded frames into 32-bit ARGB. Every frame goes through the Component
// Manager: the decompressor component, the base image decompressor it delegates to, and back
// into the decompressor's band drawer, as on the original system.
//
// The decompressor component must be registered first (ZQN_CodecRegister() of the
// decompressor library); until then HostDecompressionCreate answers invalidComponentID. The
// base image decompressor is registered here.
//
// Ownership:
// - HostDecompression is owned by its creator and freed by HostDecompressionClose.
// - Frame bytes and the destination stay the caller's; both are used during the call only.
// One thread uses a HostDecompression at a time (its GL context is current on the calling
// thread during a frame); separate ones may live side by side.
//
// Memory: a frame is checked (CheckKELFrame) before anything is sized from its header, so a
// damaged frame costs no frame-sized buffer. An intact width x height frame (W4, H4: the
// sides rounded up to whole 4x4 blocks) costs, besides the caller's destination:
// - the decompressor's three planar 4:2:0 buffers of W4 x H4 (1.5 bytes a pixel each), made at
//   the first frame and never written: address space, not memory;
// - the base image decompressor's drawing area of W4 x H4 x 4 bytes, kept from the first
//   frame on, only when a side is not a multiple of 4 or rowBytes not of 4;
// - during the call, the unpacked payload (0.5, 0.625, 1 or 1.125 bytes a pixel for DXT1,
//   DXT24, DXT5, DXT24 with alpha) and a second plane of at most one pixel per block;
// - on the GPU path, the renderer's block texture and its W4 x H4 x 4 render target (in
//   process memory on a software renderer).
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/mac_types.h"

struct HostDecompression;

// A frame that was not decoded because its bytes are inconsistent: stored parts that reach
// past its data, a second plane that does not fit, a payload that cannot unpack to the
// frame's blocks (the destination is left as it was).
const OSStatus codecBadDataErr = -8969;

// A DXT1/DXT5 frame that the GPU path cannot decode: no OpenGL renderer that this
// decompression's renderer choice accepts, or a frame larger than the renderer's texture or
// renderbuffer limit. The destination is left as it was; HostDecompressionProblem says why.
const OSStatus codecNoRendererErr = -8990;

// Where a decompression's DXT1/DXT5 frames decode: the decompressor's GPU path with the
// OpenGL renderers it may use, or the host's CPU decoder (blocks/s3tc_decode.h, the same
// pixels as Mesa's software renderer gives).
enum HostRendererChoice {
    kHostRendererProcessDefault, // the GPU path, as HostDecompressionAllowSoftwareRenderer says
    kHostRendererAuto,           // the GPU path on a hardware renderer when there is one, else the CPU
    kHostRendererHardware,       // the GPU path on a hardware renderer only
    kHostRendererSoftware,       // the GPU path, a software renderer accepted too
    kHostRendererCPU,            // the CPU decoder
};

// Opens the decompressor for frames of width x height (1..32767 each side). paramErr for bad
// arguments, invalidComponentID when the decompressor is not registered, or its status.
OSStatus HostDecompressionCreate(int width, int height, HostDecompression** decompressionOut);

// Decodes the size-byte frame into argb (bytes A, R, G, B), whose rows are rowBytes apart
// (0 means width * 4; otherwise at least width * 4). Exactly width x height pixels are
// written. codecBadDataErr for a damaged frame (CheckKELFrame), codecNoRendererErr for a
// DXT1/DXT5 frame the GPU path cannot decode; both leave the destination untouched and are
// found before the decompressor sees the frame. A null frame of size 0 is such a damaged frame.
// paramErr for a null decompression or destination, a null frame with a size, a row stride
// out of range (below width * 4 or above 2^31 - 1) or a size above 2^31 - 1; the problem line
// then names the mistake.
OSStatus HostDecompressionDecodeFrame(HostDecompression* decompression, const uint8_t* frame, size_t size,
                                      uint8_t* argb, size_t rowBytes);

// Sets where this decompression's DXT1/DXT5 frames decode, before its first one (a GL context
// is made then and kept). DXT24 frames decode on the CPU whatever the choice.
void HostDecompressionSetRenderer(HostDecompression* decompression, HostRendererChoice choice);

// One line saying why the last HostDecompressionDecodeFrame returned paramErr, codecBadDataErr
// or codecNoRendererErr, such as "payload reaches past the frame's end", "no OpenGL renderer
// (hardware only was asked for)" or "the frame needs a 32768x8 texture (16400x8 rounded up to
// powers of two); the OpenGL renderer (llvmpipe (LLVM 15.0.6, 256 bits)) allows at most 16384
// a side"; "" after noErr. Valid until the next call on this decompression.
const char* HostDecompressionProblem(const HostDecompression* decompression);

// The GL_RENDERER name of the renderer this decompression's GPU path uses ("" until its first
// DXT1/DXT5 frame made a context, and on the CPU decoder).
const char* HostDecompressionRendererName(const HostDecompression* decompression);

// Whether this decompression's DXT1/DXT5 frames decode on the CPU decoder: as its choice says,
// AUTO asking once per process whether there is a hardware renderer.
bool HostDecompressionDecodesS3TCOnCPU(const HostDecompression* decompression);

// Closes the decompressor (releasing its GL objects and context) and frees decompression;
// null is ignored.
void HostDecompressionClose(HostDecompression* decompression);

// Process-wide: whether the decompressor's GL contexts may use a software renderer such as
// Mesa's llvmpipe when no GPU is available (DXT1/DXT5 frames decode on the GPU; DXT24 frames
// on the CPU and need no GL). Off by default.
void HostDecompressionAllowSoftwareRenderer(bool allow);

// Whether an OpenGL renderer for the GPU path can be opened on this machine: a hardware one,
// or, with acceptSoftware, also a software one. The first call for each value makes and
// deletes a context (a few milliseconds); the answer is kept for the process, and is the one
// HostDecompressionDecodeFrame's renderer check uses. The process-wide switch above is left
// as it was.
bool HostDecompressionRendererAvailable(bool acceptSoftware);
