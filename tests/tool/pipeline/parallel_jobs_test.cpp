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

TEST_F(ToolTest, DamagedDXT1FramesAreReplacedOnEveryPath) {
    // The frame replacing a damaged one is decoded again from its sample, on the path that
    // decoded it first: the CPU decoder with one or several jobs, and OpenGL. The pictures
    // expected are the tool's own, from the same movie with every frame intact.
    const std::string pattern = "xGxxGGxG";
    const size_t pictureBytes = static_cast<size_t>(kWidth) * kHeight * 4;
    std::vector<Bytes> intact, samples;
    for (size_t i = 0; i < pattern.size(); ++i) {
        const Bytes blocks =
            ReferenceBlocks(BlockKind::kDXT1, ClipFrame(kWidth, kHeight, i), kWidth, kHeight);
        intact.push_back(StoredFrame(false, blocks, i % 2 == 0));
        samples.push_back(intact.back());
        if (pattern[i] == 'x') samples.back().resize(samples.back().size() - 3);
    }
    WriteMovie(Path("intact.mov"), kWidth, kHeight, intact);
    WriteMovie(Path("damaged.mov"), kWidth, kHeight, samples);
    ASSERT_EQ(Run({"qzkt", "decode", "--gl", "cpu", "intact.mov", "intact.argb"}).status, 0);
    const Bytes pictures = ReadFile(Path("intact.argb"));
    ASSERT_EQ(pictures.size(), pictureBytes * pattern.size());
    Bytes expected, previous(pictureBytes);
    for (size_t i = 0; i < previous.size(); i += 4)
        previous[i] = 255; // opaque black until the first good frame
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == 'G')
            previous.assign(pictures.begin() + i * pictureBytes, pictures.begin() + (i + 1) * pictureBytes);
        expected.insert(expected.end(), previous.begin(), previous.end());
    }

    std::vector<std::vector<std::string>> paths = {{"--gl", "cpu", "--jobs", "1"},
                                                   {"--gl", "cpu", "--jobs", "3"}};
    GLContext::SetAllowSoftwareRenderer(true);
    GLContext context;
    if (context.InitContext()) paths.push_back({"--gl", "software"});
    context.DeleteContext();
    for (const std::vector<std::string>& path : paths) {
        std::vector<std::string> args = {"qzkt", "decode", "--quiet"};
        args.insert(args.end(), path.begin(), path.end());
        args.insert(args.end(), {"damaged.mov", "out.argb"});
        const RunResult r = Run(args);
        EXPECT_EQ(r.status, 3) << path[1] << " " << r.err;
        EXPECT_TRUE(ReadFile(Path("out.argb")) == expected) << path[1] << " " << path.back();
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
