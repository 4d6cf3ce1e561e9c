// The folder of the machine-wide settings file: the one the program chose, or the default
// choice (the system's own folder when it exists, else the XDG configuration folder).
#pragma once

struct SettingsFolder {
    const char* path;  // ends in '/'; valid for the life of the process
    bool systemFolder; // the components' built-in folder, which is never created
};

// Makes folder (copied) the program's choice; null or "" returns to the default choice.
void ChooseSettingsFolder(const char* folder);

// Decides the folder for a settings operation that starts now (the environment and the file
// system are looked at again each time) and points the components' preferences at it.
SettingsFolder UseSettingsFolder();
