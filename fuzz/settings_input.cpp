// A fuzz input through the compressor's preferences file and its settings handle.
#include "settings_input.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>
#include <vector>

#include "compressor/compressor_component.h"
#include "host/host_compression.h"
#include "input_file.h"
#include "pixel/synthetic_image.h"
#include "platform/memory_manager.h"
#include "platform/preferences_directory.h"
#include "stream/kel_frame_check.h"

namespace {

const int kEncodeWidth = 13, kEncodeHeight = 7; // partial blocks on both sides
const KELSettingsValues kDefaults = {0, 1, 0, 2};

std::string& Folder() {
    static std::string folder;
    return folder;
}

std::string PreferencesFile() {
    return Folder() + "/KELPreferences.dat";
}

void RemoveFolder() {
    unlink(PreferencesFile().c_str());
    rmdir(Folder().c_str());
}

bool Same(const KELSettingsValues& a, const KELSettingsValues& b) {
    return a.alpha == b.alpha && a.dxt24 == b.dxt24 && a.noLZF == b.noLZF &&
           a.threadSetting == b.threadSetting;
}

std::string Text(const KELSettingsValues& v) {
    return std::to_string(v.alpha) + "," + std::to_string(v.dxt24) + "," + std::to_string(v.noLZF) + "," +
           std::to_string(v.threadSetting);
}

// The handle's status and the settings the compressor reports after it.
OSStatus SetHandle(const uint8_t* data, size_t size, KELSettingsValues* after) {
    ComponentInstance compressor = nullptr;
    OSStatus opened = OpenADefaultComponent(compressorComponentType, kKELCodecType, &compressor);
    if (opened != noErr) return opened;
    Handle handle = NewHandle(static_cast<Size>(size));
    if (size > 0) std::memcpy(*handle, data, size);
    const OSStatus status = ImageCodecSetSettings(compressor, handle);
    SetHandleSize(handle, 0);
    if (ImageCodecGetSettings(compressor, handle) != noErr ||
        !ReadKELSettingsRecord(reinterpret_cast<const uint8_t*>(*handle),
                               static_cast<size_t>(GetHandleSize(handle)), after))
        *after = KELSettingsValues{0xEE, 0xEE, 0xEE, -1};
    DisposeHandle(handle);
    CloseComponent(compressor);
    return status;
}

void ReceiveFrame(void* refCon, const uint8_t* data, size_t size) {
    static_cast<std::vector<uint8_t>*>(refCon)->assign(data, data + size);
}

// "" when the settings encode an intact frame within the compressor's bound.
std::string EncodeWith(const KELSettingsValues& settings) {
    std::vector<uint8_t> frame;
    HostCompression* compression = nullptr;
    OSStatus status =
        HostCompressionCreate(kEncodeWidth, kEncodeHeight, &settings, ReceiveFrame, &frame, &compression);
    if (status != noErr) return "HostCompressionCreate answered " + std::to_string(status);
    std::vector<uint8_t> picture(kEncodeWidth * kEncodeHeight * 4);
    FillSyntheticARGB(picture.data(), kEncodeWidth, kEncodeHeight, kEncodeWidth * 4, 0, settings.alpha != 0);
    status = HostCompressionEncodeFrame(compression, picture.data(), 0);
    const size_t bound = HostCompressionMaxFrameSize(compression);
    HostCompressionClose(compression);
    if (status != noErr) return "encoding answered " + std::to_string(status);
    if (frame.size() > bound) return "an encoded frame larger than the compressor's bound";
    if (CheckKELFrame(frame.data(), frame.size(), kEncodeWidth, kEncodeHeight) != KELFrameProblem::kNone)
        return "an encoded frame that fails the frame check";
    return "";
}

} // namespace

void PrepareSettingsInputs() {
    ZQN_CompressorRegister();
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/qzkt-fuzz-prefs-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    Folder() = pattern;
    SetPreferencesDirectory(pattern.c_str());
    std::atexit(RemoveFolder);
}

SettingsRun RunSettingsInput(const uint8_t* data, size_t size) {
    SettingsRun run;
    WriteInputTo(PreferencesFile(), data, size);
    run.fileStatus = HostReadCompressorSettings(&run.file);
    run.handleStatus = SetHandle(data, size, &run.handle);

    const KELSettingsValues& f = run.file;
    const bool tagged = size == kKELSettingsHandleSize && std::memcmp(data, kKELSettingsTag, 4) == 0;
    KELSettingsValues taken = kDefaults;
    if (tagged) ReadKELSettingsRecord(data, size, &taken);
    const OSStatus expectedStatus = size == kKELSettingsHandleSize ? noErr : paramErr;
    if (run.fileStatus != noErr)
        run.fault = "reading the preferences file answered " + std::to_string(run.fileStatus);
    else if (f.alpha > 1 || f.dxt24 > 1 || f.noLZF > 1 || f.threadSetting < 1 || f.threadSetting > 9)
        run.fault = "preferences file read as " + Text(f);
    else if (run.handleStatus != expectedStatus || !Same(run.handle, taken))
        run.fault = "settings handle answered " + std::to_string(run.handleStatus) + " with " +
                    Text(run.handle) + " instead of " + std::to_string(expectedStatus) + " with " +
                    Text(taken);
    else
        run.fault = EncodeWith(run.handle);
    return run;
}

std::string SettingsOutcome(const SettingsRun& run) {
    return "file=" + Text(run.file) + " handle=" + std::to_string(run.handleStatus) + ":" + Text(run.handle);
}
