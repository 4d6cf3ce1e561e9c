// Frames encoded by the compressor itself, through the host compression entry: for the suites
// and the fuzz corpora that check the decompressor on real encoder output.
#pragma once

#include <cstdint>
#include <vector>

#include "stream/kel_settings.h"

using Bytes = std::vector<uint8_t>;

// width x height ARGB pixels (rows width * 4 apart) encoded with these settings. The
// compressor reads no machine's preferences: its folder is pointed at one that does not
// exist. Throws std::runtime_error when the compressor fails.
Bytes EncodeThroughHost(const Bytes& argb, int width, int height, const KELSettingsValues& settings);

// The generated picture `frame` (FillSyntheticARGB, with alpha when the settings have it)
// encoded as above.
Bytes EncodedFrame(int width, int height, const KELSettingsValues& settings, int frame = 0);
