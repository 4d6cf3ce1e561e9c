// The machine-wide settings: defaults, reading through the compressor, saving, the
// compressor's own dialog, the settings folder, and what the settings mean on this machine.
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "codec_host.h"
#include "host/host_compression.h"
#include "host/host_settings_dialog.h"
#include "settings_file.h"
#include "settings_folder.h"
#include "stream/kel_header.h"

namespace {

bool Same(const KELSettingsValues& a, const KELSettingsValues& b) {
    return a.alpha == b.alpha && a.dxt24 == b.dxt24 && a.noLZF == b.noLZF &&
           a.threadSetting == b.threadSetting;
}

bool SettingsFileExists(const SettingsFolder& folder) {
    return access((std::string(folder.path) + kSettingsFileName).c_str(), F_OK) == 0;
}

} // namespace

void qzkt_default_settings(qzkt_settings* settings) {
    if (settings != nullptr) *settings = {0, 1, 0, 2};
}

qzkt_result qzkt_read_settings(qzkt_settings* settings) {
    if (settings == nullptr) return QZKT_BAD_ARGUMENTS;
    HostRegisterComponents();
    UseSettingsFolder();
    KELSettingsValues values{};
    const qzkt_result result = ResultOfCompressorStatus(HostReadCompressorSettings(&values));
    if (result == QZKT_OK) *settings = FromCodecSettings(values);
    return result;
}

qzkt_result qzkt_check_settings_file(void) {
    const std::string path = std::string(UseSettingsFolder().path) + kSettingsFileName;
    // Without blocking: the name may be a fifo.
    const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT || errno == ENOTDIR) return QZKT_OK; // no file: the defaults, rightly
        return QZKT_SETTINGS_NOT_READ;
    }
    struct stat st;
    int error = 0;
    char byte;
    if (fstat(fd, &st) != 0)
        error = errno;
    else if (S_ISDIR(st.st_mode))
        error = EISDIR;
    else if (!S_ISREG(st.st_mode))
        error = EINVAL;
    else if (read(fd, &byte, 1) < 0)
        error = errno;
    close(fd);
    errno = error;
    return error == 0 ? QZKT_OK : QZKT_SETTINGS_NOT_READ;
}

qzkt_result qzkt_save_settings(const qzkt_settings* settings) {
    if (settings == nullptr || !AreValidSettings(*settings)) return QZKT_BAD_ARGUMENTS;
    return WriteSettingsFile(UseSettingsFolder(), *settings) ? QZKT_OK : QZKT_SETTINGS_NOT_SAVED;
}

qzkt_result qzkt_settings_dialog(qzkt_settings* settings, int* saved) {
    if (settings == nullptr || saved == nullptr) return QZKT_BAD_ARGUMENTS;
    *saved = 0;
    // The dialog manager and the resource chain serve one dialog at a time, and so does the
    // terminal.
    static std::mutex dialogMutex;
    std::lock_guard<std::mutex> lock(dialogMutex);
    HostRegisterComponents();
    const SettingsFolder folder = UseSettingsFolder();

    KELSettingsValues chosen{};
    bool confirmed = false;
    const qzkt_result result = ResultOfCompressorStatus(HostRequestSettingsAsChosen(&chosen, &confirmed));
    if (result != QZKT_OK) return result;
    *settings = FromCodecSettings(chosen);
    if (!confirmed) return QZKT_OK;

    // The compressor saves without telling whether it could: look at what the file holds,
    // and where it does not hold the choice, write it here, which also tells why it fails.
    KELSettingsValues stored{};
    const bool landed =
        SettingsFileExists(folder) && HostReadCompressorSettings(&stored) == noErr && Same(stored, chosen);
    if (!landed && !WriteSettingsFile(folder, *settings)) return QZKT_SETTINGS_NOT_SAVED;
    *saved = 1;
    return QZKT_OK;
}

qzkt_result qzkt_set_settings_folder(const char* folder) {
    ChooseSettingsFolder(folder);
    return QZKT_OK;
}

const char* qzkt_settings_folder(void) {
    return UseSettingsFolder().path;
}

int qzkt_thread_count(int thread_setting) {
    if (thread_setting < 1 || thread_setting > 9) return 0;
    return HostDXT24WorkerCount(thread_setting);
}

int qzkt_thread_setting_for(int workers) {
    if (workers < 0) return 0;
    if (workers == 0) return 1;
    // Settings 2..9 give fixed counts; 1 depends on the machine and is only chosen by 0.
    int best = 2;
    for (int setting = 3; setting <= 9; ++setting)
        if (std::abs(qzkt_thread_count(setting) - workers) < std::abs(qzkt_thread_count(best) - workers))
            best = setting;
    return best;
}

size_t qzkt_max_frame_size(int width, int height, const qzkt_settings* settings) {
    if (!IsHostFrameSide(width) || !IsHostFrameSide(height)) return 0;
    qzkt_settings chosen;
    if (settings != nullptr) {
        chosen = *settings;
    } else if (qzkt_read_settings(&chosen) != QZKT_OK) {
        return 0;
    }
    if (!AreValidSettings(chosen)) return 0;
    // The bound the compressor sizes its own frame buffer with.
    return CalculateMaxKELDataSize(width, height, chosen.alpha != 0, chosen.dxt24 != 0);
}
