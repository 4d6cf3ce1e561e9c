// The process-wide preferences folder override.
#include "preferences_directory.h"

#include <string>

namespace {
std::string g_directory;
}

void SetPreferencesDirectory(const char* directory) {
    g_directory = directory != nullptr ? directory : "";
    if (!g_directory.empty() && g_directory.back() != '/') g_directory += '/';
}

const char* GetPreferencesDirectoryOverride() {
    return g_directory.empty() ? nullptr : g_directory.c_str();
}
