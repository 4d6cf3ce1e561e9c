// Building blocks of the fuzz corpora: settings and bitmap files written by SaveDIBitmap;
// frames (the compressor's and hand-made ones) and movies come from tests/support.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "stream/kel_header.h"
#include "stream/kel_settings.h"
#include "support/frame_builders.h"
#include "support/host_frames.h"
#include "support/movie_builders.h"

using Bytes = std::vector<uint8_t>;

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
