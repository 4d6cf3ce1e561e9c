// The process-wide preferences folder override.
#include "preferences_directory.h"

#include <atomic>
#include <mutex>
#include <set>
#include <string>

namespace {

std::atomic<const char*> g_directory{nullptr};

// The lasting copy of folder: one per distinct folder, never freed.
const char* KeepFolder(const std::string& folder) {
    static std::mutex mutex;
    static auto* folders = new std::set<std::string>();
    std::lock_guard<std::mutex> lock(mutex);
    return folders->insert(folder).first->c_str();
}

} // namespace

void SetPreferencesDirectory(const char* directory) {
    if (directory == nullptr || directory[0] == '\0') {
        g_directory.store(nullptr);
        return;
    }
    std::string folder = directory;
    if (folder.back() != '/') folder += '/';
    g_directory.store(KeepFolder(folder));
}

const char* GetPreferencesDirectoryOverride() {
    return g_directory.load();
}
