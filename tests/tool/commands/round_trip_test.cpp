// Round trips through the built tool: raw ARGB (from a file and from standard input) and a
// PNG sequence in, every block kind, each movie checked with ffprobe and sample by sample,
// and raw ARGB (to a file and to standard output), PNG images and lossless video out.
#include <cstring>
#include <lzf.h>
#include <unistd.h>

#include "media/qzkt_movie.h"
#include "stream/kel_header.h"
#include "support/frame_builders.h"
#include "support/movie_builders.h"
#include "support/reference_frames.h"
#include "tool_fixture.h"

namespace {

const int kWidth = 70, kHeight = 38, kFrames = 3; // partial blocks at the right and bottom
const char* kSize = "70x38";

struct Encoding {
    std::string name;
    std::vector<std::string> options;
    BlockKind kind;
    bool lzf;
    int tolerance; // per channel against the reference decode: DXT24 is exact
};

// Each sample's header, and its blocks unpacked, against the reference blocks of its frame.
void ExpectSamples(const std::string& movie, const Encoding& e, const std::vector<Bytes>& blocks) {
    QZKTMovieReader reader(movie);
    QZKTSample sample;
    for (const Bytes& expected : blocks) {
        ASSERT_TRUE(reader.Next(sample));
        ASSERT_GE(sample.size, kKELHeaderSize);
        const KELHeader h = ReadKELHeader(sample.data);
        EXPECT_EQ(h.blockKind, e.kind == BlockKind::kDXT24 ? 1 : 0);
        EXPECT_EQ(h.alpha, e.kind == BlockKind::kDXT5 ? 1 : 0);
        EXPECT_EQ(h.packing, e.lzf ? kKELPackingLZF : 0);
        ASSERT_EQ(sample.size, h.headerSize + h.storedSize);
        Bytes unpacked(expected.size());
        if (e.lzf)
            lzf_decompress(sample.data + h.headerSize, h.storedSize, unpacked.data(), unpacked.size());
        else if (h.storedSize == unpacked.size())
            std::memcpy(unpacked.data(), sample.data + h.headerSize, unpacked.size());
        EXPECT_TRUE(unpacked == expected);
    }
}

} // namespace

TEST_F(ToolTest, EncodesEachBlockKindAndDecodesToTheCodecsPictures) {
    const Bytes clip = ClipFrames(kWidth, kHeight, kFrames);
    WriteFile(Path("clip.argb"), clip);
    const std::vector<Encoding> encodings = {
        {"dxt24", {}, BlockKind::kDXT24, true, 0},
        {"dxt24-raw", {"--no-lzf", "--threads", "4"}, BlockKind::kDXT24, false, 0},
        {"dxt1", {"--dxt1"}, BlockKind::kDXT1, true, 2},
        {"dxt5", {"--alpha"}, BlockKind::kDXT5, true, 2},
    };
    for (const Encoding& e : encodings) {
        SCOPED_TRACE(e.name);
        const bool fromStdin = &e == &encodings[0];
        std::vector<std::string> args = {"qzkt", "encode", prefsArg_, "--raw", kSize, "--rate", "12"};
        args.insert(args.end(), e.options.begin(), e.options.end());
        args.insert(args.end(), {fromStdin ? "-" : "clip.argb", e.name + ".mov"});
        const RunResult encoded = Run(args, fromStdin ? "clip.argb" : "");
        ASSERT_EQ(encoded.status, 0) << encoded.err;
        EXPECT_EQ(encoded.err, "") << "quiet when standard error is not a terminal";
        ExpectQZKTMovie(e.name + ".mov", kWidth, kHeight, kFrames, "12/1");

        std::vector<Bytes> blocks;
        Bytes pictures;
        for (size_t at = 0; at < clip.size(); at += kWidth * kHeight * 4) {
            const Bytes frame(clip.begin() + at, clip.begin() + at + kWidth * kHeight * 4);
            blocks.push_back(ReferenceBlocks(e.kind, frame, kWidth, kHeight));
            const Bytes picture = DecodeBlocks(e.kind, blocks.back(), kWidth, kHeight);
            pictures.insert(pictures.end(), picture.begin(), picture.end());
        }
        ExpectSamples(Path(e.name + ".mov"), e, blocks);

        // No note: without a GPU, DXT1/DXT5 frames decode on the CPU decoder by default.
        const RunResult decoded = Run({"qzkt", "decode", e.name + ".mov", e.name + ".argb"});
        ASSERT_EQ(decoded.status, 0) << decoded.err;
        EXPECT_EQ(decoded.ErrLines(), 0) << decoded.err;
        const Bytes decodedFrames = ReadFile(Path(e.name + ".argb"));
        EXPECT_LE(LargestDifference(decodedFrames, pictures), e.tolerance);

        const RunResult piped =
            Run({"qzkt", "decode", "--gl", "software", e.name + ".mov", "-"}, "", "out.argb");
        EXPECT_EQ(piped.status, 0);
        EXPECT_EQ(piped.err, "");
        EXPECT_TRUE(ReadFile(Path("out.argb")) == decodedFrames) << "the same frames on standard output";
        // The CPU decoder and Mesa's renderer give the same bytes.
        ASSERT_EQ(Run({"qzkt", "decode", "--gl", "cpu", e.name + ".mov", "-"}, "", "cpu.argb").status, 0);
        EXPECT_TRUE(ReadFile(Path("cpu.argb")) == decodedFrames) << "--gl cpu";
    }

    // The same clip as PNG images (lossless) gives the same pictures at the images' rate.
    MustRun({"ffmpeg", "-v", "error", "-f", "rawvideo", "-pix_fmt", "argb", "-s", kSize, "-i", "clip.argb",
             "in_%03d.png"});
    const RunResult encoded = Run({"qzkt", "encode", prefsArg_, "in_%03d.png", "png.mov"});
    ASSERT_EQ(encoded.status, 0) << encoded.err;
    ExpectQZKTMovie("png.mov", kWidth, kHeight, kFrames, "25/1");
    ASSERT_EQ(Run({"qzkt", "decode", "png.mov", "png.argb"}).status, 0);
    EXPECT_TRUE(ReadFile(Path("png.argb")) == ReadFile(Path("dxt24.argb")));

    // PNG images and the lossless videos hold the same pixels, as FFmpeg reads them back: UT
    // Video in Matroska, AVI and NUT, planar RGB with alpha for DXT5 frames and without for
    // the opaque DXT24 ones; PNG video in QuickTime.
    struct Output {
        const char* movie;
        const char* name;
        const char* codecAndFormat; // "" for images
    };
    const Output outputs[] = {{"dxt5", "out_%04d.png", ""},
                              {"dxt5", "out.mkv", "utvideo,gbrap\n"},
                              {"dxt24", "opaque.mkv", "utvideo,gbrp\n"},
                              {"dxt24", "opaque.avi", "utvideo,gbrp\n"},
                              {"dxt5", "alpha.nut", "utvideo,gbrap\n"},
                              {"dxt5", "alpha.mov", "png,rgba\n"}};
    for (const Output& o : outputs) {
        SCOPED_TRACE(std::string(o.movie) + " to " + o.name);
        const RunResult decoded = Run({"qzkt", "decode", std::string(o.movie) + ".mov", o.name});
        ASSERT_EQ(decoded.status, 0) << decoded.err;
        MustRun({"ffmpeg", "-v", "error", "-i", o.name, "-f", "rawvideo", "-pix_fmt", "argb", "back.argb"});
        EXPECT_TRUE(ReadFile(Path("back.argb")) == ReadFile(Path(std::string(o.movie) + ".argb")));
        unlink(Path("back.argb").c_str());
        if (*o.codecAndFormat == 0) continue;
        MustRun({"ffprobe", "-v", "error", "-show_entries", "stream=codec_name,pix_fmt", "-of", "csv=p=0",
                 Path(o.name)},
                "probe.txt");
        const Bytes probed = ReadFile(Path("probe.txt"));
        EXPECT_EQ(std::string(probed.begin(), probed.end()), o.codecAndFormat);
    }
}

// A movie of DXT24 frames but for one DXT5 frame keeps its alpha in the lossless video (only
// movies of DXT24 frames alone are coded without it), and the video holds the decoded pixels.
TEST_F(ToolTest, LosslessVideoKeepsAlphaWhenAnyFrameHasIt) {
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
             "testsrc2=size=24x12:rate=10:duration=0.3,format=rgba,"
             "geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='X*10'",
             "-f", "rawvideo", "-pix_fmt", "argb", "mixed.argb"});
    for (const char* kind : {"", "--alpha"}) {
        std::vector<std::string> args = {"qzkt", "encode", prefsArg_, "--raw", "24x12", "--rate", "10"};
        if (*kind != 0) args.push_back(kind);
        args.push_back("mixed.argb");
        args.push_back(*kind != 0 ? "dxt5.mov" : "dxt24.mov");
        ASSERT_EQ(Run(args).status, 0);
    }
    const std::vector<Bytes> dxt24 = MovieSamples(Path("dxt24.mov")), dxt5 = MovieSamples(Path("dxt5.mov"));
    ASSERT_EQ(dxt24.size(), 3u);
    WriteMovie(Path("mixed.mov"), 24, 12, {dxt24[0], dxt5[1], dxt24[2]});
    ASSERT_EQ(Run({"qzkt", "decode", "mixed.mov", "decoded.argb"}).status, 0);
    ASSERT_EQ(Run({"qzkt", "decode", "mixed.mov", "decoded.mkv"}).status, 0);
    MustRun(
        {"ffprobe", "-v", "error", "-show_entries", "stream=pix_fmt", "-of", "csv=p=0", Path("decoded.mkv")},
        "probe.txt");
    const Bytes probed = ReadFile(Path("probe.txt"));
    EXPECT_EQ(std::string(probed.begin(), probed.end()), "gbrap\n");
    MustRun({"ffmpeg", "-v", "error", "-i", Path("decoded.mkv"), "-f", "rawvideo", "-pix_fmt", "argb",
             "back.argb"});
    EXPECT_TRUE(ReadFile(Path("back.argb")) == ReadFile(Path("decoded.argb")));
}

// -c:v picks the lossless encoder of a video output (ffmpeg's spelling); a lossy encoder, an
// output that is not a video or a container that cannot hold the codec is refused, and
// nothing is written.
TEST_F(ToolTest, CodecOptionPicksALosslessEncoder) {
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=24x12:rate=10:duration=0.3", "-f",
             "rawvideo", "-pix_fmt", "argb", "clip.argb"});
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "--raw", "24x12", "clip.argb", "clip.mov"}).status, 0);
    ASSERT_EQ(Run({"qzkt", "decode", "clip.mov", "decoded.argb"}).status, 0);
    for (const std::string codec : {"ffv1", "ffvhuff"}) {
        SCOPED_TRACE(codec);
        const RunResult decoded = Run({"qzkt", "decode", "-c:v", codec, "clip.mov", codec + ".mkv"});
        ASSERT_EQ(decoded.status, 0) << decoded.err;
        EXPECT_NE(decoded.summary.find("as " + codec + " video in matroska"), std::string::npos)
            << decoded.summary;
        MustRun({"ffmpeg", "-v", "error", "-i", Path(codec + ".mkv"), "-f", "rawvideo", "-pix_fmt", "argb",
                 codec + ".argb"});
        EXPECT_TRUE(ReadFile(Path(codec + ".argb")) == ReadFile(Path("decoded.argb")));
    }
    const std::vector<std::string> before = FolderListing();
    const RunResult lossy = Run({"qzkt", "decode", "-c:v", "mpeg4", "clip.mov", "lossy.mkv"});
    EXPECT_EQ(lossy.status, 2);
    EXPECT_NE(lossy.err.find("mpeg4 is not a lossless video encoder"), std::string::npos) << lossy.err;
    EXPECT_EQ(Run({"qzkt", "decode", "--codec", "ffv1", "clip.mov", "raw.argb"}).status, 2);
    const RunResult mov = Run({"qzkt", "decode", "-c:v", "utvideo", "clip.mov", "ut.mov"});
    EXPECT_EQ(mov.status, 1);
    EXPECT_EQ(mov.err, "qzkt decode: the mov container cannot hold utvideo video\n");
    EXPECT_EQ(FolderListing(), before);
}
