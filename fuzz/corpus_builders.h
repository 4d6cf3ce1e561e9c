// Building blocks of the fuzz corpora: frames encoded by the compressor or put together by
// hand, movies written by the tool's movie writer, settings, and bitmap files written by
// SaveDIBitmap.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stream/kel_header.h"
#include "stream/kel_settings.h"

using Bytes = std::vector<uint8_t>;

// A picture of width x height encoded through the host compression entry with these settings
// (frame moves the generated picture). Throws std::runtime_error when the compressor fails.
Bytes EncodedFrame(int width, int height, const KELSettingsValues& settings, int frame = 0);

// bytes deterministic block bytes: any bytes are valid blocks. With a period, the bytes repeat
// every period bytes (LZF then packs them small).
Bytes BlockBytes(size_t bytes, size_t period = 0);

// liblzf's packing of bytes (empty when it does not fit in bytes.size() + 64).
Bytes Packed(const Bytes& bytes);

// header's fields followed by stored: the header size (28), version (1) and the stored size
// (stored.size()) are filled in unless set already.
Bytes HandFrame(KELHeader header, const Bytes& stored);

// frame with the 32-bit field at offset set to value.
Bytes WithField(Bytes frame, uint32_t offset, uint32_t value);

// A movie whose QZKT track of width x height holds samples (10 per second). Empty samples are
// written as 1 byte and then given size 0 in the sample-size table (the muxer drops empty
// packets); every empty sample must end its chunk, as the last sample does.
Bytes MovieBytes(int width, int height, const std::vector<Bytes>& samples);

// A bitmap file written by SaveDIBitmap: the BITMAPINFOHEADER of these fields, then
// extraInfo (masks, palette), then bits.
Bytes BitmapFile(int32_t width, int32_t height, uint16_t bitCount, uint32_t compression, uint32_t imageSize,
                 uint32_t colorsUsed, const Bytes& extraInfo, const Bytes& bits);

// The settings record of values (12 bytes, 'KELC' first).
Bytes SettingsHandle(const KELSettingsValues& values);

// The preferences file the compressor writes for values (16 bytes).
Bytes PreferencesFile(const KELSettingsValues& values);

// Four little-endian u32 values, as the preferences file holds them.
Bytes LE32s(const std::vector<uint32_t>& values);

Bytes ReadBytes(const std::string& path);
// Writes bytes to path; throws std::runtime_error on failure.
void WriteBytes(const std::string& path, const Bytes& bytes);
// A new empty folder for scratch files (under $TMPDIR or /tmp), and its removal.
std::string MakeScratchFolder();
void RemoveScratchFolder(const std::string& folder);
