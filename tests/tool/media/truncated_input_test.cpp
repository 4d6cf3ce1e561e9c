// Inputs cut short: the encode keeps every frame it could read, byte for byte what a whole
// input gives for them, says in one line what was wrong, and ends with status 3; whole inputs
// end with 0 and no word.
#include <cstdio>
#include <unistd.h>

#include "support/frame_builders.h"
#include "support/movie_builders.h"
#include "support/reference_frames.h"
#include "tool_fixture.h"

namespace {

// The first half of a file's bytes.
void CutInHalf(const std::string& from, const std::string& to) {
    const Bytes whole = ReadFile(from);
    WriteFile(to, Bytes(whole.begin(), whole.begin() + whole.size() / 2));
}

} // namespace

TEST_F(ToolTest, CutInputKeepsTheFramesReadAndSaysSo) {
    const std::string source = "testsrc2=size=64x48:rate=25:duration=1.6"; // 40 frames
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", source, "-c:v", "ffv1", "clip.mkv"});
    // An MP4 with its index first reads up to the cut; one with its index last cannot be read.
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", source, "-c:v", "mpeg4", "-movflags", "+faststart",
             "clip.mp4"});
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", source, "-c:v", "mpeg4", "last.mp4"});
    Bytes raw;
    for (int i = 0; i < 3; ++i) {
        const Bytes frame = ClipFrame(20, 12, i);
        raw.insert(raw.end(), frame.begin(), frame.end());
    }
    WriteFile(Path("clip.argb"), raw);
    CutInHalf(Path("clip.mkv"), Path("cut.mkv"));
    CutInHalf(Path("clip.mp4"), Path("cut.mp4"));
    CutInHalf(Path("last.mp4"), Path("cut_last.mp4"));
    WriteFile(Path("cut.argb"), Bytes(raw.begin(), raw.end() - 100));

    // Whole inputs: status 0, not a word.
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{"clip.mkv", "clip_mkv.mov"},
                                               {"clip.mp4", "clip_mp4.mov"},
                                               {"--raw", "20x12", "clip.argb", "clip.mov"}}) {
        std::vector<std::string> command = {"qzkt", "encode", prefsArg_};
        command.insert(command.end(), args.begin(), args.end());
        const RunResult r = Run(command);
        EXPECT_EQ(r.status, 0) << args[0];
        EXPECT_EQ(r.err, "") << args[0];
    }
    ExpectQZKTMovie("clip_mkv.mov", 64, 48, 40, "25/1");
    ExpectQZKTMovie("clip_mp4.mov", 64, 48, 40, "25/1");

    struct Case {
        std::vector<std::string> args; // after "qzkt encode"
        std::string whole;             // the movie of the whole input
        std::string damage;            // what the line says before the count of frames kept
        size_t intactFrames;           // frames that must equal the whole input's (the rest may be damaged)
        std::string stdinName = "";
    };
    const std::vector<Case> cases = {
        {{"cut.mkv", "cut_mkv.mov"}, "clip_mkv.mov", "cut.mkv is damaged or cut short: it ends after ", 0},
        {{"cut.mp4", "cut_mp4.mov"}, "clip_mp4.mov", "cut.mp4 is damaged or cut short: it ends after ", 0},
        {{"--raw", "20x12", "cut.argb", "cut.mov"},
         "clip.mov",
         "cut.argb is damaged or cut short: it ends inside frame 3 (860 of 960 bytes of a 20x12 ARGB "
         "frame). ",
         2},
        {{"--raw", "20x12", "-", "piped.mov"},
         "clip.mov",
         "standard input is damaged or cut short: it ends inside frame 3 (860 of 960 bytes of a 20x12 ARGB "
         "frame). ",
         2,
         "cut.argb"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args[c.args.size() - 2]);
        std::vector<std::string> command = {"qzkt", "encode", prefsArg_};
        command.insert(command.end(), c.args.begin(), c.args.end());
        const RunResult r = Run(command, c.stdinName);
        EXPECT_EQ(r.status, 3);
        EXPECT_EQ(r.ErrLines(), 1) << r.err;
        EXPECT_EQ(r.err.rfind("qzkt encode: " + c.damage, 0), 0u) << r.err;

        // The movie is complete, and says how many frames it holds.
        const std::vector<Bytes> whole = MovieSamples(Path(c.whole));
        const std::vector<Bytes> kept = MovieSamples(Path(c.args.back()));
        ASSERT_GE(kept.size(), std::max<size_t>(c.intactFrames, 1));
        ASSERT_LT(kept.size(), whole.size());
        const std::string count = std::to_string(kept.size()) + " frame" + (kept.size() == 1 ? "" : "s");
        EXPECT_NE(r.err.find(". " + c.args.back() + " holds the " + count + " read\n"), std::string::npos)
            << r.err;
        // Cut media files: every frame but the last (which may be part of a damaged packet).
        const size_t intact = c.intactFrames > 0 ? c.intactFrames : kept.size() - 1;
        for (size_t i = 0; i < intact; ++i)
            EXPECT_TRUE(kept[i] == whole[i]) << "frame " << i + 1;
    }

    // Nothing to keep: one line, status 1, no output.
    const std::vector<std::string> before = FolderListing();
    WriteFile(Path("tiny.argb"), Bytes(raw.begin(), raw.begin() + 100));
    const RunResult tiny = Run({"qzkt", "encode", prefsArg_, "--raw", "20x12", "tiny.argb", "tiny.mov"});
    EXPECT_EQ(tiny.status, 1);
    EXPECT_EQ(tiny.err,
              "qzkt encode: tiny.argb holds no frames that can be read: it ends inside frame 1 (100 of "
              "960 bytes of a 20x12 ARGB frame)\n");
    const RunResult last = Run({"qzkt", "encode", prefsArg_, "cut_last.mp4", "last.mov"});
    EXPECT_EQ(last.status, 1);
    EXPECT_EQ(last.err, "qzkt encode: cannot open cut_last.mp4: Invalid data found when processing input\n");
    unlink(Path("tiny.argb").c_str());
    EXPECT_EQ(FolderListing(), before);
}

// Matroska files whose video starts after their audio (as ffmpeg writes them from inputs that
// do) are whole: every frame is encoded with status 0 and no word. Cut short, they are still
// reported.
TEST_F(ToolTest, VideoStartingAfterItsAudioIsNotCutShort) {
    for (const std::string offset : {"0.05", "0.5"}) {
        SCOPED_TRACE(offset);
        MustRun({"ffmpeg", "-v", "error", "-itsoffset", offset, "-f", "lavfi", "-i",
                 "testsrc2=size=32x16:rate=25:duration=3", "-f", "lavfi", "-i", "sine=duration=3.1", "-c:v",
                 "libx264", "-c:a", "aac", "late.mkv", "-y"});
        const RunResult whole = Run({"qzkt", "encode", prefsArg_, "--quiet", "late.mkv", "late.mov", "-y"});
        EXPECT_EQ(whole.status, 0) << whole.err;
        EXPECT_EQ(whole.err, "");
        CutInHalf(Path("late.mkv"), Path("late_cut.mkv"));
        const RunResult cut =
            Run({"qzkt", "encode", prefsArg_, "--quiet", "late_cut.mkv", "late_cut.mov", "-y"});
        EXPECT_EQ(cut.status, 3) << cut.err;
        EXPECT_NE(cut.err.find("late_cut.mkv is damaged or cut short: it ends after"), std::string::npos)
            << cut.err;
    }
}

TEST_F(ToolTest, CutMovieDecodesTheFramesItHoldsAndSaysSo) {
    ASSERT_EQ(WriteCutMovies().size(), 6u);

    ASSERT_EQ(Run({"qzkt", "decode", "clip.mov", "clip_out.argb"}).status, 0);
    const Bytes whole = ReadFile(Path("clip_out.argb"));
    const size_t frameBytes = 20 * 12 * 4;

    const RunResult four = Run({"qzkt", "decode", "four.mov", "four.argb"});
    EXPECT_EQ(four.status, 3);
    EXPECT_EQ(four.err, "qzkt decode: four.mov is cut short: it ends after 4 of its 6 frames\n");
    EXPECT_TRUE(ReadFile(Path("four.argb")) == Bytes(whole.begin(), whole.begin() + 4 * frameBytes));

    // The cut sample is a damaged frame: replaced by the one before it.
    const RunResult five = Run({"qzkt", "decode", "four_and_a_bit.mov", "five.argb"});
    EXPECT_EQ(five.status, 3);
    EXPECT_EQ(five.err, "qzkt decode: four_and_a_bit.mov is cut short: it ends after 5 of its 6 frames\n"
                        "qzkt decode: 1 of 5 frames were damaged and replaced by the previous good frame\n");
    Bytes expected(whole.begin(), whole.begin() + 4 * frameBytes);
    expected.insert(expected.end(), whole.begin() + 3 * frameBytes, whole.begin() + 4 * frameBytes);
    EXPECT_TRUE(ReadFile(Path("five.argb")) == expected);
}
