// The settings file: folder creation and a replace-by-rename write.
#include "settings_file.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/little_endian.h"

const char kSettingsFileName[] = "KELPreferences.dat";

namespace {

const size_t kSettingsFileSize = 16;

// mkdir -p: every missing folder on the way, with the permissions the umask allows.
bool MakeFolders(const std::string& folder) {
    for (size_t slash = folder.find('/', 1); slash != std::string::npos;
         slash = folder.find('/', slash + 1)) {
        const std::string part = folder.substr(0, slash);
        if (mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) return false;
    }
    struct stat info;
    if (stat(folder.c_str(), &info) != 0) return false;
    if (!S_ISDIR(info.st_mode)) {
        errno = ENOTDIR;
        return false;
    }
    return true;
}

bool WriteAll(int fd, const uint8_t* bytes, size_t size) {
    while (size > 0) {
        const ssize_t written = write(fd, bytes, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// A name for the temporary file no other thread or process of the machine uses at once.
std::string TemporaryName(const std::string& folder) {
    static std::atomic<unsigned> counter{0};
    return folder + "." + kSettingsFileName + "." + std::to_string(getpid()) + "." +
           std::to_string(counter.fetch_add(1));
}

} // namespace

bool WriteSettingsFile(const SettingsFolder& folder, const qzkt_settings& settings) {
    const std::string path = folder.path;
    if (!folder.systemFolder && !MakeFolders(path)) return false;

    uint8_t bytes[kSettingsFileSize];
    WriteLE32(bytes, static_cast<uint32_t>(settings.alpha));
    WriteLE32(bytes + 4, static_cast<uint32_t>(settings.dxt24));
    WriteLE32(bytes + 8, static_cast<uint32_t>(settings.no_lzf));
    WriteLE32(bytes + 12, static_cast<uint32_t>(settings.thread_setting));

    const std::string temporary = TemporaryName(path);
    const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) return false;
    bool ok = WriteAll(fd, bytes, sizeof bytes);
    int error = errno;
    if (close(fd) != 0 && ok) {
        ok = false;
        error = errno;
    }
    if (ok && rename(temporary.c_str(), (path + kSettingsFileName).c_str()) != 0) {
        ok = false;
        error = errno;
    }
    if (!ok) {
        unlink(temporary.c_str());
        errno = error;
    }
    return ok;
}
