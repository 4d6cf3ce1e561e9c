// qzkt play: QZKT movies to the screen through GStreamer, frames kept on the GPU; and
// --benchmark, the same as fast as frames come, per layer count.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "cli/options.h"
#include "cli/tool_error.h"
#include "commands/commands.h"

#ifdef QZKT_HAVE_PLAYER
#include <gst/gst.h>

#include "play/frame_times.h"
#include "play/player.h"
#include "play/plugin_dir.h"
#endif

namespace {

const char* kHelp =
    "usage: qzkt play [OPTIONS] INPUT.mov [MORE.mov...]\n"
    "\n"
    "Plays QZKT movies in an OpenGL window at the movie's size, through GStreamer: qzktdec\n"
    "draws each frame's blocks into an OpenGL texture (DXT1/DXT5 as compressed textures,\n"
    "DXT24 in a shader; where the renderer is a software one, decoded on the CPU into the\n"
    "texture), so frames are not read back or uploaded again as pixels. Several movies play side by side\n"
    "as layers, composed by glvideomixer, in sync on one clock; their audio plays mixed.\n"
    "\n"
    "Keys, in the window or the terminal:\n"
    "  space          pause or play\n"
    "  Right, Left    seek 5 s forward, back\n"
    "  Up, Down       seek 60 s forward, back\n"
    "  .  ,           one frame forward, back (pausing)\n"
    "  l              loop at the end, on or off\n"
    "  s              print the stats line: frames shown, dropped, fps, each layer's decode path\n"
    "  q, Escape      quit (the stats line is printed at the end too)\n"
    "Keys also come from standard input when it is not a terminal (echo q | qzkt play ...).\n"
    "\n"
    "  --fullscreen     a fullscreen window (X11)\n"
    "  --no-audio       play the video only\n"
    "  --loop           start with looping on\n"
    "  --paused         show the first frame and wait for space\n"
    "  --no-gl-memory   decode to system-memory ARGB and upload it, as for players without\n"
    "                   the GL path (for comparison)\n"
    "  --dxt24 MODE     where DXT24 frames decode: auto (a shader on a hardware renderer, the\n"
    "                   CPU into the texture on a software one), shader or cpu\n"
    "  --s3tc MODE      where DXT1/DXT5 frames decode: auto (drawn from a compressed texture\n"
    "                   on a hardware renderer, the CPU into the texture on a software one),\n"
    "                   shader or cpu\n"
    "  --benchmark      play without a clock, audio or keys, as fast as frames come, once per\n"
    "                   layer count, and print the sustained frames per second, the\n"
    "                   frame-time percentiles (p50, p90, p99, max), and the CPU time per\n"
    "                   frame of the process and of the decoders' threads (all layers);\n"
    "                   the first frames (up to 5) warm up and are not counted\n"
    "  --layers LIST    the layer counts --benchmark plays, e.g. 1,2,4,8 (default: 1, 2, 4...\n"
    "                   up to the number of movies given, and that number); layer N plays the\n"
    "                   movies in turn\n"
    "  --prefs-dir DIR  folder of the settings file (not used by this command)\n"
    "\n"
    "Exit status: 0 when the movies played to the end or q was pressed, 1 when a movie cannot\n"
    "be played (the reason is printed), 2 for a wrong command line.\n";

std::vector<int> ParseLayerCounts(const std::string& text) {
    std::vector<int> counts;
    std::stringstream stream(text);
    std::string item;
    while (std::getline(stream, item, ',')) {
        char* end = nullptr;
        const long count = std::strtol(item.c_str(), &end, 10);
        if (item.empty() || *end != '\0' || count < 1 || count > 64)
            throw UsageError("--layers takes layer counts from 1 to 64 separated by commas, not '" + text +
                             "'");
        counts.push_back(static_cast<int>(count));
    }
    if (counts.empty()) throw UsageError("--layers takes layer counts from 1 to 64 separated by commas");
    return counts;
}

std::vector<int> DefaultLayerCounts(int movies) {
    std::vector<int> counts;
    for (int count = 1; count < movies; count *= 2)
        counts.push_back(count);
    counts.push_back(movies);
    return counts;
}

#ifdef QZKT_HAVE_PLAYER

int Benchmark(const std::vector<PlayLayer>& movies, const PlaySettings& settings,
              const std::vector<int>& counts) {
    std::printf("%6s %8s %9s %10s %9s %9s %9s %9s %12s %12s  %s\n", "layers", "frames", "fps", "layer fps",
                "p50 ms", "p90 ms", "p99 ms", "max ms", "CPU ms/frame", "dec ms/frame",
                "decode path (layer 1)");
    for (const int count : counts) {
        std::vector<PlayLayer> layers;
        for (int i = 0; i < count; ++i)
            layers.push_back(movies[static_cast<size_t>(i) % movies.size()]);
        const PlayResult result = PlayLayers(layers, settings);
        if (result.status != 0) return result.status;
        const FrameTimeSummary summary = SummariseFrameTimes(result.arrivals, settings.warmUp);
        const double span = result.spanFrames > 0 ? static_cast<double>(result.spanFrames) : 1;
        std::printf("%6d %8zu %9.1f %10.1f %9.2f %9.2f %9.2f %9.2f %12.2f %12.2f  %s\n", count,
                    summary.frames, summary.fps, summary.fps * count, summary.p50 * 1e3, summary.p90 * 1e3,
                    summary.p99 * 1e3, summary.max * 1e3, result.spanCpuSeconds / span * 1e3,
                    result.spanDecoderCpuSeconds / span * 1e3,
                    result.decodePaths.empty() ? "" : result.decodePaths[0].c_str());
        std::fflush(stdout);
    }
    return kExitOK;
}

#endif

} // namespace

int RunPlay(const Args& args) {
    const Options options(
        args, {"--help", "--fullscreen", "--no-audio", "--loop", "--paused", "--no-gl-memory", "--benchmark"},
        {"--dxt24", "--s3tc", "--layers", "--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (options.positional().empty()) throw UsageError("give one or more INPUT.mov");
    ApplyPrefsDir(options.Value("--prefs-dir"));
    const std::string dxt24 = options.Value("--dxt24", "auto"), s3tc = options.Value("--s3tc", "auto");
    for (const auto& [flag, value] :
         {std::pair<std::string, std::string>{"--dxt24", dxt24}, {"--s3tc", s3tc}})
        if (value != "auto" && value != "shader" && value != "cpu")
            throw UsageError(flag + " takes auto, shader or cpu, not '" + value + "'");
    if (options.Has("--layers") && !options.Has("--benchmark"))
        throw UsageError("--layers goes with --benchmark");
    if (options.Has("--benchmark") &&
        (options.Has("--paused") || options.Has("--loop") || options.Has("--fullscreen")))
        throw UsageError(
            "--benchmark plays once, in a window, without pausing: drop --paused, --loop, --fullscreen");
    const std::vector<int> counts = options.Has("--layers")
                                        ? ParseLayerCounts(options.Value("--layers"))
                                        : DefaultLayerCounts(static_cast<int>(options.positional().size()));
#ifndef QZKT_HAVE_PLAYER
    (void)counts;
    throw ToolError("this qzkt was built without GStreamer: install its development packages and rebuild");
#else
    if (std::getenv("DISPLAY") == nullptr && std::getenv("WAYLAND_DISPLAY") == nullptr)
        throw ToolError("there is no display to play on (neither DISPLAY nor WAYLAND_DISPLAY is set)");
    std::vector<PlayLayer> movies;
    for (const std::string& path : options.positional())
        movies.push_back(ProbeLayer(path));

    PlaySettings settings;
    settings.fullscreen = options.Has("--fullscreen");
    settings.audio = !options.Has("--no-audio");
    settings.loop = options.Has("--loop");
    settings.startPaused = options.Has("--paused");
    settings.glMemory = !options.Has("--no-gl-memory");
    settings.dxt24 = dxt24;
    settings.s3tc = s3tc;
    settings.benchmark = options.Has("--benchmark");

    PreferPluginBesideTool();
    // Without a runtime folder there is no Wayland session to find, and GStreamer's GL library
    // would print libwayland's complaint while looking for one: go straight to X11.
    if (std::getenv("XDG_RUNTIME_DIR") == nullptr && std::getenv("DISPLAY") != nullptr)
        setenv("GST_GL_WINDOW", "x11", 0);
    GError* error = nullptr;
    if (!gst_init_check(nullptr, nullptr, &error)) {
        const std::string why = error != nullptr ? error->message : "no reason given";
        g_clear_error(&error);
        throw ToolError("GStreamer cannot start: " + why);
    }
    if (settings.benchmark) {
        // The first frames carry the context's creation and the first uploads: left out, as
        // far as the shortest movie allows.
        for (const PlayLayer& movie : movies)
            settings.warmUp = std::min<size_t>(
                settings.warmUp, static_cast<size_t>(movie.duration / movie.frameSeconds + 0.5) / 4);
        return Benchmark(movies, settings, counts);
    }
    const PlayResult result = PlayLayers(movies, settings);
    if (result.status == kExitOK || result.shown > 0) std::printf("%s\n", StatsLine(result).c_str());
    return result.status;
#endif
}
