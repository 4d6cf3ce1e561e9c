// qzkt encode and decode as transcoders: what the input has besides pictures survives (audio,
// timecode, title, language), outputs are never replaced by surprise, ranges and rates select
// and time the frames.
#include <algorithm>
#include <regex>
#include <sys/stat.h>

#include "cli/report_text.h"
#include "media/colour_matrix.h"
#include "media/increasing_times.h"
#include "media/qzkt_movie.h"
#include "media/time_range.h"
#include "output/output_check.h"
#include "tool_fixture.h"

namespace {

class TranscodeTest : public ToolTest {
  protected:
    // ffprobe's answer in default=nw=1 form.
    std::string Probe(const std::vector<std::string>& query) {
        std::vector<std::string> args = {"ffprobe", "-v", "error", "-of", "default=nw=1"};
        args.insert(args.end(), query.begin(), query.end());
        MustRun(args, "probe.txt");
        const Bytes probed = ReadFile(Path("probe.txt"));
        unlink(Path("probe.txt").c_str());
        return std::string(probed.begin(), probed.end());
    }

    // How many video frames (packets) a file holds.
    int VideoFrames(const std::string& file) {
        const std::string out = Probe(
            {"-count_packets", "-select_streams", "v:0", "-show_entries", "stream=nb_read_packets", file});
        return std::atoi(out.substr(out.find('=') + 1).c_str());
    }

    // A 2-second 64x48 clip at 25 fps with AAC audio in French, a timecode track and a title.
    void MakeClipWithAudio() {
        MustRun({"ffmpeg",
                 "-v",
                 "error",
                 "-f",
                 "lavfi",
                 "-i",
                 "testsrc2=size=64x48:rate=25:duration=2",
                 "-f",
                 "lavfi",
                 "-i",
                 "sine=frequency=440:duration=2",
                 "-c:v",
                 "libx264",
                 "-c:a",
                 "aac",
                 "-metadata",
                 "title=My Title",
                 "-metadata:s:a:0",
                 "language=fra",
                 "-timecode",
                 "01:02:03:04",
                 "-metadata",
                 "creation_time=2024-01-02T03:04:05Z",
                 "-shortest",
                 Path("in.mov")});
    }

    // The QZKT samples of a movie, back to back.
    static Bytes Samples(const std::string& movie) {
        QZKTMovieReader reader(movie);
        Bytes all;
        QZKTSample sample;
        while (reader.Next(sample))
            all.insert(all.end(), sample.data, sample.data + sample.size);
        return all;
    }
};

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

} // namespace

TEST_F(TranscodeTest, AudioTimecodeAndMetadataSurviveEncodeAndDecode) {
    MakeClipWithAudio();
    const RunResult encoded = Run({"qzkt", "encode", prefsArg_, "in.mov", "out.mov"});
    ASSERT_EQ(encoded.status, 0) << encoded.err;
    EXPECT_EQ(encoded.err, "");
    EXPECT_EQ(Probe({"-show_entries",
                     "stream=codec_type,codec_name,codec_tag_string:stream_tags=language,timecode:"
                     "format_tags=title",
                     Path("out.mov")}),
              "codec_name=unknown\ncodec_type=video\ncodec_tag_string=QZKT\nTAG:timecode=01:02:03:04\n"
              "codec_name=aac\ncodec_type=audio\ncodec_tag_string=mp4a\nTAG:language=fra\n"
              "codec_name=unknown\ncodec_type=data\ncodec_tag_string=tmcd\nTAG:language=eng\n"
              "TAG:timecode=01:02:03:04\nTAG:title=My Title\n");
    // The audio packets are the input's, unchanged.
    const auto packets = [&](const std::string& file) {
        return Probe({"-select_streams", "a:0", "-show_entries", "packet=pts,size", file});
    };
    EXPECT_EQ(packets(Path("out.mov")), packets(Path("in.mov")));

    EXPECT_EQ(Probe({"-show_entries", "format_tags=creation_time", Path("out.mov")}),
              "TAG:creation_time=2024-01-02T03:04:05.000000Z\n");

    // A rotated picture stays rotated; a stream of another kind is named as it is left out.
    const std::string srt = "1\n00:00:00,000 --> 00:00:01,000\nhello\n";
    WriteFile(Path("s.srt"), Bytes(srt.begin(), srt.end()));
    MustRun({"ffmpeg", "-v", "error", "-i", Path("in.mov"), "-i", Path("s.srt"), "-map", "0", "-map", "1",
             "-c", "copy", "-c:s", "mov_text", "-metadata:s:v:0", "rotate=90", Path("subtitled.mov")});
    const RunResult subtitled = Run({"qzkt", "encode", prefsArg_, "subtitled.mov", "subtitled-qzkt.mov"});
    ASSERT_EQ(subtitled.status, 0) << subtitled.err;
    EXPECT_EQ(subtitled.err, "qzkt encode: dropping stream #3 (subtitle mov_text): only audio and the "
                             "timecode are carried over\n");
    EXPECT_EQ(Probe({"-select_streams", "v:0", "-show_entries", "stream_side_data=rotation",
                     Path("subtitled-qzkt.mov")}),
              "rotation=90\n");

    // Without audio: the same QZKT samples, and the timecode and title still.
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "--no-audio", "in.mov", "silent.mov"}).status, 0);
    EXPECT_EQ(Probe({"-show_entries", "stream=codec_type:format_tags=title", Path("silent.mov")}),
              "codec_type=video\ncodec_type=data\nTAG:title=My Title\n");
    EXPECT_TRUE(Samples(Path("silent.mov")) == Samples(Path("out.mov")));

    // The decode to Matroska carries the audio, the title and the timecode over.
    const RunResult decoded = Run({"qzkt", "decode", "out.mov", "out.mkv"});
    ASSERT_EQ(decoded.status, 0) << decoded.err;
    EXPECT_EQ(decoded.err, "");
    EXPECT_EQ(
        Probe({"-show_entries",
               "stream=codec_type,codec_name:stream_tags=language,timecode:format_tags=title",
               Path("out.mkv")}),
        "codec_name=utvideo\ncodec_type=video\nTAG:TIMECODE=01:02:03:04\ncodec_name=aac\ncodec_type=audio\n"
        "TAG:language=fra\nTAG:title=My Title\n");
    const auto sizes = [&](const std::string& file) {
        return Probe({"-select_streams", "a:0", "-show_entries", "packet=size", file});
    };
    EXPECT_EQ(sizes(Path("out.mkv")), sizes(Path("in.mov")));
}

// Audio the movie cannot hold as it is (Opus from WebM, 24-bit FLAC and WavPack from Matroska)
// becomes PCM at its decoded precision with a note, never a failed encode; the sound decoded
// from the movie is sample for sample the sound decoded from the input. Decoding to a
// container that cannot hold the movie's audio (ALAC in AVI) converts it the same way.
TEST_F(TranscodeTest, AudioTheMovieCannotHoldIsConvertedToPCMExactly) {
    struct Case {
        std::string file, videoCodec, audioCodec, sampleFormat, name, pcm;
    };
    const Case cases[] = {{"opus.webm", "libvpx", "libopus", "flt", "opus", "pcm_f32le"},
                          {"flac.mkv", "ffv1", "flac", "s32", "flac", "pcm_s24le"},
                          {"wavpack.mkv", "ffv1", "wavpack", "s16p", "wavpack", "pcm_s16le"}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        MustRun({"ffmpeg",
                 "-v",
                 "error",
                 "-f",
                 "lavfi",
                 "-i",
                 "testsrc2=size=32x16:rate=25:duration=1",
                 "-f",
                 "lavfi",
                 "-i",
                 "sine=frequency=440:duration=1:sample_rate=48000",
                 "-c:v",
                 c.videoCodec,
                 "-c:a",
                 c.audioCodec,
                 "-sample_fmt",
                 c.sampleFormat,
                 "-ac",
                 "2",
                 Path(c.file)});
        const RunResult encoded = Run({"qzkt", "encode", prefsArg_, c.file, c.file + ".mov"});
        ASSERT_EQ(encoded.status, 0) << encoded.err;
        EXPECT_TRUE(Contains(encoded.err, "qzkt encode: converting stream #1 (audio " + c.name + ") to " +
                                              c.pcm + ": the mov container cannot hold it as it is"))
            << encoded.err;
        EXPECT_EQ(Probe({"-select_streams", "a:0", "-show_entries", "stream=codec_name,channels,sample_rate",
                         Path(c.file + ".mov")}),
                  "codec_name=" + c.pcm + "\nsample_rate=48000\nchannels=2\n");
        const auto sound = [&](const std::string& file) {
            MustRun(
                {"ffmpeg", "-v", "error", "-i", Path(file), "-map", "0:a", "-f", "f64le", Path("sound.raw")});
            const Bytes samples = ReadFile(Path("sound.raw"));
            unlink(Path("sound.raw").c_str());
            return samples;
        };
        const Bytes source = sound(c.file);
        EXPECT_GT(source.size(), 48000u * 2 * 8 * 9 / 10);
        EXPECT_TRUE(sound(c.file + ".mov") == source);
    }

    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=32x16:rate=25:duration=1", "-f",
             "lavfi", "-i", "sine=frequency=440:duration=1", "-c:v", "prores", "-c:a", "alac",
             Path("alac.mov")});
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "alac.mov", "alac-qzkt.mov"}).status, 0);
    const RunResult decoded = Run({"qzkt", "decode", "alac-qzkt.mov", "alac.avi"});
    ASSERT_EQ(decoded.status, 0) << decoded.err;
    EXPECT_TRUE(Contains(decoded.err,
                         "converting stream #1 (audio alac) to pcm_s16le: the avi container cannot "
                         "hold it as it is"))
        << decoded.err;
    EXPECT_EQ(Probe({"-select_streams", "a:0", "-show_entries", "stream=codec_name", Path("alac.avi")}),
              "codec_name=pcm_s16le\n");
}

// A picture's geometry survives: pixel aspect (the movie's pasp), colour primaries and
// transfer through encode and decode, shown by qzkt info; the rotation into .mov, and into
// Matroska, which cannot hold it, with a note.
TEST_F(TranscodeTest, PixelAspectRotationAndColoursSurviveEncodeAndDecode) {
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=72x56:rate=25:duration=0.2", "-vf",
             "setsar=64/45", "-c:v", "ffv1", "-color_primaries", "bt709", "-color_trc", "bt709",
             "-colorspace", "bt709", Path("upright.mov")});
    // This ffmpeg sets a rotation from the tag only when it copies the stream.
    MustRun({"ffmpeg", "-v", "error", "-i", Path("upright.mov"), "-c", "copy", "-metadata:s:v:0", "rotate=90",
             Path("anamorphic.mov")});
    const RunResult encoded = Run({"qzkt", "encode", prefsArg_, "anamorphic.mov", "anamorphic-qzkt.mov"});
    ASSERT_EQ(encoded.status, 0) << encoded.err;
    EXPECT_EQ(encoded.err.find("rotation"), std::string::npos) << encoded.err;
    const std::vector<std::string> geometry = {
        "-select_streams", "v:0", "-show_entries",
        "stream=sample_aspect_ratio,color_primaries,color_transfer:stream_side_data=rotation"};
    const auto probe = [&](const std::string& file) {
        std::vector<std::string> query = geometry;
        query.push_back(Path(file));
        return Probe(query);
    };
    const std::string kept = "sample_aspect_ratio=64:45\ncolor_transfer=bt709\ncolor_primaries=bt709\n";
    EXPECT_EQ(probe("anamorphic-qzkt.mov"), kept + "rotation=90\n");

    const auto output = [&](const std::vector<std::string>& args) {
        EXPECT_EQ(Run(args, "", "stdout.txt").status, 0);
        const Bytes bytes = ReadFile(Path("stdout.txt"));
        return std::string(bytes.begin(), bytes.end());
    };
    const std::string info = output({"qzkt", "info", "--summary", "anamorphic-qzkt.mov"});
    EXPECT_TRUE(Contains(info, "72x56, pixel aspect 64:45, rotation 90 degrees, colours bt709/bt709"))
        << info;
    const std::string json = output({"qzkt", "info", "--json", "--summary", "anamorphic-qzkt.mov"});
    EXPECT_TRUE(Contains(json,
                         "\"sample_aspect_ratio\": \"64:45\",\n          \"rotation\": 90.0,\n          "
                         "\"color_primaries\": \"bt709\",\n          \"color_transfer\": \"bt709\""))
        << json;

    const RunResult toMov = Run({"qzkt", "decode", "--quiet", "anamorphic-qzkt.mov", "decoded.mov"});
    ASSERT_EQ(toMov.status, 0) << toMov.err;
    EXPECT_EQ(probe("decoded.mov"), kept + "rotation=90\n");
    const RunResult toMkv = Run({"qzkt", "decode", "anamorphic-qzkt.mov", "decoded.mkv"});
    ASSERT_EQ(toMkv.status, 0) << toMkv.err;
    EXPECT_TRUE(Contains(toMkv.err,
                         "qzkt decode: the video's rotation (90 degrees) is not kept: the matroska "
                         "container cannot hold it (a .mov can)\n"))
        << toMkv.err;
    EXPECT_EQ(probe("decoded.mkv"), kept);
}

TEST_F(TranscodeTest, AlphaNoteAndContradictoryOptions) {
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
             "testsrc2=size=16x8:rate=10:duration=0.3,format=rgba", "-start_number", "1", Path("a%02d.png")});
    const RunResult opaque = Run({"qzkt", "encode", prefsArg_, "a%02d.png", "opaque.mov"});
    ASSERT_EQ(opaque.status, 0) << opaque.err;
    EXPECT_EQ(opaque.err,
              "qzkt encode: a%02d.png has an alpha channel, which these settings drop (DXT24 blocks, "
              "LZF, 1 thread); --alpha keeps it\n");
    const RunResult kept = Run({"qzkt", "encode", prefsArg_, "--alpha", "a%02d.png", "alpha.mov"});
    ASSERT_EQ(kept.status, 0) << kept.err;
    EXPECT_EQ(kept.err, "");

    // Settings that cannot hold together are usage errors, and nothing is written.
    for (const std::vector<std::string>& options : {std::vector<std::string>{"--alpha", "--dxt1"},
                                                    {"--dxt1", "--threads", "2"},
                                                    {"--alpha", "--threads=4"}}) {
        std::vector<std::string> args = {"qzkt", "encode", prefsArg_};
        args.insert(args.end(), options.begin(), options.end());
        args.insert(args.end(), {"a%02d.png", "no.mov"});
        const RunResult refused = Run(args);
        EXPECT_EQ(refused.status, 2) << options[1];
        EXPECT_EQ(refused.ErrLines(), 1) << refused.err;
        EXPECT_TRUE(Contains(refused.err, "contradict") || Contains(refused.err, "DXT24 blocks only"))
            << refused.err;
    }
    EXPECT_NE(access(Path("no.mov").c_str(), F_OK), 0);

    // A worker count the settings do not offer says which one it became, once.
    const RunResult mapped = Run({"qzkt", "encode", prefsArg_, "--threads", "3", "a%02d.png", "t3.mov"});
    ASSERT_EQ(mapped.status, 0) << mapped.err;
    EXPECT_TRUE(Contains(mapped.err, "qzkt encode: --threads 3 uses 2 threads")) << mapped.err;
    EXPECT_EQ(mapped.ErrLines(), 2) << mapped.err; // and the alpha note
}

TEST_F(TranscodeTest, RatesRangesAndVariableTiming) {
    // --rate is the rate an image sequence is read at.
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=16x8:rate=10:duration=0.5",
             "-start_number", "1", Path("s%02d.png")});
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "--rate", "24", "s%02d.png", "seq.mov"}).status, 0);
    ExpectQZKTMovie(Path("seq.mov"), 16, 8, 5, "24/1");

    MakeClipWithAudio(); // 50 frames
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "--frames", "7", "in.mov", "f7.mov"}).status, 0);
    EXPECT_EQ(VideoFrames(Path("f7.mov")), 7);
    // The audio ends with the seventh frame (0.28 s), to within an AAC packet.
    const auto audioSeconds = [&](const std::string& file) {
        const std::string probed =
            Probe({"-select_streams", "a:0", "-show_entries", "stream=duration", file});
        return std::atof(probed.substr(probed.find('=') + 1).c_str());
    };
    EXPECT_NEAR(audioSeconds(Path("f7.mov")), 0.28, 0.03);
    // Frames at 1.00 .. 1.48 s, the first at time 0, with the audio of that second.
    const RunResult ranged = Run({"qzkt", "encode", prefsArg_, "-ss", "1", "-t", "0.5", "in.mov", "r.mov"});
    ASSERT_EQ(ranged.status, 0) << ranged.err;
    EXPECT_EQ(ranged.err, "");
    EXPECT_EQ(VideoFrames(Path("r.mov")), 13);
    EXPECT_EQ(Probe({"-select_streams", "v:0", "-show_entries", "stream=start_time", Path("r.mov")}),
              "start_time=0.000000\n");
    EXPECT_NEAR(audioSeconds(Path("r.mov")), 0.5, 0.03);

    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "in.mov", "all.mov"}).status, 0);
    ASSERT_EQ(Run({"qzkt", "decode", "--frames", "3", "all.mov", "d3.mkv"}).status, 0);
    EXPECT_EQ(VideoFrames(Path("d3.mkv")), 3);
    ASSERT_EQ(
        Run({"qzkt", "decode", "--start=0.2", "--duration", "00:00:00.4", "all.mov", "d%02d.png"}).status, 0);
    EXPECT_EQ(access(Path("d10.png").c_str(), F_OK), 0);
    EXPECT_NE(access(Path("d11.png").c_str(), F_OK), 0);
    const RunResult badTime = Run({"qzkt", "decode", "--start", "soon", "all.mov", "x.mkv"});
    EXPECT_EQ(badTime.status, 2);

    // A variable frame rate keeps its times.
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=16x8:rate=10:duration=1", "-vf",
             "setpts='(N*N)/20/TB'", "-fps_mode", "passthrough", "-c:v", "ffv1", Path("vfr.mkv")});
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "vfr.mkv", "vfr.mov"}).status, 0);
    const auto times = [&](const std::string& file) {
        return Probe({"-select_streams", "v:0", "-show_entries", "packet=pts_time", file});
    };
    const std::string in = times(Path("vfr.mkv")), out = times(Path("vfr.mov"));
    ASSERT_EQ(std::count(out.begin(), out.end(), '\n'), 10);
    EXPECT_TRUE(Contains(in, "pts_time=1.800000\npts_time=2.400000\npts_time=3.200000\npts_time=4.000000\n"));
    EXPECT_TRUE(Contains(out, "pts_time=1.800000\npts_time=2.400000\npts_time=3.200000\npts_time=4.000000\n"))
        << out;
}

TEST_F(TranscodeTest, ExistingOutputsAreReplacedOnlyWithY) {
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=16x8:rate=10:duration=0.2",
             "-start_number", "1", Path("s%02d.png")});
    const Bytes old = {'o', 'l', 'd'};
    WriteFile(Path("out.mov"), old);
    const RunResult refused = Run({"qzkt", "encode", prefsArg_, "s%02d.png", "out.mov"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "qzkt encode: out.mov exists; use -y to replace it\n");
    EXPECT_TRUE(ReadFile(Path("out.mov")) == old);
    const RunResult kept = Run({"qzkt", "encode", prefsArg_, "-n", "s%02d.png", "out.mov"});
    EXPECT_EQ(kept.status, 1);
    EXPECT_TRUE(ReadFile(Path("out.mov")) == old);
    EXPECT_EQ(Run({"qzkt", "encode", prefsArg_, "-y", "-n", "s%02d.png", "out.mov"}).status, 2);
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "-y", "s%02d.png", "out.mov"}).status, 0);
    ExpectQZKTMovie(Path("out.mov"), 16, 8, 2, "25/1"); // image sequences default to 25 fps

    // Decoding: a file, and a pattern whose first image exists.
    for (const std::string output : {"d.mkv", "d.argb", "d%02d.png"}) {
        const std::string first = output == "d%02d.png" ? "d01.png" : output;
        WriteFile(Path(first), old);
        const RunResult again = Run({"qzkt", "decode", "out.mov", output});
        EXPECT_EQ(again.status, 1) << output;
        EXPECT_EQ(again.err, "qzkt decode: " + first + " exists; use -y to replace it\n");
        EXPECT_TRUE(ReadFile(Path(first)) == old);
        ASSERT_EQ(Run({"qzkt", "decode", "--overwrite", "out.mov", output}).status, 0) << output;
        EXPECT_FALSE(ReadFile(Path(first)) == old);
    }
    // An input given as its own output is still refused as such, even with -y.
    const RunResult self = Run({"qzkt", "encode", prefsArg_, "-y", "out.mov", "out.mov"});
    EXPECT_EQ(self.err, "qzkt encode: the output out.mov is the input file; give another output name\n");
}

// Image sequences named as ffmpeg names them: a pattern whose images start at 0100 (found by
// itself, or from -start_number), and a glob; both give the same frames as the images read
// one by one.
TEST_F(TranscodeTest, ImageSequencesFromAnyNumberAndByGlob) {
    mkdir(Path("shots").c_str(), 0755);
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=32x16:rate=10:duration=0.5",
             "-start_number", "100", Path("shots/img_%04d.png")});
    const RunResult pattern = Run({"qzkt", "encode", prefsArg_, "shots/img_%04d.png", "pattern.mov"});
    ASSERT_EQ(pattern.status, 0) << pattern.err;
    EXPECT_EQ(VideoFrames(Path("pattern.mov")), 5);
    const RunResult glob = Run({"qzkt", "encode", prefsArg_, "shots/*.png", "glob.mov"});
    ASSERT_EQ(glob.status, 0) << glob.err;
    EXPECT_TRUE(Samples(Path("glob.mov")) == Samples(Path("pattern.mov")));
    const RunResult later =
        Run({"qzkt", "encode", prefsArg_, "-start_number", "102", "shots/img_%04d.png", "later.mov"});
    ASSERT_EQ(later.status, 0) << later.err;
    EXPECT_EQ(VideoFrames(Path("later.mov")), 3);

    // One image alone gives the pattern's third frame.
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "shots/img_0102.png", "one.mov"}).status, 0);
    const Bytes all = Samples(Path("later.mov")), one = Samples(Path("one.mov"));
    EXPECT_TRUE(Bytes(all.begin(), all.begin() + static_cast<long>(one.size())) == one);

    const RunResult none = Run({"qzkt", "encode", prefsArg_, "shots/*.jpg", "none.mov"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "qzkt encode: cannot open shots/*.jpg: No such file or directory\n");
    EXPECT_EQ(Run({"qzkt", "encode", prefsArg_, "-start_number", "x", "shots/img_%04d.png", "x.mov"}).status,
              2);
    // An image of the sequence is never the output.
    EXPECT_EQ(Run({"qzkt", "encode", prefsArg_, "-y", "shots/*.png", "shots/img_0101.png"}).status, 1);
}

// --size (ffmpeg's -s) scales every frame, keeping the picture's shape on screen through the
// pixel aspect as ffmpeg does, and takes a sequence whose images change size midway, which is
// otherwise refused with a hint.
TEST_F(TranscodeTest, SizeScalesEveryFrameAndTakesSizeChanges) {
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=64x48:rate=10:duration=0.3", "-c:v",
             "ffv1", Path("square.mkv")});
    const RunResult scaled = Run({"qzkt", "encode", prefsArg_, "-s", "32x48", "square.mkv", "scaled.mov"});
    ASSERT_EQ(scaled.status, 0) << scaled.err;
    EXPECT_EQ(Probe({"-show_entries", "stream=width,height,sample_aspect_ratio", Path("scaled.mov")}),
              "width=32\nheight=48\nsample_aspect_ratio=2:1\n");
    EXPECT_EQ(VideoFrames(Path("scaled.mov")), 3);

    mkdir(Path("mixed").c_str(), 0755);
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=64x48:rate=10:duration=0.2",
             Path("mixed/f_%02d.png")});
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=80x40:rate=10:duration=0.2",
             "-start_number", "3", Path("mixed/f_%02d.png")});
    const RunResult refused = Run({"qzkt", "encode", prefsArg_, "mixed/f_%02d.png", "mixed.mov"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("changes its picture size from 64x48 to 80x40; a QZKT movie keeps one size "
                               "(--size 64x48 scales every frame to it)"),
              std::string::npos)
        << refused.err;
    const RunResult taken =
        Run({"qzkt", "encode", prefsArg_, "--size", "64x48", "mixed/f_%02d.png", "mixed.mov"});
    ASSERT_EQ(taken.status, 0) << taken.err;
    EXPECT_EQ(VideoFrames(Path("mixed.mov")), 4);
    EXPECT_EQ(Run({"qzkt", "encode", prefsArg_, "--size", "0x48", "square.mkv", "bad.mov"}).status, 2);
    EXPECT_EQ(
        Run({"qzkt", "encode", prefsArg_, "--raw", "8x8", "--size", "4x4", "square.mkv", "bad.mov"}).status,
        2);
}

// Several inputs in one run (-o FOLDER): each is encoded with its own summary, a bad one does
// not stop the others, and a last line counts them; names that would collide are refused
// before any work.
TEST_F(TranscodeTest, BatchEncodesEveryInputAndCountsThem) {
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=32x16:rate=10:duration=0.3", "-c:v",
             "ffv1", Path("one.mkv")});
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=48x16:rate=10:duration=0.2", "-c:v",
             "mpeg4", "-q:v", "2", Path("two.mp4")});
    const std::string junk = "not a video";
    WriteFile(Path("bad.mp4"), Bytes(junk.begin(), junk.end()));
    const RunResult batch = Run({"qzkt", "encode", prefsArg_, "one.mkv", "bad.mp4", "two.mp4", "-o", "out"});
    EXPECT_EQ(batch.status, 1);
    EXPECT_NE(batch.err.find("qzkt encode: cannot open bad.mp4: Invalid data found when processing input\n"),
              std::string::npos)
        << batch.err;
    EXPECT_NE((batch.err + batch.summary).find("to out/one.mov:"), std::string::npos) << batch.err;
    EXPECT_NE((batch.err + batch.summary).find("to out/two.mov:"), std::string::npos) << batch.err;
    EXPECT_NE(batch.err.find("qzkt encode: 3 inputs: 2 encoded into out, 1 failed: bad.mp4"),
              std::string::npos)
        << batch.err;
    EXPECT_EQ(VideoFrames(Path("out/one.mov")), 3);
    EXPECT_EQ(VideoFrames(Path("out/two.mov")), 2);
    struct stat status {};
    EXPECT_NE(stat(Path("out/bad.mov").c_str(), &status), 0);

    // Again: the movies exist, so without -y every input fails and nothing is replaced.
    const Bytes before = ReadFile(Path("out/one.mov"));
    const RunResult again = Run({"qzkt", "encode", prefsArg_, "one.mkv", "two.mp4", "-o", "out"});
    EXPECT_EQ(again.status, 1);
    EXPECT_TRUE(ReadFile(Path("out/one.mov")) == before);
    EXPECT_EQ(Run({"qzkt", "encode", prefsArg_, "-y", "--quiet", "one.mkv", "two.mp4", "-o", "out"}).status,
              0);

    const RunResult clash = Run({"qzkt", "encode", prefsArg_, "one.mkv", "one.mp4", "-o", "out"});
    EXPECT_EQ(clash.status, 2);
    EXPECT_NE(clash.err.find("one.mkv and one.mp4 would both be written to out/one.mov"), std::string::npos)
        << clash.err;
}

// - reads a container from standard input, as ffmpeg reads one from a pipe: the same movie as
// from the file; what is not a container is named as standard input.
TEST_F(TranscodeTest, ContainerOnStandardInput) {
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=32x16:rate=10:duration=0.3", "-f",
             "lavfi", "-i", "sine=duration=0.3", "-c:v", "ffv1", "-c:a", "pcm_s16le", "-f", "matroska",
             Path("piped.mkv")});
    const RunResult piped = Run({"qzkt", "encode", prefsArg_, "-", "piped.mov"}, "piped.mkv");
    ASSERT_EQ(piped.status, 0) << piped.err;
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "piped.mkv", "file.mov"}).status, 0);
    EXPECT_TRUE(Samples(Path("piped.mov")) == Samples(Path("file.mov")));
    EXPECT_EQ(Probe({"-show_entries", "stream=codec_type", Path("piped.mov")}),
              "codec_type=video\ncodec_type=audio\n");

    const std::string junk = "not a container";
    WriteFile(Path("junk.bin"), Bytes(junk.begin(), junk.end()));
    const RunResult bad = Run({"qzkt", "encode", prefsArg_, "-", "bad.mov"}, "junk.bin");
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.err, "qzkt encode: cannot open standard input: Invalid data found when processing input\n");
}

// After -ss the timecode starts where the cut starts (the first frame at or after it), in the
// movie and on through a decode that cuts again; --rate that retimes a video with audio says
// that the audio keeps its own timing.
TEST_F(TranscodeTest, TimecodeFollowsTheCutAndRetimingIsNoted) {
    MakeClipWithAudio(); // 25 fps, timecode 01:02:03:04
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "-ss", "1.5", "in.mov", "cut.mov"}).status, 0);
    EXPECT_EQ(Probe({"-select_streams", "v:0", "-show_entries", "stream_tags=timecode", Path("cut.mov")}),
              "TAG:timecode=01:02:04:17\n"); // 38 frames on: 1.52 s is the first frame taken
    ASSERT_EQ(Run({"qzkt", "decode", "-ss", "0.4", "cut.mov", "cut.mkv"}).status, 0);
    EXPECT_EQ(Probe({"-select_streams", "v:0", "-show_entries", "stream_tags=timecode", Path("cut.mkv")}),
              "TAG:TIMECODE=01:02:05:02\n");

    const RunResult retimed = Run({"qzkt", "encode", prefsArg_, "--rate", "50", "in.mov", "fast.mov"});
    ASSERT_EQ(retimed.status, 0) << retimed.err;
    EXPECT_NE(retimed.err.find("--rate retimes the pictures only: the audio keeps its own timing"),
              std::string::npos)
        << retimed.err;
    const RunResult silent =
        Run({"qzkt", "encode", prefsArg_, "--rate", "50", "--no-audio", "in.mov", "fast2.mov"});
    EXPECT_EQ(silent.err, "");
}

// --faststart writes the index before the frames: the same samples, and a copy cut in half still
// opens (its frames listed, status 3) where one without it cannot be read at all.
TEST_F(TranscodeTest, FaststartPutsTheIndexFirstSoACutCopyOpens) {
    MakeClipWithAudio();
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "in.mov", "plain.mov"}).status, 0);
    const RunResult fast = Run({"qzkt", "encode", prefsArg_, "--faststart", "in.mov", "fast.mov"});
    ASSERT_EQ(fast.status, 0) << fast.err;
    const Bytes plain = ReadFile(Path("plain.mov")), first = ReadFile(Path("fast.mov"));
    const auto at = [](const Bytes& movie, const std::string& atom) {
        return std::search(movie.begin(), movie.end(), atom.begin(), atom.end()) - movie.begin();
    };
    EXPECT_LT(at(first, "moov"), at(first, "mdat"));
    EXPECT_GT(at(plain, "moov"), at(plain, "mdat"));
    EXPECT_TRUE(Samples(Path("fast.mov")) == Samples(Path("plain.mov")));
    const auto audio = [&](const std::string& file) {
        return Probe({"-select_streams", "a:0", "-show_entries", "packet=pts,size", file});
    };
    EXPECT_EQ(audio(Path("fast.mov")), audio(Path("plain.mov")));

    WriteFile(Path("fast_cut.mov"),
              Bytes(first.begin(), first.begin() + static_cast<long>(first.size() / 2)));
    WriteFile(Path("plain_cut.mov"),
              Bytes(plain.begin(), plain.begin() + static_cast<long>(plain.size() / 2)));
    EXPECT_EQ(Run({"qzkt", "info", "--summary", "fast_cut.mov"}).status, 3);
    EXPECT_EQ(Run({"qzkt", "info", "--summary", "plain_cut.mov"}).status, 1);
}
