// Choosing the settings folder and handing it to the platform layer's preferences override.
#include "settings_folder.h"

#include <cstdlib>
#include <mutex>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "platform/preferences_directory.h"

namespace {

// The compressor's built-in folder: used whenever it exists, so that every host on the
// machine shares one settings file.
const char kSystemFolder[] = "/Library/Preferences/Quenholt/";

std::mutex g_mutex;
std::string g_chosen; // guarded by g_mutex; "" for the default choice

bool IsFolder(const char* path) {
    struct stat info;
    return stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

std::string WithSlash(std::string path) {
    if (path.empty() || path.back() != '/') path += '/';
    return path;
}

// $HOME, or the password database's home folder when HOME is unset or relative.
std::string HomeFolder() {
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') return home;
    std::vector<char> buffer(16384);
    passwd entry;
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
        found->pw_dir != nullptr && found->pw_dir[0] == '/')
        return found->pw_dir;
    return "";
}

// The user's folder: $XDG_CONFIG_HOME/qzkt/, where only an absolute XDG_CONFIG_HOME counts (as
// the XDG base directory rules say), else ~/.config/qzkt/; "" when there is no home at all.
std::string UserFolder() {
    const char* config = std::getenv("XDG_CONFIG_HOME");
    if (config != nullptr && config[0] == '/') return WithSlash(config) + "qzkt/";
    const std::string home = HomeFolder();
    return home.empty() ? "" : WithSlash(home) + ".config/qzkt/";
}

} // namespace

void ChooseSettingsFolder(const char* folder) {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_chosen = folder != nullptr ? folder : "";
}

SettingsFolder UseSettingsFolder() {
    std::lock_guard<std::mutex> lock(g_mutex);
    std::string folder = g_chosen;
    if (folder.empty()) {
        // Without a home the system's folder is the only candidate left; saving there fails
        // (and says so) when it does not exist.
        if (!IsFolder(kSystemFolder)) folder = UserFolder();
        if (folder.empty()) {
            SetPreferencesDirectory(nullptr);
            return {kSystemFolder, true};
        }
    }
    SetPreferencesDirectory(folder.c_str());
    return {GetPreferencesDirectoryOverride(), false};
}
