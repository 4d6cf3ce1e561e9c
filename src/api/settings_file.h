// Saving the machine-wide settings without a dialog: the compressor's 16-byte settings file,
// written by the library in the layout the compressor reads.
#pragma once

#include "qzkt/qzkt.h"
#include "settings_folder.h"

// The file's name inside the settings folder.
extern const char kSettingsFileName[];

// Writes "KELPreferences.dat" in folder: alpha, dxt24, no_lzf and thread_setting as four
// little-endian u32, in that order. Creates the folder and its missing parents first unless
// it is the system's folder. The new file replaces the old one by a rename, so readers see
// one or the other whole. false (errno set, the old file untouched) when anything fails.
bool WriteSettingsFile(const SettingsFolder& folder, const qzkt_settings& settings);
