// The preferences file and the settings handle.
#include "compressor_settings.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/little_endian.h"
#include "platform/memory_manager.h"
#include "platform/preferences_directory.h"
#include "stream/kel_settings.h"

namespace {

const char kDefaultPreferencesDirectory[] = "/Library/Preferences/Quenholt/";
const char kPreferencesFileName[] = "KELPreferences.dat";
const size_t kPreferencesFileSize = 16;

// Creates directory and, for a host-chosen folder, its missing parents (like mkdir -p): a user
// who points --prefs-dir at ~/.config/qzkt expects it to work. The built-in folder is created
// one level only, so the codec never builds a /Library tree on a Linux system.
void MakePreferencesDirectory(const std::string& directory, bool withParents) {
    if (withParents) {
        for (size_t slash = directory.find('/', 1); slash != std::string::npos;
             slash = directory.find('/', slash + 1))
            mkdir(directory.substr(0, slash).c_str(), 0777);
    }
    mkdir(directory.c_str(), 0777);
}

} // namespace

std::string KELPreferencesPath() {
    const char* directory = GetPreferencesDirectoryOverride();
    char path[1024];
    std::snprintf(path, sizeof path, "%s%s", directory != nullptr ? directory : kDefaultPreferencesDirectory,
                  kPreferencesFileName);
    return path;
}

void ReadPreferences(KELCompressorGlobalsPtr globals) {
    // Only a regular file counts as one that can be opened: a fifo (or a device) of that name
    // would block the open or the read forever, so it is opened without blocking and refused.
    const int fd = open(KELPreferencesPath().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return;
    struct stat st;
    FILE* file = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) ? fdopen(fd, "rb") : nullptr;
    if (file == nullptr) {
        close(fd);
        return;
    }
    uint8_t bytes[kPreferencesFileSize];
    const size_t got = std::fread(bytes, 1, sizeof bytes, file);
    std::fclose(file);
    // Values a short file does not reach keep these presets (a missing thread value, 0, then
    // falls back to 2 below).
    uint32_t values[4] = {0, 1, 0, 0};
    for (size_t i = 0; i < 4 && got >= (i + 1) * 4; ++i)
        values[i] = ReadLE32(bytes + i * 4);
    globals->alpha = values[0] == 1 ? 1 : 0;
    globals->dxt24 = values[1] == 1 ? 1 : 0;
    globals->noLZF = values[2] == 1 ? 1 : 0;
    globals->threadSetting =
        values[3] >= 1 && values[3] <= 9 ? static_cast<int32_t>(values[3]) : kDefaultThreadSetting;
}

void WritePreferences(KELCompressorGlobalsPtr globals) {
    const char* directory = GetPreferencesDirectoryOverride();
    MakePreferencesDirectory(directory != nullptr ? directory : kDefaultPreferencesDirectory,
                             directory != nullptr);
    FILE* file = std::fopen(KELPreferencesPath().c_str(), "wb");
    if (file == nullptr) return;
    uint8_t bytes[kPreferencesFileSize];
    WriteLE32(bytes, globals->alpha);
    WriteLE32(bytes + 4, globals->dxt24);
    WriteLE32(bytes + 8, globals->noLZF);
    WriteLE32(bytes + 12, static_cast<uint32_t>(globals->threadSetting));
    std::fwrite(bytes, 1, sizeof bytes, file);
    std::fclose(file);
}

void LoadPreferencesIfNeeded(KELCompressorGlobalsPtr globals) {
    if (globals->preferencesLoaded) return;
    ReadPreferences(globals);
    globals->preferencesLoaded = 1;
}

void SetDefaultSettings(KELCompressorGlobalsPtr globals) {
    globals->alpha = kDefaultAlpha;
    globals->dxt24 = kDefaultDXT24;
    globals->noLZF = kDefaultNoLZF;
    globals->threadSetting = kDefaultThreadSetting;
}

int16_t AlphaPopupValue(const KELCompressorGlobals& globals) {
    return globals.alpha ? 2 : 1;
}

int16_t CompressionPopupValue(const KELCompressorGlobals& globals) {
    if (globals.noLZF) return 3;
    return globals.dxt24 ? 1 : 2;
}

ComponentResult KEL_CGetSettings(KELCompressorGlobalsPtr globals, Handle settings) {
    if (settings == nullptr) return paramErr;
    SetHandleSize(settings, static_cast<Size>(kKELSettingsHandleSize));
    if (MemError() != noErr) return MemError();
    WriteKELSettingsRecord(reinterpret_cast<uint8_t*>(*settings),
                           {globals->alpha, globals->dxt24, globals->noLZF, globals->threadSetting});
    return noErr;
}

ComponentResult KEL_CSetSettings(KELCompressorGlobalsPtr globals, Handle settings) {
    const size_t size = settings != nullptr ? static_cast<size_t>(GetHandleSize(settings)) : 0;
    KELSettingsValues values;
    if (settings != nullptr &&
        ReadKELSettingsRecord(reinterpret_cast<const uint8_t*>(*settings), size, &values)) {
        globals->alpha = values.alpha;
        globals->dxt24 = values.dxt24;
        globals->noLZF = values.noLZF;
        globals->threadSetting = values.threadSetting;
        // The host's choice wins over the preferences file from now on.
        globals->preferencesLoaded = 1;
        return noErr;
    }
    SetDefaultSettings(globals);
    // A handle of the right size with a wrong tag is still answered with success.
    return settings != nullptr && size == kKELSettingsHandleSize ? noErr : paramErr;
}
