// Where the components keep their machine-wide preference files. A component has its own
// built-in folder; a host (the command-line tool's --prefs-dir, the library's folder choice,
// a test) can move every component's preferences to another folder for the whole process.
#pragma once

// Makes directory (copied) the preferences folder of every component from now on; null or ""
// returns to each component's built-in folder. A trailing '/' is optional. Thread-safe: a
// component that reads the folder at the same time gets the old or the new one.
void SetPreferencesDirectory(const char* directory);
// The folder set above, ending in '/', or null when none is set. The string stays valid for
// the life of the process (every folder ever set is kept, once), so a reader on one thread
// is never left with freed text when another thread sets a new folder.
const char* GetPreferencesDirectoryOverride();
