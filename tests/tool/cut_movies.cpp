// Movies cut short in their samples, for the suites that read them (info and decode). Only
// tool_tests links this file: the other suites that share the fixture do not need it.
#include "support/frame_builders.h"
#include "support/movie_builders.h"
#include "support/reference_frames.h"
#include "tool_fixture.h"

std::vector<Bytes> ToolTest::WriteCutMovies() {
    Bytes raw;
    for (int i = 0; i < 6; ++i) {
        const Bytes frame = ClipFrame(20, 12, i);
        raw.insert(raw.end(), frame.begin(), frame.end());
    }
    WriteFile(Path("clip.argb"), raw);
    EXPECT_EQ(Run({"qzkt", "encode", prefsArg_, "--raw", "20x12", "clip.argb", "index_last.mov"}).status, 0);
    MustRun({"ffmpeg", "-v", "error", "-i", "index_last.mov", "-c", "copy", "-movflags", "+faststart",
             "clip.mov"});
    const std::vector<Bytes> samples = MovieSamples(Path("clip.mov"));
    EXPECT_EQ(samples.size(), 6u);
    if (samples.size() != 6) return samples;
    const Bytes movie = ReadFile(Path("clip.mov"));
    const size_t lastTwo = samples[4].size() + samples[5].size();
    WriteFile(Path("four.mov"), Bytes(movie.begin(), movie.end() - lastTwo));
    WriteFile(Path("four_and_a_bit.mov"), Bytes(movie.begin(), movie.end() - lastTwo + 20));
    return samples;
}
