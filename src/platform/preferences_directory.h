// Where the components keep their machine-wide preference files. A component has its own
// built-in folder; a host (the command-line tool's --prefs-dir, a packaged install, a test)
// can move every component's preferences to another folder for the whole process.
#pragma once

// Makes directory (copied) the preferences folder of every component from now on; null or ""
// returns to each component's built-in folder. A trailing '/' is optional. Not thread-safe:
// set it before opening components.
void SetPreferencesDirectory(const char* directory);
// The folder set above, ending in '/', or null when none is set.
const char* GetPreferencesDirectoryOverride();
