// The compressor's four settings: the machine-wide preferences file, lazy loading, and the
// popup values the dialogs show them as.
//
// Preferences file (16 bytes, four little-endian u32 in this order):
//   0 alpha, 4 DXT24, 8 no-LZF  (read as 1 only when exactly 1, else 0)
//   12 thread setting           (taken when 1..9, else 2)
// It lives in "/Library/Preferences/Quenholt/KELPreferences.dat", or in the folder a host set
// with SetPreferencesDirectory.
#pragma once

#include <string>

#include "compressor_component.h"

// Default settings, used at open and whenever the host hands in an unusable settings handle.
const uint8_t kDefaultAlpha = 0;
const uint8_t kDefaultDXT24 = 1;
const uint8_t kDefaultNoLZF = 0;
const int32_t kDefaultThreadSetting = 2;

// The full path of the preferences file, as it is used now.
std::string KELPreferencesPath();

// Reads the preferences file into the instance's settings; a missing file changes nothing.
void ReadPreferences(KELCompressorGlobalsPtr globals);
// Writes the instance's settings to the preferences file, creating its folder first; any
// failure is ignored.
void WritePreferences(KELCompressorGlobalsPtr globals);
// Reads the preferences file unless it was read already or the host set the settings.
void LoadPreferencesIfNeeded(KELCompressorGlobalsPtr globals);
void SetDefaultSettings(KELCompressorGlobalsPtr globals);

// Popup values: alpha 1 off / 2 on; compression 1 DXT24 + LZF, 2 DXT1 + LZF, 3 DXT24 without
// LZF (shown whenever no-LZF is set); threads = the thread setting.
int16_t AlphaPopupValue(const KELCompressorGlobals& globals);
int16_t CompressionPopupValue(const KELCompressorGlobals& globals);
