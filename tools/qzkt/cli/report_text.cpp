// Summary wording: counts, sizes.
#include "cli/report_text.h"

#include <cstdio>
#include <sys/stat.h>

std::string Counted(int64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string HumanSize(int64_t bytes) {
    if (bytes < 1000) return Counted(bytes, "byte");
    char text[40];
    if (bytes < 1000 * 1000)
        std::snprintf(text, sizeof text, "%.1f KB", bytes / 1e3);
    else if (bytes < 1000 * 1000 * 1000)
        std::snprintf(text, sizeof text, "%.1f MB", bytes / 1e6);
    else
        std::snprintf(text, sizeof text, "%.2f GB", bytes / 1e9);
    return text;
}

int64_t FileSize(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : -1;
}
