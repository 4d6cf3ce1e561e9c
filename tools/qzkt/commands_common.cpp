// Pieces every command shares.
#include "commands.h"

#include <qzkt/qzkt.h>

#include "options.h"
#include "platform/preferences_directory.h"

void ApplyPrefsDir(const std::string& dir) {
    // The library chooses the folder (--prefs-dir, else the system's folder when it exists,
    // else the user's); the commands that still read settings through the platform layer
    // read them from the same folder.
    qzkt_set_settings_folder(dir.empty() ? nullptr : dir.c_str());
    SetPreferencesDirectory(qzkt_settings_folder());
}
