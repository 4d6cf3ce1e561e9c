// Finding the plugin that came with the tool.
#include "play/plugin_dir.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace {

std::string ExecutableFolder() {
    std::string path(4096, '\0');
    const ssize_t length = readlink("/proc/self/exe", &path[0], path.size() - 1);
    if (length <= 0) return "";
    path.resize(static_cast<size_t>(length));
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

} // namespace

void PreferPluginBesideTool() {
    const std::string folder = ExecutableFolder();
    if (folder.empty()) return;
    // The build tree (build/tools/qzkt/qzkt, build/gst/) and the installed tree (bin/qzkt,
    // the plugin folder relative to bin/, set by CMake).
    for (const std::string& candidate : {folder + "/../../gst", folder + "/" + QZKT_PLUGIN_DIR_FROM_BIN}) {
        if (access((candidate + "/libgstqzkt.so").c_str(), R_OK) != 0) continue;
        const char* current = std::getenv("GST_PLUGIN_PATH");
        const std::string value =
            current != nullptr && *current != '\0' ? candidate + ":" + current : candidate;
        setenv("GST_PLUGIN_PATH", value.c_str(), 1);
        return;
    }
}
