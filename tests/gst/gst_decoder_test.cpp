// qzktdec in real pipelines: byte-identical to `qzkt decode` at full size and partial blocks,
// found by uridecodebin and playbin, timestamps kept, damaged frames skipped with a warning,
// a missing renderer reported, and a size change re-opening the decoder.
#include "gst_fixture.h"

#include <qzkt/qzkt.h>

#include <algorithm>
#include <cstdlib>

namespace {

// filesrc ! qtdemux ! qzktdec ! filesink, written to decoded.argb; gst-launch-1.0 prints
// warnings and errors. The sink does not preroll (async=false): gst-launch-1.0 1.22 can wait
// for ever when a decoder's error and the demuxer's "Internal data stream error" both arrive
// while the pipeline prerolls.
std::vector<std::string> DecodePipeline(const std::string& movie, const std::string& decoderOptions = "") {
    std::vector<std::string> pipeline = {"filesrc", "location=" + movie, "!", "qtdemux", "!", "qzktdec"};
    if (!decoderOptions.empty()) pipeline.push_back(decoderOptions);
    pipeline.insert(pipeline.end(), {"!", "filesink", "location=decoded.argb", "async=false"});
    return pipeline;
}

// Frame i of a movie at 30000/1001 frames a second, as qtdemux times it (1/30000 units).
uint64_t NtscFrameTime(uint64_t i) {
    return i * 1001 * 1000000000ull / 30000;
}

} // namespace

class GstDecoderTest : public GstTest {
  protected:
    // Encodes the clip with the tool and checks qzktdec's output against `qzkt decode`.
    void ExpectDecodeMatchesTool(const ClipCase& clip) {
        SCOPED_TRACE(clip.Name());
        WriteRawClip("clip.argb", clip.width, clip.height, clip.frames);
        ToolEncode("clip.argb", "clip.mov", clip.width, clip.height, clip.encodeOptions);
        const Bytes reference = ToolDecode("clip.mov");
        ASSERT_EQ(reference.size(), size_t(clip.width) * clip.height * 4 * clip.frames);

        // The same software renderer as the reference for DXT1/DXT5.
        const RunResult result = Launch(DecodePipeline("clip.mov", "renderer=software"));
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_TRUE(ReadFile(Path("decoded.argb")) == reference) << "qzktdec differs from qzkt decode";
    }
};

// Every block kind and packing at sizes of partial blocks: gst_harness_test.cpp, in one
// process. Here the same through qtdemux in a real pipeline, against the tool.
TEST_F(GstDecoderTest, MatchesToolDecodeOfPartialBlocks) {
    ExpectDecodeMatchesTool({5, 3, 2, {"--alpha"}});
}

TEST_F(GstDecoderTest, MatchesToolDecodeAtNearlyFullHd) {
    for (const auto& options :
         std::vector<std::vector<std::string>>{{}, {"--no-lzf"}, {"--dxt1"}, {"--alpha"}})
        ExpectDecodeMatchesTool({1918, 1078, 2, options});
}

TEST_F(GstDecoderTest, AutoRendererDecodesDxt1WithoutAGpu) {
    WriteRawClip("clip.argb", 40, 24, 2);
    ToolEncode("clip.argb", "clip.mov", 40, 24, {"--dxt1"});
    const RunResult result = Launch(DecodePipeline("clip.mov")); // renderer=auto
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(ReadFile(Path("decoded.argb")) == ToolDecode("clip.mov"));
}

TEST_F(GstDecoderTest, DecodebinAndPlaybinFindTheDecoderAndKeepTheTimestamps) {
    const int frames = 6;
    WriteRawClip("clip.argb", 37, 29, frames);
    ToolEncode("clip.argb", "clip.mov", 37, 29, {}, "30000/1001");
    std::vector<uint64_t> expected;
    for (int i = 0; i < frames; ++i)
        expected.push_back(NtscFrameTime(i));
    const std::string uri = "uri=file://" + Path("clip.mov");

    RunResult result =
        Launch({"-v", "uridecodebin", uri, "!", "video/x-raw,format=ARGB", "!", "fakesink", "silent=false"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(SinkTimestamps(Output()), expected) << "uridecodebin";
    EXPECT_NE(Output().find("GstQzktDec"), std::string::npos) << Output();

    result = Launch({"-v", "playbin", uri, "video-sink=fakesink silent=false", "audio-sink=fakesink"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(SinkTimestamps(Output()), expected) << "playbin";

    // decodebin's own pick between uridecodebin and a file: the raw frames are the tool's.
    result = Launch(
        {"-q", "filesrc", "location=clip.mov", "!", "decodebin", "!", "filesink", "location=decoded.argb"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(ReadFile(Path("decoded.argb")) == ToolDecode("clip.mov"));
}

TEST_F(GstDecoderTest, DamagedSampleIsSkippedWithAWarningAndTheRestPlays) {
    const int frames = 5, damaged = 2;
    WriteRawClip("clip.argb", 37, 29, frames);
    ToolEncode("clip.argb", "clip.mov", 37, 29, {});
    const Bytes reference = ToolDecode("clip.mov");
    const size_t frameBytes = 37 * 29 * 4;

    // The third sample's header claims a payload far past the sample's end.
    const size_t pos = SampleSpans("clip.mov").at(damaged).first;
    Bytes movie = ReadFile(Path("clip.mov"));
    const uint8_t storedSize[4] = {0xff, 0xff, 0xff, 0x7f}; // little-endian, at byte 16
    std::copy(storedSize, storedSize + 4, movie.begin() + pos + 16);
    WriteFile(Path("damaged.mov"), movie);
    const Bytes damagedMovie = movie;

    RunResult result = Launch(DecodePipeline("damaged.mov"));
    ASSERT_EQ(result.status, 0) << result.err;
    const std::string said = result.err + Output();
    EXPECT_NE(said.find("WARNING"), std::string::npos) << said;
    EXPECT_NE(said.find("Damaged QZKT frame"), std::string::npos) << said;
    EXPECT_NE(said.find("reaches past"), std::string::npos) << said;
    Bytes expected(reference.begin(), reference.begin() + damaged * frameBytes);
    expected.insert(expected.end(), reference.begin() + (damaged + 1) * frameBytes, reference.end());
    EXPECT_TRUE(ReadFile(Path("decoded.argb")) == expected) << "the other frames, in order";
    EXPECT_TRUE(ReadFile(Path("damaged.mov")) == damagedMovie) << "the input is never changed";

    // With no errors tolerated the damaged frame stops the pipeline with the same message.
    result = Launch(DecodePipeline("damaged.mov", "max-errors=0"));
    EXPECT_NE(result.status, 0);
    EXPECT_NE((result.err + Output()).find("Damaged QZKT frame"), std::string::npos) << result.err;
}

TEST_F(GstDecoderTest, EmptyAndShortBuffersAreDamagedFramesNotCallerMistakes) {
    // Whatever upstream hands over is data: buffers of 0 and of 5 bytes are skipped with a
    // warning like any damaged frame (a zero-byte buffer stopped the pipeline as "bad
    // arguments", whatever max-errors said), and the pipeline runs to its end.
    for (const char* size : {"0", "5"}) {
        const RunResult result =
            Launch({"fakesrc", "num-buffers=3", "sizetype=fixed", std::string("sizemax=") + size,
                    "filltype=zero", "!", "video/x-gst-fourcc-QZKT,width=16,height=8,framerate=10/1", "!",
                    "qzktdec", "!", "fakesink"});
        EXPECT_EQ(result.status, 0) << size << ": " << result.err;
        const std::string said = result.err + Output();
        EXPECT_NE(said.find("Damaged QZKT frame"), std::string::npos) << size << ": " << said;
        EXPECT_EQ(said.find("bad arguments"), std::string::npos) << size << ": " << said;
    }
}

TEST_F(GstDecoderTest, ScanningAndDecodingNeedNoDevShm) {
    // /dev/shm full or read-only (every sem_open fails): a fresh plugin scan still registers
    // both elements, and a decode pipeline plays, since only encoding makes semaphores.
    WriteRawClip("clip.argb", 37, 29, 3);
    ToolEncode("clip.argb", "clip.mov", 37, 29, {});
    const Bytes reference = ToolDecode("clip.mov");
    const char* preload = std::getenv("LD_PRELOAD");
    setenv("LD_PRELOAD",
           ((preload != nullptr ? std::string(preload) + " " : "") + SEM_OPEN_FAILS_LIBRARY).c_str(), 1);
    const char* asan = std::getenv("ASAN_OPTIONS");
    setenv("ASAN_OPTIONS",
           ((asan != nullptr ? std::string(asan) + ":" : "") + "verify_asan_link_order=0").c_str(), 1);
    setenv("GST_REGISTRY", Path("fresh-registry.bin").c_str(), 1);
    setenv("SEM_OPEN_FAILS_WITH", "30", 1); // EROFS
    const RunResult scanned = Run({"gst-inspect-1.0", "qzkt"}, "", "inspect.txt");
    const RunResult decoded = Launch(DecodePipeline("clip.mov"));
    unsetenv("SEM_OPEN_FAILS_WITH");
    EXPECT_EQ(scanned.status, 0) << scanned.err;
    const Bytes inspect = ReadFile(Path("inspect.txt"));
    EXPECT_NE(std::string(inspect.begin(), inspect.end()).find("qzktdec"), std::string::npos);
    EXPECT_EQ(decoded.status, 0) << decoded.err;
    EXPECT_TRUE(ReadFile(Path("decoded.argb")) == reference);
}

TEST_F(GstDecoderTest, Dxt1WithHardwareRendererFailsClearlyWithoutAGpu) {
    if (qzkt_renderer_available(QZKT_RENDERER_HARDWARE)) GTEST_SKIP() << "this machine has a GPU";
    WriteRawClip("clip.argb", 37, 29, 2);
    ToolEncode("clip.argb", "clip.mov", 37, 29, {"--dxt1"});
    const RunResult result = Launch(DecodePipeline("clip.mov", "renderer=hardware"));
    EXPECT_NE(result.status, 0);
    const std::string said = result.err + Output();
    EXPECT_NE(said.find("No hardware OpenGL renderer for this stream's DXT1/DXT5 frames (renderer=hardware)"),
              std::string::npos)
        << said;

    // DXT24 frames need no renderer, whatever the property says.
    ToolEncode("clip.argb", "dxt24.mov", 37, 29, {});
    const RunResult dxt24 = Launch(DecodePipeline("dxt24.mov", "renderer=hardware"));
    EXPECT_EQ(dxt24.status, 0) << dxt24.err;
}

TEST_F(GstDecoderTest, SizeChangeReopensTheDecoder) {
    WriteRawClip("small.argb", 37, 29, 3);
    ToolEncode("small.argb", "small.mov", 37, 29, {});
    WriteRawClip("large.argb", 64, 40, 2);
    ToolEncode("large.argb", "large.mov", 64, 40, {});
    const Bytes small = ToolDecode("small.mov"), large = ToolDecode("large.mov");

    // The queues link to concat when the pipeline is made, so concat plays small.mov, then
    // large.mov, whenever each demuxer's pad appears.
    const RunResult result = Launch({"-q",       "concat",
                                     "name=c",   "!",
                                     "qzktdec",  "!",
                                     "filesink", "location=decoded.argb",
                                     "filesrc",  "location=small.mov",
                                     "!",        "qtdemux",
                                     "!",        "queue",
                                     "!",        "c.",
                                     "filesrc",  "location=large.mov",
                                     "!",        "qtdemux",
                                     "!",        "queue",
                                     "!",        "c."});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(ReadFile(Path("decoded.argb")) == Concatenate({small, large}));
}
