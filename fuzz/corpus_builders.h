// Building blocks of the fuzz corpora: frames encoded by the compressor, settings, and bitmap
// files written by SaveDIBitmap; hand-made frames and movies come from tests/support.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stream/kel_header.h"
#include "stream/kel_settings.h"
#include "support/frame_builders.h"
#include "support/movie_builders.h"

using Bytes = std::vector<uint8_t>;

// A picture of width x height encoded through the host compression entry with these settings
// (frame moves the generated picture). Throws std::runtime_error when the compressor fails.
Bytes EncodedFrame(int width, int height, const KELSettingsValues& settings, int frame = 0);

// A bitmap file written by SaveDIBitmap: the BITMAPINFOHEADER of these fields, then
// extraInfo (masks, palette), then bits.
Bytes BitmapFile(int32_t width, int32_t height, uint16_t bitCount, uint32_t compression, uint32_t imageSize,
                 uint32_t colorsUsed, const Bytes& extraInfo, const Bytes& bits);

// The settings record of values (12 bytes, 'KELC' first).
Bytes SettingsHandle(const KELSettingsValues& values);

// The preferences file the compressor writes for values (16 bytes).
Bytes PreferencesFile(const KELSettingsValues& values);

// The bytes of a file; throws std::runtime_error when it cannot be read.
Bytes ReadBytes(const std::string& path);
// Writes bytes to path; throws std::runtime_error on failure.
void WriteBytes(const std::string& path, const Bytes& bytes);
// A new empty folder for scratch files (under $TMPDIR or /tmp), and its removal.
std::string MakeScratchFolder();
void RemoveScratchFolder(const std::string& folder);
