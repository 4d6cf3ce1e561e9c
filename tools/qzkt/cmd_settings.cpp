// qzkt settings: the machine-wide compression settings, shown or edited in the compressor's
// own dialog.
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "codec.h"
#include "commands.h"
#include "options.h"
#include "platform/host_compression.h"
#include "platform/preferences_directory.h"
#include "tool_error.h"

namespace {

const char* kHelp =
    "usage: qzkt settings [--show] [--prefs-dir DIR]\n"
    "\n"
    "Opens the compressor's settings dialog in the terminal and saves the machine-wide\n"
    "settings that every encode without options uses: alpha channel (DXT5), compression\n"
    "(DXT24 + LZF, DXT1 + LZF, DXT24 without LZF) and DXT24 threads. Up/Down moves,\n"
    "Left/Right or 1-9 choose, Enter saves, Esc cancels.\n"
    "\n"
    "The settings file is KELPreferences.dat in /Library/Preferences/Quenholt/, a folder that\n"
    "must exist and be writable (sudo mkdir -p /Library/Preferences/Quenholt), or in the\n"
    "folder given with --prefs-dir (created when missing).\n"
    "\n"
    "  --show           print the settings instead of opening the dialog\n"
    "  --prefs-dir DIR  folder of the settings file\n";

const char* SettingsFolder() {
    const char* override = GetPreferencesDirectoryOverride();
    return override != nullptr ? override : "/Library/Preferences/Quenholt/";
}

void Print(const KELSettingsValues& s) {
    std::printf("alpha channel   %s\n", s.alpha ? "on (DXT5 blocks with alpha)" : "off");
    std::printf("compression     %s\n", s.noLZF ? "DXT24, no LZF" : (s.dxt24 ? "DXT24 + LZF" : "DXT1 + LZF"));
    std::printf("DXT24 threads   %s\n", DescribeThreadSetting(s.threadSetting).c_str());
    std::printf("encodes use     %s\n", DescribeSettings(s).c_str());
    std::printf("settings file   %sKELPreferences.dat\n", SettingsFolder());
}

bool Same(const KELSettingsValues& a, const KELSettingsValues& b) {
    return a.alpha == b.alpha && a.dxt24 == b.dxt24 && a.noLZF == b.noLZF &&
           a.threadSetting == b.threadSetting;
}

} // namespace

int RunSettings(const Args& args) {
    const Options options(args, {"--help", "--show"}, {"--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (!options.positional().empty()) throw UsageError("takes no arguments");
    ApplyPrefsDir(options.Value("--prefs-dir"));
    RegisterCodecComponents();

    if (options.Has("--show")) {
        KELSettingsValues settings{};
        const OSStatus read = HostReadCompressorSettings(&settings);
        if (read != noErr)
            throw ToolError("cannot read the settings (codec status " + std::to_string(read) + ")");
        Print(settings);
        return kExitOK;
    }

    // The dialog talks to the terminal directly, so it works with redirected standard streams,
    // but not without a terminal at all.
    const int tty = open("/dev/tty", O_RDWR | O_CLOEXEC);
    if (tty < 0)
        throw ToolError("the settings dialog needs a terminal (qzkt settings --show prints the settings)");
    close(tty);

    KELSettingsValues chosen{};
    bool confirmed = false;
    const OSStatus shown = HostRequestCompressorSettings(&chosen, &confirmed);
    if (shown != noErr)
        throw ToolError("cannot show the settings dialog (codec status " + std::to_string(shown) + ")");
    if (!confirmed) {
        std::printf("settings unchanged\n");
        return kExitOK;
    }
    // The compressor saves silently; look for the file and read it back to tell whether it could.
    KELSettingsValues saved{};
    HostReadCompressorSettings(&saved);
    const std::string file = std::string(SettingsFolder()) + "KELPreferences.dat";
    if (access(file.c_str(), R_OK) != 0 || !Same(saved, chosen))
        throw ToolError(std::string("cannot save the settings in ") + SettingsFolder() +
                        " (create the folder with write access, or use --prefs-dir DIR)");
    std::printf("saved to %sKELPreferences.dat\n", SettingsFolder());
    Print(saved);
    return kExitOK;
}
