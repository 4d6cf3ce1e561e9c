// GStreamer runs as gst-launch-1.0 child processes that find the built plugin through
// GST_PLUGIN_PATH and keep their registry in the build tree, never in ~/.cache.
#include "gst_fixture.h"

#include <cstdlib>
#include <regex>
#include <sstream>
#include <unistd.h>

std::string ClipCase::Name() const {
    std::string name = std::to_string(width) + "x" + std::to_string(height);
    for (const std::string& option : encodeOptions)
        name += " " + option;
    return name;
}

void GstTest::SetUp() {
    ToolTest::SetUp();
    setenv("GST_PLUGIN_PATH", QZKT_GST_PLUGIN_DIR, 1);
    setenv("GST_REGISTRY", QZKT_GST_REGISTRY, 1);
    unsetenv("GST_DEBUG");
#ifdef QZKT_GST_PRELOAD
    // A sanitizer build: gst-launch-1.0 loads an instrumented plugin (see CMakeLists.txt).
    setenv("LD_PRELOAD", QZKT_GST_PRELOAD, 1);
    const char* options = getenv("ASAN_OPTIONS");
    setenv("ASAN_OPTIONS",
           ((options != nullptr ? std::string(options) + ":" : "") + "detect_leaks=0").c_str(), 1);
#endif
}

void GstTest::WriteRawClip(const std::string& name, int width, int height, int frames) {
    Bytes argb(size_t(width) * height * 4 * frames);
    uint32_t noise = 12345;
    size_t at = 0;
    for (int f = 0; f < frames; ++f)
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                noise = noise * 1664525u + 1013904223u;
                const int grain = int(noise >> 28) - 8;
                const auto clamp = [](int v) { return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v); };
                argb[at++] = uint8_t((x * 5 + y * 3 + f * 40) & 255); // alpha
                argb[at++] = clamp(x * 255 / width + grain);
                argb[at++] = clamp(y * 255 / height - grain);
                argb[at++] = clamp(((x / 8 + y / 8 + f) % 2) * 200 + grain);
            }
    WriteFile(Path(name), argb);
}

void GstTest::ToolEncode(const std::string& raw, const std::string& movie, int width, int height,
                         const std::vector<std::string>& options, const std::string& rate) {
    std::vector<std::string> args = {"qzkt",
                                     "encode",
                                     "-y",
                                     "--quiet",
                                     prefsArg_,
                                     "--raw",
                                     std::to_string(width) + "x" + std::to_string(height),
                                     "--rate",
                                     rate};
    args.insert(args.end(), options.begin(), options.end());
    args.insert(args.end(), {raw, movie});
    const RunResult result = Run(args);
    ASSERT_EQ(result.status, 0) << result.err;
}

Bytes GstTest::ToolDecode(const std::string& movie) {
    const RunResult result = Run({"qzkt", "decode", "--quiet", "--gl", "software", movie, "reference.argb"});
    EXPECT_EQ(result.status, 0) << result.err;
    Bytes frames = ReadFile(Path("reference.argb"));
    unlink(Path("reference.argb").c_str());
    return frames;
}

RunResult GstTest::Launch(const std::vector<std::string>& pipeline) {
    std::vector<std::string> args = {"gst-launch-1.0"};
    args.insert(args.end(), pipeline.begin(), pipeline.end());
    return Run(args, "", "launch.txt");
}

std::string GstTest::Output() const {
    const Bytes output = ReadFile(Path("launch.txt"));
    return std::string(output.begin(), output.end());
}

std::vector<std::pair<size_t, size_t>> GstTest::SampleSpans(const std::string& movie) {
    MustRun({"ffprobe", "-v", "error", "-select_streams", "v:0", "-of", "default=nw=1", "-show_entries",
             "packet=pos,size", movie},
            "packets.txt");
    const Bytes listing = ReadFile(Path("packets.txt"));
    unlink(Path("packets.txt").c_str());
    std::istringstream lines(std::string(listing.begin(), listing.end()));
    std::vector<std::pair<size_t, size_t>> spans;
    size_t size = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("size=", 0) == 0) size = std::stoul(line.substr(5));
        if (line.rfind("pos=", 0) == 0) spans.emplace_back(std::stoul(line.substr(4)), size);
    }
    return spans;
}

std::vector<Bytes> GstTest::Samples(const std::string& movie) {
    const Bytes file = ReadFile(Path(movie));
    std::vector<Bytes> samples;
    for (const auto& [pos, size] : SampleSpans(movie)) {
        EXPECT_LE(pos + size, file.size());
        if (pos + size <= file.size()) samples.emplace_back(file.begin() + pos, file.begin() + pos + size);
    }
    return samples;
}

std::vector<uint64_t> SinkTimestamps(const std::string& launchOutput) {
    static const std::regex chain(R"(chain .*pts: (\d+):(\d\d):(\d\d)\.(\d{9}))");
    std::vector<uint64_t> times;
    std::istringstream lines(launchOutput);
    for (std::string line; std::getline(lines, line);) {
        std::smatch m;
        if (std::regex_search(line, m, chain))
            times.push_back(((std::stoull(m[1]) * 60 + std::stoull(m[2])) * 60 + std::stoull(m[3])) *
                                1000000000ull +
                            std::stoull(m[4]));
    }
    return times;
}

Bytes Concatenate(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}
