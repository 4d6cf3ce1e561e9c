// The host's way into the QZKT compressor: what the command-line tool (and any other host)
// uses to encode ARGB frames and to show or edit the machine-wide compressor settings. Every
// call goes through the Component Manager and a compression session, as a host on the original
// system would do.
//
// The compressor component must be registered first (ZQN_CompressorRegister() of the
// compressor library); until then these calls answer invalidComponentID.
//
// Ownership:
// - HostCompression is owned by its creator and freed by HostCompressionClose.
// - Source pixels stay the caller's: HostCompressionEncodeFrame reads them during the call only.
// - Each encoded frame's bytes are lent to the frame callback for the length of the callback,
//   which runs inside HostCompressionEncodeFrame on the calling thread; copy them to keep them.
// One thread uses a HostCompression at a time; separate ones may live side by side.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/mac_types.h"
#include "stream/kel_settings.h"

struct HostCompression;

// Receives one encoded frame (header and payload, size bytes).
typedef void (*HostEncodedFrameCallback)(void* refCon, const uint8_t* data, size_t size);

// Opens the compressor and prepares it for width x height frames (1..32767 each side).
// settings null keeps the machine-wide settings (the preferences file, read by the compressor);
// otherwise they are handed to the compressor for this session only. onFrame must be non-null.
// paramErr for bad arguments, invalidComponentID when the compressor is not registered, or the
// compressor's status.
OSStatus HostCompressionCreate(int width, int height, const KELSettingsValues* settings,
                               HostEncodedFrameCallback onFrame, void* refCon,
                               HostCompression** compressionOut);

// Compresses one frame of 32-bit ARGB pixels (bytes A, R, G, B) whose rows are rowBytes apart
// (0 means width * 4; otherwise width * 4 to 2^31 - 1). The callback has run when this returns.
// paramErr for a null compression or pixels, or a row stride out of range.
OSStatus HostCompressionEncodeFrame(HostCompression* compression, const uint8_t* argb, size_t rowBytes);

// The largest frame these settings and this size can produce (the compressor's bound).
size_t HostCompressionMaxFrameSize(const HostCompression* compression);

// Closes the compressor and frees compression; null is ignored.
void HostCompressionClose(HostCompression* compression);

// The machine-wide settings as a newly opened compressor sees them (the preferences file, or
// the defaults 0, 1, 0, 2 without one).
OSStatus HostReadCompressorSettings(KELSettingsValues* settings);

// Runs the compressor's own settings dialog (through the installed dialog front end; the
// terminal one by default). On OK the compressor saves the preferences file and *confirmed is
// true; settings then holds the new values, else the unchanged machine-wide ones.
OSStatus HostRequestCompressorSettings(KELSettingsValues* settings, bool* confirmed);
