// qzkt play's player: QZKT movies through GStreamer to an OpenGL window, each movie a layer
// decoded by qzktdec into OpenGL textures and composed side by side by glvideomixer, all on
// one clock; the movies' audio mixed and played beside them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// One movie to play, as probed before the pipeline is built (so that the pipeline waits for
// exactly the tracks the movie has).
struct PlayLayer {
    std::string path;
    int width = 0, height = 0;
    double frameSeconds = 0; // one frame's duration, for stepping back
    double duration = 0;     // seconds
    bool hasAudio = false;
};

// Throws ToolError when the file cannot be read or holds no QZKT track.
PlayLayer ProbeLayer(const std::string& path);

struct PlaySettings {
    bool fullscreen = false;
    bool audio = true;
    bool loop = false;
    bool startPaused = false;   // show the first frame and wait for space
    bool glMemory = true;       // qzktdec's gl-memory: false decodes to system memory and uploads
    std::string dxt24 = "auto"; // qzktdec's dxt24-decoding
    std::string s3tc = "auto";  // qzktdec's s3tc-decoding
    // Play as fast as frames come, without a clock, audio or keys, and record when each frame
    // reaches the video sink.
    bool benchmark = false;
    size_t warmUp = 5; // benchmark: frames before the measured span starts
};

struct PlayResult {
    int status = 0;        // the command's exit status
    uint64_t shown = 0;    // frames the video sink showed
    uint64_t dropped = 0;  // frames dropped for lateness, by the sink and the decoders
    double seconds = 0;    // wall time from the first frame shown to the end
    double cpuSeconds = 0; // the process's CPU time (user and system) over the whole run
    // Benchmark: from the frame after the warm-up to the last frame, the intervals between
    // frames and the CPU time they took, of the process and of the decoders' streaming threads
    // (summed over layers).
    size_t spanFrames = 0;
    double spanCpuSeconds = 0, spanDecoderCpuSeconds = 0;
    std::vector<double> arrivals;         // benchmark: steady-clock seconds of each frame at the sink
    std::vector<std::string> decodePaths; // each layer's, as qzktdec says it
};

// Plays the layers until the end (or q, or an error); prints errors and warnings on standard
// error, and stats lines (on s) on standard output.
PlayResult PlayLayers(const std::vector<PlayLayer>& layers, const PlaySettings& settings);

// "shown 250 frames, dropped 0, 25.0 fps; layer 1: DXT24 drawn on the GPU into OpenGL textures"
std::string StatsLine(const PlayResult& result);
