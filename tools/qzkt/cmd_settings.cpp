// qzkt settings: the machine-wide compression settings, shown or edited in the compressor's
// own dialog.
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include <qzkt/qzkt.h>

#include "codec.h"
#include "commands.h"
#include "options.h"
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
    "The settings file is KELPreferences.dat in /Library/Preferences/Quenholt/ when that folder\n"
    "exists, otherwise in $XDG_CONFIG_HOME/qzkt/ (~/.config/qzkt/), or in the folder given with\n"
    "--prefs-dir; the folder is created on the first save (qzkt settings --show names it).\n"
    "\n"
    "  --show           print the settings instead of opening the dialog\n"
    "  --prefs-dir DIR  folder of the settings file\n";

const char* SettingsFolder() {
    return qzkt_settings_folder();
}

void Print(const qzkt_settings& s) {
    std::printf("alpha channel   %s\n", s.alpha ? "on (DXT5 blocks with alpha)" : "off");
    std::printf("compression     %s\n",
                s.no_lzf ? "DXT24, no LZF" : (s.dxt24 ? "DXT24 + LZF" : "DXT1 + LZF"));
    std::printf("DXT24 threads   %s\n", DescribeThreadSetting(s.thread_setting).c_str());
    std::printf("encodes use     %s\n", DescribeSettings(s).c_str());
    std::printf("settings file   %sKELPreferences.dat\n", SettingsFolder());
}

} // namespace

int RunSettings(const Args& args) {
    const Options options(args, {"--help", "--show"}, {"--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (!options.positional().empty()) throw UsageError("takes no arguments");
    ApplyPrefsDir(options.Value("--prefs-dir"));
    RegisterCodecComponents();

    if (options.Has("--show")) {
        qzkt_settings settings{};
        const qzkt_result read = qzkt_read_settings(&settings);
        if (read != QZKT_OK)
            throw ToolError(std::string("cannot read the settings: ") + qzkt_result_text(read));
        Print(settings);
        return kExitOK;
    }

    // The dialog talks to the terminal directly, so it works with redirected standard streams,
    // but not without a terminal at all.
    const int tty = open("/dev/tty", O_RDWR | O_CLOEXEC);
    if (tty < 0)
        throw ToolError("the settings dialog needs a terminal (qzkt settings --show prints the settings)");
    close(tty);

    qzkt_settings saved{};
    int confirmed = 0;
    const qzkt_result shown = qzkt_settings_dialog(&saved, &confirmed);
    if (shown == QZKT_SETTINGS_NOT_SAVED)
        throw ToolError(std::string("cannot save the settings in ") + SettingsFolder() +
                        " (create the folder with write access, or use --prefs-dir DIR)");
    if (shown != QZKT_OK)
        throw ToolError(std::string("cannot show the settings dialog: ") + qzkt_result_text(shown));
    if (!confirmed) {
        std::printf("settings unchanged\n");
        return kExitOK;
    }
    std::printf("saved to %sKELPreferences.dat\n", SettingsFolder());
    Print(saved);
    return kExitOK;
}
