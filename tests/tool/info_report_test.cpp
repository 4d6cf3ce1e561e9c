// qzkt info: the movie's other tracks, its duration and real average rate, the JSON document
// (parsed here), several movies in one call, and movies cut short in their samples.
#include <nlohmann/json.hpp>

#include "reference_frames.h"
#include "tool_fixture.h"

namespace {

using Json = nlohmann::json;

std::string Text(const Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

} // namespace

TEST_F(ToolTest, InfoListsEveryTrackAndWritesTheSameFactsAsJson) {
    // A QZKT movie with AAC audio in English, a timecode track and a title, put together by
    // ffmpeg around the tool's own movie.
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=64x48:rate=30:duration=1", "-c:v",
             "ffv1", "clip.mkv"});
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "clip.mkv", "video.mov"}).status, 0);
    MustRun({"ffmpeg",
             "-v",
             "error",
             "-i",
             "video.mov",
             "-f",
             "lavfi",
             "-i",
             "sine=duration=1:sample_rate=48000",
             "-map",
             "0",
             "-map",
             "1",
             "-c:v",
             "copy",
             "-c:a",
             "aac",
             "-metadata:s:a",
             "language=eng",
             "-metadata",
             "title=A test",
             "-timecode",
             "01:02:03:04",
             "full.mov"});

    const RunResult text = Run({"qzkt", "info", "full.mov"}, "", "info.txt");
    ASSERT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.err, "");
    const std::string listing = Text(ReadFile(Path("info.txt")));
    EXPECT_EQ(listing.rfind("full.mov: QZKT video 64x48, 30 frames, 1.000 s, 30.000 fps\n", 0), 0u)
        << listing;
    EXPECT_NE(listing.find("title \"A test\""), std::string::npos) << listing;
    EXPECT_NE(listing.find("  track  kind      codec   language    duration  details\n"), std::string::npos);
    EXPECT_NE(listing.find("      1  audio     aac     eng"), std::string::npos) << listing;
    EXPECT_NE(listing.find("48000 Hz, 1 channel"), std::string::npos) << listing;
    EXPECT_NE(listing.find("timecode  tmcd"), std::string::npos) << listing;
    EXPECT_NE(listing.find("starts at 01:02:03:04"), std::string::npos) << listing;
    EXPECT_NE(listing.find("stored bytes"), std::string::npos) << listing;

    const RunResult json = Run({"qzkt", "info", "--json", "full.mov"}, "", "info.json");
    ASSERT_EQ(json.status, 0) << json.err;
    const Json doc = Json::parse(Text(ReadFile(Path("info.json"))));
    ASSERT_EQ(doc["files"].size(), 1u);
    const Json& file = doc["files"][0];
    EXPECT_EQ(file["filename"], "full.mov");
    EXPECT_EQ(file["status"], 0);
    EXPECT_FALSE(file.contains("error"));
    EXPECT_NEAR(file["format"]["duration"].get<double>(), 1.0, 0.05);
    EXPECT_EQ(file["format"]["size"].get<int64_t>(), static_cast<int64_t>(ReadFile(Path("full.mov")).size()));
    EXPECT_EQ(file["format"]["tags"]["title"], "A test");

    std::vector<std::string> kinds;
    for (const Json& stream : file["streams"])
        kinds.push_back(stream["codec_type"]);
    EXPECT_EQ(kinds, (std::vector<std::string>{"video", "audio", "timecode"}));
    const Json& video = file["streams"][0];
    EXPECT_EQ(video["codec_name"], "QZKT");
    EXPECT_EQ(video["qzkt"], true);
    EXPECT_EQ(video["width"], 64);
    EXPECT_EQ(video["nb_frames"], 30);
    EXPECT_NEAR(video["avg_frame_rate"].get<double>(), 30.0, 1e-9);
    EXPECT_NEAR(video["nominal_frame_rate"].get<double>(), 30.0, 1e-9);
    EXPECT_EQ(file["streams"][1]["codec_name"], "aac");
    EXPECT_EQ(file["streams"][1]["language"], "eng");
    EXPECT_EQ(file["streams"][1]["sample_rate"], 48000);
    EXPECT_EQ(file["streams"][2]["timecode"], "01:02:03:04");

    // Every frame as the movie stores it.
    const std::vector<Bytes> samples = MovieSamples(Path("full.mov"));
    ASSERT_EQ(file["frames"].size(), samples.size());
    size_t total = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        const Json& frame = file["frames"][i];
        EXPECT_EQ(frame["frame"], i + 1);
        EXPECT_NEAR(frame["time"].get<double>(), i / 30.0, 0.0005); // the input kept milliseconds
        EXPECT_EQ(frame["stored_size"], samples[i].size());
        EXPECT_EQ(frame["intact"], true);
        EXPECT_EQ(frame["blocks"], "DXT24");
        EXPECT_EQ(frame["packing"], "LZF");
        EXPECT_EQ(frame["payload_size"], 16 * 12 * 10);
        EXPECT_NEAR(frame["ratio"].get<double>(), 64.0 * 48 * 4 / samples[i].size(), 1e-9);
        total += samples[i].size();
    }
    EXPECT_EQ(file["summary"]["frames"], 30);
    EXPECT_EQ(file["summary"]["dxt24"], 30);
    EXPECT_EQ(file["summary"]["stored_bytes"], total);

    // --summary: the same document without the frames.
    ASSERT_EQ(Run({"qzkt", "info", "--json", "--summary", "full.mov"}, "", "summary.json").status, 0);
    const Json summary = Json::parse(Text(ReadFile(Path("summary.json"))));
    EXPECT_FALSE(summary["files"][0].contains("frames"));
    EXPECT_EQ(summary["files"][0]["summary"], file["summary"]);
    EXPECT_EQ(summary["files"][0]["streams"], file["streams"]);

    // Several movies: each in turn, a failure reported and counted, the worst status wins.
    WriteFile(Path("text.mov"), Bytes(300, 'x'));
    const RunResult several =
        Run({"qzkt", "info", "--json", "full.mov", "text.mov", "video.mov"}, "", "all.json");
    EXPECT_EQ(several.status, 1);
    EXPECT_EQ(several.ErrLines(), 1) << several.err;
    EXPECT_EQ(several.err.rfind("qzkt info: text.mov is not a readable QuickTime movie", 0), 0u)
        << several.err;
    const Json all = Json::parse(Text(ReadFile(Path("all.json"))));
    ASSERT_EQ(all["files"].size(), 3u);
    EXPECT_EQ(all["files"][0], file);
    EXPECT_EQ(all["files"][1]["filename"], "text.mov");
    EXPECT_EQ(all["files"][1]["status"], 1);
    EXPECT_EQ(all["files"][1].size(), 3u) << "filename, status and error only";
    EXPECT_EQ(all["files"][2]["streams"].size(), 1u);

    const RunResult plain = Run({"qzkt", "info", "--summary", "video.mov", "full.mov"}, "", "both.txt");
    EXPECT_EQ(plain.status, 0) << plain.err;
    const std::string both = Text(ReadFile(Path("both.txt")));
    EXPECT_EQ(both.rfind("video.mov: QZKT video 64x48", 0), 0u) << both;
    EXPECT_NE(both.find("\n\nfull.mov: QZKT video 64x48"), std::string::npos) << both;
}

TEST_F(ToolTest, InfoGivesTheAverageRateOfAVariableRateMovie) {
    // 21 frames over 2 s of a 30 fps clip: 10 frames, a gap, 10 frames, a gap, the last one.
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
             "testsrc2=size=32x16:rate=30:duration=2,select='lt(mod(n\\,30)\\,10)+eq(n\\,59)'", "-fps_mode",
             "vfr", "-c:v", "ffv1", "gaps.mkv"});
    ASSERT_EQ(Run({"qzkt", "encode", prefsArg_, "gaps.mkv", "gaps.mov"}).status, 0);

    ASSERT_EQ(Run({"qzkt", "info", "--summary", "gaps.mov"}, "", "info.txt").status, 0);
    const std::string listing = Text(ReadFile(Path("info.txt")));
    EXPECT_EQ(
        listing.rfind("gaps.mov: QZKT video 32x16, 21 frames, 2.000 s, 10.500 fps on average (nominal rate "
                      "30.000 fps",
                      0),
        0u)
        << listing;
    EXPECT_NE(listing.find("data rate   "), std::string::npos);

    ASSERT_EQ(Run({"qzkt", "info", "--json", "gaps.mov"}, "", "info.json").status, 0);
    const Json doc = Json::parse(Text(ReadFile(Path("info.json"))));
    const Json& video = doc["files"][0]["streams"][0];
    EXPECT_NEAR(video["avg_frame_rate"].get<double>(), 10.5, 1e-9);
    EXPECT_NEAR(video["nominal_frame_rate"].get<double>(), 30.0, 1e-9);
    const Json& frames = doc["files"][0]["frames"];
    ASSERT_EQ(frames.size(), 21u);
    EXPECT_NEAR(frames[10]["time"].get<double>(), 1.0, 0.0005); // the first frame after the gap
    EXPECT_NEAR(frames[20]["time"].get<double>(), 59 / 30.0, 0.0005);
}

TEST_F(ToolTest, InfoOnACutMovieSaysSoAndEndsAsDecodeDoes) {
    ASSERT_EQ(WriteCutMovies().size(), 6u);

    const RunResult whole = Run({"qzkt", "info", "clip.mov"});
    EXPECT_EQ(whole.status, 0);
    EXPECT_EQ(whole.err, "");

    struct Case {
        std::string movie;
        size_t framesListed; // lines under the heading
        bool lastDamaged;
    };
    for (const Case& c : {Case{"four.mov", 4, false}, Case{"four_and_a_bit.mov", 5, true}}) {
        SCOPED_TRACE(c.movie);
        const std::string line =
            "qzkt info: " + c.movie + " is cut short: only 4 of its 6 frames lie wholly inside the file\n";
        for (const char* flag : {"--summary", "--json"}) {
            const RunResult r = Run({"qzkt", "info", flag, c.movie}, "", "out.txt");
            EXPECT_EQ(r.status, 3) << flag;
            EXPECT_EQ(r.err, line) << flag;
        }
        const Json doc = Json::parse(Text(ReadFile(Path("out.txt"))));
        const Json& file = doc["files"][0];
        EXPECT_EQ(file["status"], 3);
        EXPECT_EQ(file["error"], line.substr(11, line.size() - 12));
        EXPECT_EQ(file["streams"][0]["nb_frames"], 6);
        ASSERT_EQ(file["frames"].size(), c.framesListed);
        EXPECT_EQ(file["frames"][c.framesListed - 1]["intact"], !c.lastDamaged);
        EXPECT_EQ(file["summary"]["damaged"], c.lastDamaged ? 1 : 0);

        // The decode of the same movie ends with the same status.
        EXPECT_EQ(Run({"qzkt", "decode", "-y", c.movie, "out.argb"}).status, 3);
    }
    // A whole movie beside a cut one: the cut one's status.
    EXPECT_EQ(Run({"qzkt", "info", "--summary", "clip.mov", "four.mov"}).status, 3);
}
