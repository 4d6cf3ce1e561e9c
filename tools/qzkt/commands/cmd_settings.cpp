// qzkt settings: the machine-wide compression settings, shown, set from the command line, or
// edited in the compressor's own dialog.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include <qzkt/qzkt.h>

#include "cli/options.h"
#include "cli/tool_error.h"
#include "codec/codec.h"
#include "commands/commands.h"

namespace {

const char* kHelp =
    "usage: qzkt settings [--show] [--prefs-dir DIR]\n"
    "       qzkt settings --set KEY=VALUE... [--prefs-dir DIR]\n"
    "\n"
    "The machine-wide settings that every encode without block options uses. Without\n"
    "options, opens the compressor's settings dialog in the terminal: alpha channel (DXT5),\n"
    "compression (DXT24 + LZF, DXT1 + LZF, DXT24 or DXT1 without LZF) and DXT24 threads.\n"
    "Up/Down moves, Left/Right or 1-9 choose, Enter saves, Esc cancels (status 0), Ctrl-C\n"
    "cancels with status 130; a cancelled dialog saves nothing. Every saved combination\n"
    "comes back as itself.\n"
    "\n"
    "--set saves settings without the dialog; keys not named keep their value:\n"
    "  alpha=on|off                     DXT5 blocks that keep the alpha channel\n"
    "  compression=dxt24|dxt1|dxt24-nolzf|dxt1-nolzf\n"
    "                                   block kind, and whether LZF packs them\n"
    "  threads=auto|N                   DXT24 worker threads: auto is one per physical\n"
    "                                   core; N becomes the nearest of 1, 2, 4, 6, 8, 12,\n"
    "                                   16, 24 (and says so when that is another count)\n"
    "  e.g. qzkt settings --set compression=dxt1 threads=auto\n"
    "\n"
    "The settings file is KELPreferences.dat in the settings folder: the folder given with\n"
    "--prefs-dir, else /Library/Preferences/Quenholt/ when that folder exists (shared by\n"
    "every user), else $XDG_CONFIG_HOME/qzkt/ (~/.config/qzkt/ when XDG_CONFIG_HOME is unset).\n"
    "The folder is made when the settings are first saved; --show names it.\n"
    "\n"
    "  --show           print the settings and where they are kept\n"
    "  --set            save the KEY=VALUE settings that follow\n"
    "  --prefs-dir DIR  folder of the settings file\n";

const char* kValidKeys = "alpha=on|off, compression=dxt24|dxt1|dxt24-nolzf|dxt1-nolzf, threads=auto|N";

std::string ThreadText(int threadSetting) {
    if (threadSetting == 1)
        return "one per physical core (" + std::to_string(qzkt_thread_count(1)) + " on this machine)";
    const int workers = qzkt_thread_count(threadSetting);
    return std::to_string(workers) + (workers == 1 ? " thread" : " threads");
}

std::string CompressionText(const qzkt_settings& s) {
    return std::string(s.dxt24 ? "DXT24" : "DXT1") + (s.no_lzf ? ", no LZF" : " + LZF");
}

std::string EncodesUse(const qzkt_settings& s) {
    if (s.alpha) return std::string("DXT5 blocks with alpha") + (s.no_lzf ? ", no LZF" : ", LZF");
    std::string text =
        std::string(s.dxt24 ? "DXT24" : "DXT1") + " blocks" + (s.no_lzf ? ", no LZF" : ", LZF");
    if (s.dxt24) text += ", " + ThreadText(s.thread_setting);
    return text;
}

void Print(const qzkt_settings& s) {
    std::printf("alpha channel    %s\n", s.alpha ? "on (DXT5 blocks with alpha)" : "off");
    std::printf("compression      %s%s\n", CompressionText(s).c_str(),
                s.alpha ? " (unused: alpha is on)" : "");
    std::printf("DXT24 threads    %s\n", ThreadText(s.thread_setting).c_str());
    std::printf("encodes use      %s\n", EncodesUse(s).c_str());
    std::printf("settings folder  %s\n", qzkt_settings_folder());
    std::printf("settings file    %sKELPreferences.dat\n", qzkt_settings_folder());
}

// The thread setting (1..9) for "auto" or a worker count: the nearest count the settings
// offer (ties go to the smaller).
int ThreadSetting(const std::string& value) {
    if (value == "auto") return 1;
    char* end = nullptr;
    errno = 0;
    const long count = std::strtol(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0' || errno != 0 || count < 1 || count > 1024)
        throw UsageError("threads takes auto or a worker count of 1 or more, not '" + value +
                         "' (valid: " + kValidKeys + ")");
    return qzkt_thread_setting_for(static_cast<int>(count));
}

// Applies KEY=VALUE to settings; returns a note for the user, or "".
std::string Apply(const std::string& pair, qzkt_settings& s) {
    const size_t equals = pair.find('=');
    const std::string key = pair.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : pair.substr(equals + 1);
    auto invalid = [&]() {
        return UsageError(equals == std::string::npos
                              ? "'" + pair + "' is not KEY=VALUE (valid: " + kValidKeys + ")"
                              : "unknown " + key + " value '" + value + "' (valid: " + kValidKeys + ")");
    };
    if (key == "alpha") {
        if (value != "on" && value != "off") throw invalid();
        s.alpha = value == "on";
    } else if (key == "compression") {
        if (value == "dxt24" || value == "dxt1" || value == "dxt24-nolzf" || value == "dxt1-nolzf") {
            s.dxt24 = value.rfind("dxt24", 0) == 0;
            s.no_lzf = value.find("-nolzf") != std::string::npos;
        } else {
            throw invalid();
        }
    } else if (key == "threads") {
        if (equals == std::string::npos) throw invalid();
        s.thread_setting = ThreadSetting(value);
        const int workers = qzkt_thread_count(s.thread_setting);
        if (value != "auto" && std::to_string(workers) != value)
            return "threads=" + value + " is not a count the settings offer; using " +
                   std::to_string(workers);
    } else {
        throw UsageError("unknown setting '" + key + "' (valid: " + kValidKeys + ")");
    }
    return "";
}

// Whether KEY=VALUE pairs name alpha, compression and threads, which together are the whole file.
bool SetsEverySetting(const std::vector<std::string>& pairs) {
    bool alpha = false, compression = false, threads = false;
    for (const std::string& pair : pairs) {
        const std::string key = pair.substr(0, pair.find('='));
        alpha |= key == "alpha";
        compression |= key == "compression";
        threads |= key == "threads";
    }
    return alpha && compression && threads;
}

std::string NotSavedText() {
    const int error = errno;
    return std::string("cannot save the settings in ") + qzkt_settings_folder() + ": " +
           (error != 0 ? std::strerror(error) : "the file could not be written") + " (use --prefs-dir DIR)";
}

} // namespace

int RunSettings(const Args& args) {
    const Options options(args, {"--help", "--show", "--set"}, {"--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (options.Has("--set") && options.Has("--show")) throw UsageError("give --set or --show, not both");
    if (options.Has("--set") && options.positional().empty())
        throw UsageError(std::string("--set needs KEY=VALUE settings (valid: ") + kValidKeys + ")");
    if (!options.Has("--set") && !options.positional().empty())
        throw UsageError("takes no arguments (settings to save follow --set)");
    ApplyPrefsDir(options.Value("--prefs-dir"));

    qzkt_settings settings;
    const qzkt_result read = qzkt_read_settings(&settings);
    if (read != QZKT_OK) throw ToolError(CompressorFailure("cannot read the settings", read));
    // A file that exists but cannot be read is never shown as if it held the defaults, and is
    // replaced only by a --set that gives every setting: the rest would be guesses.
    const std::string unreadable = SettingsFileProblem();

    if (options.Has("--show")) {
        if (!unreadable.empty())
            std::fprintf(stderr, "qzkt settings: %s; these are the defaults the compressor uses instead\n",
                         unreadable.c_str());
        Print(settings);
        return kExitOK;
    }

    if (options.Has("--set")) {
        if (!unreadable.empty() && !SetsEverySetting(options.positional()))
            throw ToolError(unreadable +
                            "; it is replaced only by a --set that gives alpha, compression and threads");
        std::string notes;
        for (const std::string& pair : options.positional()) {
            const std::string note = Apply(pair, settings);
            if (!note.empty()) notes += "qzkt settings: " + note + "\n";
        }
        errno = 0;
        if (qzkt_save_settings(&settings) != QZKT_OK) throw ToolError(NotSavedText());
        std::fputs(notes.c_str(), stderr);
        std::printf("saved to %sKELPreferences.dat\n", qzkt_settings_folder());
        Print(settings);
        return kExitOK;
    }

    // The dialog talks to the terminal directly, so it works with redirected standard streams,
    // but not without a terminal at all.
    const int tty = open("/dev/tty", O_RDWR | O_CLOEXEC);
    if (tty < 0)
        throw ToolError("the settings dialog needs a terminal (qzkt settings --show prints the settings, "
                        "--set sets them)");
    close(tty);

    if (!unreadable.empty())
        std::fprintf(stderr, "qzkt settings: %s; the dialog starts from the defaults\n", unreadable.c_str());
    int saved = 0;
    errno = 0;
    const qzkt_result shown = qzkt_settings_dialog(&settings, &saved);
    if (shown == QZKT_SETTINGS_NOT_SAVED) throw ToolError(NotSavedText());
    if (shown != QZKT_OK) throw ToolError(CompressorFailure("cannot show the settings dialog", shown));
    if (!saved) {
        std::printf("settings unchanged\n");
        return kExitOK;
    }
    std::printf("saved to %sKELPreferences.dat\n", qzkt_settings_folder());
    Print(settings);
    return kExitOK;
}
