// Several frames in flight (--jobs): the same movie bytes for every job count and thread
// setting, the same decoded frames for every job count (damaged frames replaced by the
// previous good frame in output order), and an error in the middle leaves nothing behind.
#include <string>

#include "gl/gl_context.h"
#include "platform/little_endian.h"
#include "stream/kel_header.h"
#include "support/frame_builders.h"
#include "support/movie_builders.h"
#include "support/reference_frames.h"
#include "tool_fixture.h"

namespace {

// Partial blocks at the right and bottom; 50 block rows, enough for 24 DXT24 slices.
const int kWidth = 102, kHeight = 198, kFrames = 11;
const char* kSize = "102x198";

} // namespace

TEST_F(ToolTest, MovieBytesAreTheSameForEveryJobCountAndThreadSetting) {
    const Bytes clip = ClipFrames(kWidth, kHeight, kFrames);
    WriteFile(Path("clip.argb"), clip);

    // --threads 1, 2 and 24 are thread settings 2, 3 and 9; auto is setting 1.
    const std::vector<std::vector<std::string>> dxt24Runs = {
        {"--jobs", "1", "--threads", "1"},    {"--jobs", "1", "--threads", "2"},
        {"--jobs", "1", "--threads", "24"},   {"--jobs", "4", "--threads", "2"},
        {"--jobs", "4", "--threads", "24"},   {"--jobs", "4"},
        {"--jobs", "3", "--threads", "auto"}, {}};
    const std::vector<std::vector<std::string>> dxt1Runs = {
        {"--dxt1", "--jobs", "1"}, {"--dxt1", "--jobs", "4"}, {"--dxt1", "--jobs", "2"}};
    for (const auto* runs : {&dxt24Runs, &dxt1Runs}) {
        Bytes first;
        for (const std::vector<std::string>& options : *runs) {
            std::vector<std::string> args = {"qzkt", "encode", prefsArg_, "--raw", kSize};
            args.insert(args.end(), options.begin(), options.end());
            args.insert(args.end(), {"clip.argb", "clip.mov"});
            const RunResult r = Run(args);
            ASSERT_EQ(r.status, 0) << r.err;
            const Bytes movie = ReadFile(Path("clip.mov"));
            if (first.empty()) {
                first = movie;
                ExpectQZKTMovie("clip.mov", kWidth, kHeight, kFrames, "25/1");
            }
            EXPECT_TRUE(movie == first) << "encode " << testing::PrintToString(options);
            std::remove(Path("clip.mov").c_str());
        }
    }
}

TEST_F(ToolTest, DecodedFramesAreTheSameForEveryJobCountWithDamagedFrames) {
    // Damaged samples alone, in runs of up to three, at the start and at the end, so that a
    // replacement's previous good frame was decoded by another worker, or not yet at all.
    const std::string pattern = "xxGxGGxxxGxGxGGGxxGxxxGx";
    std::vector<Bytes> samples;
    Bytes expected;
    Bytes previous = DecodeBlocks(
        BlockKind::kDXT24,
        Bytes(ReferenceBlocks(BlockKind::kDXT24, ClipFrame(kWidth, kHeight, 0), kWidth, kHeight).size()),
        kWidth, kHeight); // black
    for (size_t i = 0; i < pattern.size(); ++i) {
        const Bytes blocks =
            ReferenceBlocks(BlockKind::kDXT24, ClipFrame(kWidth, kHeight, i), kWidth, kHeight);
        Bytes frame = StoredFrame(true, blocks, i % 3 != 0);
        if (pattern[i] == 'x') {
            if (i % 2 == 0)
                frame.resize(frame.size() - 7); // cut short
            else
                WriteLE32(&frame[kKELStoredSizeOffset], 1u << 30); // stored part past the sample
        } else {
            previous = DecodeBlocks(BlockKind::kDXT24, blocks, kWidth, kHeight);
        }
        samples.push_back(frame);
        expected.insert(expected.end(), previous.begin(), previous.end());
    }
    WriteMovie(Path("damaged.mov"), kWidth, kHeight, samples);

    const long damaged = std::count(pattern.begin(), pattern.end(), 'x');
    const std::string line = "qzkt decode: " + std::to_string(damaged) + " of " +
                             std::to_string(pattern.size()) +
                             " frames were damaged and replaced by the previous good frame\n";
    for (const char* jobs : {"1", "4", "2", "16"}) {
        const RunResult r = Run({"qzkt", "decode", "--jobs", jobs, "damaged.mov", "out.argb"});
        EXPECT_EQ(r.status, 3) << jobs;
        EXPECT_EQ(r.err, line) << jobs;
        EXPECT_TRUE(ReadFile(Path("out.argb")) == expected) << "--jobs " << jobs;
        std::remove(Path("out.argb").c_str());
    }
}

TEST_F(ToolTest, AnErrorInTheMiddleWithSeveralJobsLeavesNothingBehind) {
    // Encode: an image sequence whose sixth image has another size.
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=64x32:rate=10:duration=1.2",
             "in_%03d.png"});
    MustRun({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=size=48x32", "-frames:v", "1",
             "in_006.png"});
    std::vector<std::string> inputs = FolderListing();
    const RunResult encoded = Run({"qzkt", "encode", prefsArg_, "--jobs", "4", "in_%03d.png", "out.mov"});
    EXPECT_EQ(encoded.status, 1);
    EXPECT_NE(encoded.err.find("changes its picture size from 64x32"), std::string::npos) << encoded.err;
    EXPECT_EQ(FolderListing(), inputs);

    // Decode: a DXT1 frame among DXT24 frames that is wider than the renderer's textures: a
    // worker's decoder fails while the other workers hold frames after it.
    GLContext::SetAllowSoftwareRenderer(true);
    GLContext context;
    if (!context.InitContext()) GTEST_SKIP() << "no OpenGL renderer at all";
    const int limit = context.maxTextureSize;
    context.DeleteContext();
    if (limit + 16 > kKELMaxSide) GTEST_SKIP() << "the renderer takes every frame size";
    const int w = limit + 16, h = 8;
    const Bytes picture = ClipFrame(w, h, 0);
    const Bytes dxt24 = StoredFrame(true, ReferenceBlocks(BlockKind::kDXT24, picture, w, h), true);
    const Bytes dxt1 = StoredFrame(false, ReferenceBlocks(BlockKind::kDXT1, picture, w, h), false);
    std::vector<Bytes> samples(12, dxt24);
    samples[5] = dxt1;
    WriteMovie(Path("mixed.mov"), w, h, samples);
    inputs = FolderListing();
    for (const char* output : {"mixed.mkv", "mixed.argb"}) {
        const RunResult r = Run({"qzkt", "decode", "--jobs", "4", "--gl", "software", "mixed.mov", output});
        EXPECT_EQ(r.status, 1) << output;
        EXPECT_NE(r.err.find("cannot decode the DXT1/DXT5 frames"), std::string::npos) << r.err;
        EXPECT_EQ(FolderListing(), inputs) << output;
    }
}
