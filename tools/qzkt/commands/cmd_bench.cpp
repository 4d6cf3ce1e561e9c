// qzkt bench: encode and decode speed, size and quality for each block kind and DXT24
// thread count, on the built-in clip or on the first frames of INPUT.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "cli/options.h"
#include "cli/timer.h"
#include "cli/tool_error.h"
#include "codec/codec.h"
#include "commands/clip.h"
#include "commands/commands.h"
#include "media/frame_source.h"

#include <qzkt/qzkt.h>

namespace {

const char* kHelp = "usage: qzkt bench [OPTIONS] [INPUT]\n"
                    "\n"
                    "Encodes and decodes the same frames with DXT1, DXT5 and DXT24 blocks (DXT24 at each\n"
                    "thread count, and once without LZF) and prints size per frame, compression ratio\n"
                    "against 32-bit ARGB, PSNR, and encode and decode frames per second, with a memcpy of\n"
                    "one frame as the baseline. The frames are the built-in 1920x1080 clip, or the first\n"
                    "frames of INPUT (anything FFmpeg reads). Each configuration runs in a process of its\n"
                    "own, since the DXT24 worker pool keeps the size it starts with.\n"
                    "\n"
                    "The decoder column says where a row's frames were decoded: CPU (DXT24, and DXT1/DXT5\n"
                    "on the CPU decoder: --gl cpu, or auto without a GPU), GPU, or software GL (Mesa's\n"
                    "renderer on the CPU with --gl software: not a GPU figure).\n"
                    "decode/memcpy is the time to decode a frame over the time to copy it: 2.0x means\n"
                    "decoding takes twice as long as a memcpy of the frame, below 1 it is faster.\n"
                    "A row that cannot be measured says why, and the bench then ends with status 1:\n"
                    "with --gl hardware on a machine without a GPU renderer, the DXT1 and DXT5 rows.\n"
                    "The row of the saved settings (those qzkt encode uses) is marked *; they get a row\n"
                    "of their own when no other row has them.\n"
                    "\n"
                    "  --frames N       how many frames (default 30)\n"
                    "  --gl MODE        where DXT1/DXT5 frames decode: auto (the GPU, else the CPU\n"
                    "                   decoder), hardware (the GPU only), software (OpenGL, Mesa's\n"
                    "                   renderer accepted), cpu (the CPU decoder)\n"
                    "  --prefs-dir DIR  folder of the settings file whose settings are marked\n";

struct Config {
    const char* blocks;
    qzkt_settings settings;
    int workers;        // for the table
    bool saved = false; // the saved settings: the row is marked
};

struct Result {
    int ok;
    double encodeSeconds;
    double decodeSeconds;
    double bytes;
    double psnrSum;
    char error[200];
};

// Encodes and decodes every frame under one configuration. Runs in a child process.
Result Measure(const Config& config, const std::vector<std::vector<uint8_t>>& frames, int width, int height,
               qzkt_renderer renderer) {
    Result result{};
    try {
        FrameEncoder encoder(width, height, &config.settings);
        std::vector<std::vector<uint8_t>> encoded;
        Timer timer;
        for (const std::vector<uint8_t>& frame : frames) {
            const FrameBytes& bytes = encoder.Encode(frame.data(), width * 4);
            encoded.emplace_back(bytes.begin(), bytes.end());
        }
        result.encodeSeconds = timer.GetElapsedTime();

        if (config.settings.alpha || !config.settings.dxt24) PrepareRenderer(renderer);
        FrameDecoder decoder(width, height, renderer);
        std::vector<uint8_t> picture(static_cast<size_t>(width) * height * 4);
        decoder.Decode(encoded[0].data(), encoded[0].size(), picture.data(),
                       width * 4); // warm-up: GL context
        timer.ResetTimer();
        for (size_t i = 0; i < encoded.size(); ++i)
            decoder.Decode(encoded[i].data(), encoded[i].size(), picture.data(), width * 4);
        result.decodeSeconds = timer.GetElapsedTime();
        for (size_t i = 0; i < encoded.size(); ++i) {
            decoder.Decode(encoded[i].data(), encoded[i].size(), picture.data(), width * 4);
            result.psnrSum +=
                qzkt_psnr(frames[i].data(), width * 4, picture.data(), width * 4, width, height);
            result.bytes += static_cast<double>(encoded[i].size());
        }
        result.ok = 1;
    } catch (const std::exception& e) {
        std::snprintf(result.error, sizeof result.error, "%s", e.what());
    }
    return result;
}

Result MeasureInChild(const Config& config, const std::vector<std::vector<uint8_t>>& frames, int width,
                      int height, qzkt_renderer renderer) {
    int channel[2];
    if (pipe(channel) != 0) throw ToolError("cannot start a measuring process");
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) throw ToolError("cannot start a measuring process");
    if (child == 0) {
        close(channel[0]);
        const Result result = Measure(config, frames, width, height, renderer);
        const ssize_t written = write(channel[1], &result, sizeof result);
        std::exit(written == static_cast<ssize_t>(sizeof result) ? 0
                                                                 : 1); // exit: stops the worker pool cleanly
    }
    close(channel[1]);
    Result result{};
    const ssize_t got = read(channel[0], &result, sizeof result);
    close(channel[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (got != static_cast<ssize_t>(sizeof result))
        std::snprintf(result.error, sizeof result.error, "the measuring process ended without a result");
    return result;
}

double MemcpySeconds(const std::vector<uint8_t>& frame) {
    std::vector<uint8_t> copy(frame.size());
    double best = 1e9;
    for (int i = 0; i < 20; ++i) {
        Timer timer;
        std::memcpy(copy.data(), frame.data(), frame.size());
        best = std::min(best, timer.GetElapsedTime());
        if (copy[i] != frame[i]) break; // keeps the copy from being optimised away
    }
    return best;
}

// Which OpenGL renderer the DXT1/DXT5 rows will use, found before any row is measured so that
// the table and its footer say the same.
struct GLPath {
    std::string decoder; // "CPU", "GPU" or "software GL"; "" when there is none for the choice
    std::string missing; // why not, when decoder is ""
};

GLPath FindGLPath(qzkt_renderer choice) {
    if (choice == QZKT_RENDERER_CPU) return {"CPU", ""};
    // Asked in a process of its own: the measuring processes are forked from this one, and
    // an OpenGL driver's threads do not survive a fork.
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) throw ToolError("cannot start a measuring process");
    if (child == 0)
        _exit((qzkt_renderer_available(QZKT_RENDERER_HARDWARE) ? 1 : 0) |
              (qzkt_renderer_available(QZKT_RENDERER_SOFTWARE) ? 2 : 0));
    int status = 0;
    waitpid(child, &status, 0);
    const int found = WIFEXITED(status) ? WEXITSTATUS(status) : 0;
    const bool hardware = (found & 1) != 0, software = (found & 2) != 0;
    if (choice == QZKT_RENDERER_HARDWARE)
        return hardware ? GLPath{"GPU", ""}
                        : GLPath{"", "no GPU OpenGL renderer (--gl auto or cpu measures the CPU decoder, "
                                     "software Mesa's renderer)"};
    if (choice == QZKT_RENDERER_AUTO) return {hardware ? "GPU" : "CPU", ""};
    if (software) return {hardware ? "GPU" : "software GL", ""};
    return {"",
            "no OpenGL renderer, not even a software one (install Mesa: libegl-mesa0 and libgl1-mesa-dri)"};
}

qzkt_settings Settings(int alpha, int dxt24, int noLZF, int threadSetting) {
    return {alpha, dxt24, noLZF, threadSetting};
}

// The rows: DXT1, DXT5, DXT24 at each worker count a thread setting gives (1, 2, 4, 8, 16, 24,
// and one per physical core) up to twice the logical processors, each count once, then DXT24
// without LZF. The saved settings mark the row that encodes as they do (DXT1/DXT5 ignore the
// thread setting; DXT24 rows compare by worker count), or are a row of their own.
std::vector<Config> BenchConfigs(int logical, const qzkt_settings& saved) {
    std::vector<Config> configs = {{"DXT1", Settings(0, 0, 0, 2), 1}, {"DXT5", Settings(1, 0, 0, 2), 1}};
    std::vector<Config> dxt24;
    for (int setting : {2, 3, 4, 6, 8, 9, 1}) {
        const int workers = qzkt_thread_count(setting);
        if (workers > std::max(2, 2 * logical)) continue;
        const bool measured = std::any_of(dxt24.begin(), dxt24.end(),
                                          [workers](const Config& c) { return c.workers == workers; });
        if (!measured) dxt24.push_back({"DXT24", Settings(0, 1, 0, setting), workers});
    }
    std::sort(dxt24.begin(), dxt24.end(),
              [](const Config& a, const Config& b) { return a.workers < b.workers; });
    configs.insert(configs.end(), dxt24.begin(), dxt24.end());
    configs.push_back({"DXT24", Settings(0, 1, 1, 2), 1});

    const auto encodesAsSaved = [&saved](const Config& c) {
        const qzkt_settings& s = c.settings;
        if (s.alpha != saved.alpha || s.no_lzf != saved.no_lzf) return false;
        if (saved.alpha) return true; // DXT5 whatever dxt24 and the thread setting say
        if (s.dxt24 != saved.dxt24) return false;
        return !saved.dxt24 || c.workers == qzkt_thread_count(saved.thread_setting);
    };
    const auto row = std::find_if(configs.begin(), configs.end(), encodesAsSaved);
    if (row != configs.end()) {
        row->saved = true;
    } else {
        const bool dxt24Row = saved.dxt24 && !saved.alpha;
        configs.push_back({saved.alpha   ? "DXT5"
                           : saved.dxt24 ? "DXT24"
                                         : "DXT1",
                           saved, dxt24Row ? qzkt_thread_count(saved.thread_setting) : 1, true});
    }
    return configs;
}

} // namespace

int RunBench(const Args& args) {
    const Options options(args, {"--help"}, {"--frames", "--gl", "--prefs-dir"});
    if (options.PrintedHelp(kHelp)) return kExitOK;
    if (options.positional().size() > 1) throw UsageError("takes at most one INPUT");
    const qzkt_renderer renderer = ParseRendererChoice(options.Value("--gl", "auto"));
    const std::string framesText = options.Value("--frames", "30");
    const int wanted = std::atoi(framesText.c_str());
    if (wanted < 1 || wanted > 1000) throw UsageError("--frames takes 1..1000, not '" + framesText + "'");
    ApplyPrefsDir(options.Value("--prefs-dir"));

    // The frames, in memory before any measuring process starts.
    std::vector<std::vector<uint8_t>> frames;
    int width = 1920, height = 1080;
    std::string what = "the built-in clip";
    if (options.positional().empty()) {
        const Clip clip{width, height, wanted, 30};
        for (int i = 0; i < wanted; ++i)
            frames.push_back(clip.Frame(i));
    } else {
        what = options.positional()[0];
        std::unique_ptr<FrameSource> source = OpenMediaSource(what);
        width = source->width();
        height = source->height();
        ArgbFrame frame;
        while (static_cast<int>(frames.size()) < wanted && source->Next(frame)) {
            std::vector<uint8_t> copy(static_cast<size_t>(width) * height * 4);
            for (int y = 0; y < height; ++y)
                std::memcpy(&copy[static_cast<size_t>(y) * width * 4],
                            frame.data + static_cast<long>(y) * frame.rowBytes,
                            static_cast<size_t>(width) * 4);
            frames.push_back(std::move(copy));
        }
        if (frames.empty()) throw ToolError(what + " holds no frames");
    }

    const int physicalCores = qzkt_thread_count(1);
    const int logical = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));

    const std::vector<Config> configs = BenchConfigs(logical, ResolveSettings(SettingsChoice()));

    const double frameBytes = 4.0 * width * height;
    const double copySeconds = MemcpySeconds(frames[0]);
    const GLPath gl = FindGLPath(renderer);
    std::printf("qzkt bench: %zu frame%s of %dx%d from %s; %d physical cores, %d logical\n", frames.size(),
                frames.size() == 1 ? "" : "s", width, height, what.c_str(), physicalCores, logical);
    std::printf("baseline: memcpy of one frame %.3f ms (%.0f fps)\n", copySeconds * 1e3, 1.0 / copySeconds);
    std::printf(
        "decode/memcpy: a frame's decode time over its memcpy time (above 1: slower than a copy)\n\n");
    std::printf("%-6s %-4s %7s  %11s %7s %8s  %10s %10s  %-11s %13s\n", "blocks", "LZF", "threads",
                "bytes/frame", "ratio", "PSNR", "encode fps", "decode fps", "decoder", "decode/memcpy");
    bool failed = false;
    for (const Config& config : configs) {
        const bool usesGL = config.settings.alpha || !config.settings.dxt24;
        const char* lzf = config.settings.no_lzf ? "no" : "yes";
        const std::string threads =
            config.settings.dxt24 && !config.settings.alpha ? std::to_string(config.workers) : "-";
        if (usesGL && gl.decoder.empty()) {
            std::printf("%-6s %-4s %7s  not measured: %s\n", config.blocks, lzf, threads.c_str(),
                        gl.missing.c_str());
            failed = true;
            continue;
        }
        const Result r = MeasureInChild(config, frames, width, height, renderer);
        if (!r.ok) {
            std::printf("%-6s %-4s %7s  failed: %s\n", config.blocks, lzf, threads.c_str(), r.error);
            failed = true;
            continue;
        }
        const double n = static_cast<double>(frames.size());
        const double decodeFrame = r.decodeSeconds / n;
        std::printf("%-6s %-4s %7s  %11.0f %6.1f:1 %6.2f dB %10.1f %10.1f  %-11s %12.2fx%s\n", config.blocks,
                    lzf, threads.c_str(), r.bytes / n, frameBytes * n / r.bytes, r.psnrSum / n,
                    n / r.encodeSeconds, 1.0 / decodeFrame, usesGL ? gl.decoder.c_str() : "CPU",
                    decodeFrame / copySeconds, config.saved ? " *" : "");
        std::fflush(stdout);
    }
    std::printf("\n* the saved settings: %s\n", DescribeSettings(ResolveSettings(SettingsChoice())).c_str());
    if (gl.decoder == "GPU")
        std::printf("\nDXT24 decodes on the CPU; DXT1 and DXT5 decode on the GPU.\n");
    else if (gl.decoder == "CPU")
        std::printf("\nDXT24, DXT1 and DXT5 decode on the CPU (%s).\n",
                    renderer == QZKT_RENDERER_CPU ? "--gl cpu" : "no GPU found");
    else if (!gl.decoder.empty())
        std::printf("\nDXT24 decodes on the CPU; DXT1 and DXT5 decode on Mesa's software OpenGL renderer "
                    "(%s), so their decode figures are not GPU figures.\n",
                    renderer == QZKT_RENDERER_SOFTWARE ? "--gl software" : "no GPU found");
    else
        std::printf("\nDXT24 decodes on the CPU; DXT1 and DXT5 were not measured: %s.\n", gl.missing.c_str());
    if (failed) {
        std::fflush(stdout);
        std::fprintf(stderr, "qzkt bench: not every configuration could be measured%s\n",
                     gl.decoder.empty() ? (": " + gl.missing).c_str() : "");
        return kExitFailure;
    }
    return kExitOK;
}
