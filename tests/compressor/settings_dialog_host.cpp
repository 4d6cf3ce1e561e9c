// A minimal host that shows the compressor's settings dialog in the terminal and prints the
// outcome. Usage: settings_dialog_host <preferences folder>
#include <cstdio>

#include "compressor/compressor_component.h"
#include "host/host_compression.h"
#include "platform/preferences_directory.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <preferences folder>\n", argv[0]);
        return 2;
    }
    SetPreferencesDirectory(argv[1]);
    ZQN_CompressorRegister();
    KELSettingsValues settings{};
    bool confirmed = false;
    const OSStatus status = HostRequestCompressorSettings(&settings, &confirmed);
    std::printf("%s status %d alpha %d dxt24 %d noLZF %d threads %d\n", confirmed ? "saved" : "cancelled",
                static_cast<int>(status), settings.alpha, settings.dxt24, settings.noLZF,
                settings.threadSetting);
    return status == 0 ? 0 : 1;
}
