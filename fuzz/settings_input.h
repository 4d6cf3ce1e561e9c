// One fuzz input as the compressor's settings, both ways a host hands them in: as the
// preferences file (KELPreferences.dat in a preferences folder of this process's own), read
// by a newly opened compressor, and as a settings handle of the input's bytes through the
// compressor's set-settings selector. A small frame is then encoded with the settings the
// handle left, so that odd values reach the encoder.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/mac_types.h"
#include "stream/kel_settings.h"

struct SettingsRun {
    OSStatus fileStatus = noErr;
    KELSettingsValues file{}; // the settings a compressor took from the file
    OSStatus handleStatus = noErr;
    KELSettingsValues handle{}; // the settings the compressor reports after the handle
    std::string fault;          // a promise the compressor broke; "" when none
};

// Once per process: registers the compressor and makes the preferences folder (removed at
// exit).
void PrepareSettingsInputs();

// Checks the promises: the file's values are within their ranges (0/1 flags, thread setting
// 1..9); a 12-byte handle with the 'KELC' tag is taken as it is (noErr), any other 12-byte
// handle and any other size give the defaults (noErr and paramErr); the settings then encode
// an intact frame no larger than the compressor's bound.
SettingsRun RunSettingsInput(const uint8_t* data, size_t size);

// "file=<alpha>,<dxt24>,<noLZF>,<threads> handle=<status>:<alpha>,<dxt24>,<noLZF>,<threads>".
std::string SettingsOutcome(const SettingsRun& run);
