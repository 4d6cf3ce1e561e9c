// Pieces every command shares.
#include "commands.h"

#include "options.h"
#include "platform/preferences_directory.h"

void ApplyPrefsDir(const std::string& dir) {
    if (dir.empty()) return;
    SetPreferencesDirectory(dir.c_str());
}
