// qzktenc in real pipelines: raw ARGB through qzktenc ! qtmux makes a movie with one 'QZKT'
// track whose samples are byte-identical to `qzkt encode` of the same frames with the same
// settings, and that the tool reads back; other consumers get video/x-qzkt.
#include "gst_fixture.h"

#include <sstream>

namespace {

// A qzktenc setting and the `qzkt encode` options that mean the same.
struct EncoderSetting {
    std::string properties;
    std::vector<std::string> toolOptions;
};

// filesrc location=raw ! rawvideoparse ! qzktenc properties ! rest...
std::vector<std::string> EncodePipeline(const std::string& raw, int width, int height,
                                        const std::string& rate, const std::string& properties,
                                        const std::vector<std::string>& rest) {
    std::vector<std::string> pipeline = {"-q",
                                         "filesrc",
                                         "location=" + raw,
                                         "!",
                                         "rawvideoparse",
                                         "format=argb",
                                         "width=" + std::to_string(width),
                                         "height=" + std::to_string(height),
                                         "framerate=" + rate,
                                         "!",
                                         "qzktenc"};
    std::istringstream words(properties);
    for (std::string word; words >> word;)
        pipeline.push_back(word);
    pipeline.push_back("!");
    pipeline.insert(pipeline.end(), rest.begin(), rest.end());
    return pipeline;
}

} // namespace

class GstEncoderTest : public GstTest {
  protected:
    void ExpectMovieMatchesToolEncode(int width, int height, int frames, const EncoderSetting& setting) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + " " + setting.properties);
        const std::string rate = "30000/1001";
        WriteRawClip("clip.argb", width, height, frames);
        const RunResult result = Launch(EncodePipeline("clip.argb", width, height, rate, setting.properties,
                                                       {"qtmux", "!", "filesink", "location=gst.mov"}));
        ASSERT_EQ(result.status, 0) << result.err;
        ExpectQZKTMovie("gst.mov", width, height, frames, rate);

        ToolEncode("clip.argb", "tool.mov", width, height, setting.toolOptions, rate);
        const std::vector<Bytes> samples = Samples("gst.mov");
        EXPECT_EQ(samples.size(), size_t(frames));
        EXPECT_TRUE(samples == Samples("tool.mov")) << "qzktenc's frames differ from qzkt encode's";
        EXPECT_TRUE(ToolDecode("gst.mov") == ToolDecode("tool.mov")) << "the tool reads qzktenc's movie";
    }
};

// Every setting: gst_harness_test.cpp, in one process. Here through qtmux into a movie.
TEST_F(GstEncoderTest, QtmuxMovieHoldsTheToolsFramesOfPartialBlocks) {
    ExpectMovieMatchesToolEncode(37, 29, 3, {"dxt1=true no-lzf=true", {"--dxt1", "--no-lzf"}});
}

TEST_F(GstEncoderTest, QtmuxMovieHoldsTheToolsFramesAtNearlyFullHd) {
    ExpectMovieMatchesToolEncode(1918, 1078, 2, {"threads=0", {"--threads", "auto"}});
}

TEST_F(GstEncoderTest, SmallPicturesGoToOtherConsumersButNotToQtmux) {
    // video/x-qzkt: the frames back to back, as the tool's movie holds them.
    WriteRawClip("clip.argb", 8, 6, 3);
    RunResult result =
        Launch(EncodePipeline("clip.argb", 8, 6, "25/1", "alpha=true",
                              {"video/x-qzkt,width=8,height=6", "!", "filesink", "location=frames.bin"}));
    ASSERT_EQ(result.status, 0) << result.err;
    ToolEncode("clip.argb", "tool.mov", 8, 6, {"--alpha"});
    EXPECT_TRUE(ReadFile(Path("frames.bin")) == Concatenate(Samples("tool.mov")));

    // qtmux takes video tracks of at least 16 pixels a side: caps negotiation fails, and says
    // why (async=false: see DecodePipeline in gst_decoder_test.cpp).
    result = Launch(EncodePipeline("clip.argb", 8, 6, "25/1", "",
                                   {"qtmux", "!", "filesink", "location=small.mov", "async=false"}));
    EXPECT_NE(result.status, 0);
    EXPECT_NE(
        (result.err + Output()).find("Downstream takes no QZKT video of 8x6 pixels (qtmux needs at least 16"),
        std::string::npos)
        << result.err << Output();
}

TEST_F(GstEncoderTest, VideoconvertFeedsOtherFormatsAndTimestampsSurviveARoundTrip) {
    // videotestsrc's I420 frames through videoconvert, encoded, muxed, demuxed and decoded.
    RunResult result =
        Launch({"-q", "videotestsrc", "num-buffers=4", "!",
                "video/x-raw,format=I420,width=48,height=32,framerate=30000/1001", "!", "videoconvert", "!",
                "qzktenc", "!", "qtmux", "!", "filesink", "location=test.mov"});
    ASSERT_EQ(result.status, 0) << result.err;
    ExpectQZKTMovie("test.mov", 48, 32, 4, "30000/1001");
    result = Launch({"-v", "filesrc", "location=test.mov", "!", "qtdemux", "!", "qzktdec", "!", "fakesink",
                     "silent=false"});
    ASSERT_EQ(result.status, 0) << result.err;
    std::vector<uint64_t> expected;
    for (uint64_t i = 0; i < 4; ++i)
        expected.push_back(i * 1001 * 1000000000ull / 30000);
    EXPECT_EQ(SinkTimestamps(Output()), expected);
}
