// Shared set-up of the GStreamer suites: the tool fixture (a fresh folder, child processes)
// with GStreamer pointed at the built plugin and a registry in the build tree, plus the
// movies, raw clips and samples the suites compare.
#pragma once

#include "tool_fixture.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// A picture size and a block kind with its packing, as `qzkt encode` options.
struct ClipCase {
    int width, height, frames;
    std::vector<std::string> encodeOptions; // such as {"--dxt1", "--no-lzf"}
    std::string Name() const;
};

class GstTest : public ToolTest {
  protected:
    void SetUp() override;

    // Writes frames raw ARGB pictures of width x height (gradients, noise and a varying alpha
    // channel, different in every frame) to name.
    void WriteRawClip(const std::string& name, int width, int height, int frames);
    // `qzkt encode --raw WxH --rate rate [options] raw movie`; fails the test unless it succeeds.
    void ToolEncode(const std::string& raw, const std::string& movie, int width, int height,
                    const std::vector<std::string>& options, const std::string& rate = "25");
    // `qzkt decode --gl software movie raw`: the reference frames.
    Bytes ToolDecode(const std::string& movie);
    // gst-launch-1.0 with the pipeline's words as arguments; its standard output goes to
    // "launch.txt" (Output() reads it).
    RunResult Launch(const std::vector<std::string>& pipeline);
    std::string Output() const;
    // Where the QZKT track's samples lie in the file (offset, size), in order.
    std::vector<std::pair<size_t, size_t>> SampleSpans(const std::string& movie);
    // The QZKT track's samples, in order, as the file holds them.
    std::vector<Bytes> Samples(const std::string& movie);
};

// The presentation times (ns) of the buffers a `fakesink silent=false` printed under
// gst-launch-1.0 -v.
std::vector<uint64_t> SinkTimestamps(const std::string& launchOutput);
Bytes Concatenate(const std::vector<Bytes>& parts);
