// qzkt info: the JSON document it always writes (whatever bytes titles and names hold), and the
// exit status it shares with qzkt decode for a movie whose index overstates a sample.
#include <nlohmann/json.hpp>

#include <map>
#include <string>

#include "support/frame_builders.h"
#include "support/movie_builders.h"
#include "support/reference_frames.h"
#include "tool_fixture.h"

namespace {

const std::string kReplacement = "\xEF\xBF\xBD"; // U+FFFD in UTF-8

using Json = nlohmann::json;
using Shape = std::map<std::string, Json::value_t>;
const Json::value_t kText = Json::value_t::string, kInt = Json::value_t::number_unsigned,
                    kNumber = Json::value_t::number_float, kBool = Json::value_t::boolean,
                    kObject = Json::value_t::object;

// Whether value's type is the shape's: any number for kNumber (whole seconds print as integers).
bool SameType(const Json& value, Json::value_t type) {
    if (type == kNumber) return value.is_number();
    if (type == kInt) return value.is_number_integer();
    return value.type() == type;
}

// object holds every key of shape with its type; with exact, no other key.
void ExpectShape(const Json& object, const Shape& shape, bool exact, const std::string& where) {
    for (const auto& [key, type] : shape) {
        ASSERT_EQ(object.count(key), 1u) << where << "." << key;
        EXPECT_TRUE(SameType(object[key], type)) << where << "." << key << " is " << object[key].type_name();
    }
    if (!exact) return;
    for (const auto& item : object.items())
        EXPECT_EQ(shape.count(item.key()), 1u) << where << " has an unexpected key " << item.key();
}

// The movie's bytes with the size of sample `index` in its 'stsz' table grown by `extra`.
Bytes OverstateSample(Bytes movie, size_t index, uint32_t extra) {
    const std::string tag = "stsz";
    const auto at = std::search(movie.begin(), movie.end(), tag.begin(), tag.end());
    EXPECT_NE(at, movie.end());
    if (at == movie.end()) return movie;
    // 'stsz', version and flags, the common size (0), the count, then one size per sample.
    uint8_t* entry = &*at + 16 + 4 * index;
    const uint32_t size = uint32_t(entry[0]) << 24 | entry[1] << 16 | entry[2] << 8 | entry[3];
    const uint32_t grown = size + extra;
    for (int i = 0; i < 4; ++i)
        entry[i] = static_cast<uint8_t>(grown >> (24 - 8 * i));
    return movie;
}

} // namespace

TEST_F(ToolTest, InfoJsonIsWrittenForAnyBytesAndHasItsShape) {
    WriteCutMovies(); // clip.mov: six 20x12 DXT24 frames, the index first
    MustRun({"ffmpeg", "-v", "error", "-i", "clip.mov", "-c", "copy", "-metadata", "title=\xE9t\xE9",
             "latin.mov"});
    WriteFile(Path("bad\xFF.mov"), ReadFile(Path("clip.mov")));

    const RunResult r =
        Run({"qzkt", "info", "--json", "latin.mov", "bad\xFF.mov", "missing.mov"}, "", "info.json");
    EXPECT_EQ(r.status, 1) << "the worst of 0, 0 and 1";
    const Bytes text = ReadFile(Path("info.json"));
    const nlohmann::json document = nlohmann::json::parse(text.begin(), text.end(), nullptr, false);
    ASSERT_FALSE(document.is_discarded()) << std::string(text.begin(), text.end());
    ASSERT_EQ(document["files"].size(), 3u);
    const nlohmann::json& latin = document["files"][0];
    EXPECT_EQ(latin["filename"], "latin.mov");
    EXPECT_EQ(latin["status"], 0);
    EXPECT_EQ(latin["format"]["tags"]["title"], kReplacement + "t" + kReplacement);
    EXPECT_EQ(document["files"][1]["filename"], "bad" + kReplacement + ".mov");
    EXPECT_EQ(document["files"][2]["status"], 1);
    EXPECT_EQ(document["files"][2].count("error"), 1u);

    // The shape the man page gives, for the good files: keys and their types.
    const Shape fileShape = {{"filename", kText},  {"status", kInt},
                             {"format", kObject},  {"streams", Json::value_t::array},
                             {"summary", kObject}, {"frames", Json::value_t::array}};
    const Shape formatShape = {
        {"format_name", kText}, {"duration", kNumber}, {"size", kInt}, {"tags", kObject}};
    const Shape videoShape = {{"index", kInt},       {"codec_type", kText}, {"codec_name", kText},
                              {"duration", kNumber}, {"width", kInt},       {"height", kInt},
                              {"qzkt", kBool},       {"nb_frames", kInt},   {"avg_frame_rate", kNumber}};
    const Shape summaryShape = {{"frames", kInt},
                                {"damaged", kInt},
                                {"dxt1", kInt},
                                {"dxt5", kInt},
                                {"dxt24", kInt},
                                {"dxt24_alpha_flag", kInt},
                                {"stored_bytes", kInt},
                                {"smallest", kInt},
                                {"largest", kInt},
                                {"ratio", kNumber},
                                {"mbit_per_second", kNumber}};
    const Shape frameShape = {{"frame", kInt},
                              {"time", kNumber},
                              {"stored_size", kInt},
                              {"intact", kBool},
                              {"problem", kText},
                              {"ratio", kNumber},
                              {"blocks", kText},
                              {"alpha", kInt},
                              {"packing", kText},
                              {"payload_size", kInt},
                              {"header_size", kInt},
                              {"version", kInt},
                              {"block_colour_plane", kInt}};
    for (int i = 0; i < 2; ++i) {
        const nlohmann::json& file = document["files"][i];
        const std::string where = "files[" + std::to_string(i) + "]";
        ExpectShape(file, fileShape, true, where);
        ExpectShape(file["format"], formatShape, false, where + ".format");
        ExpectShape(file["summary"], summaryShape, true, where + ".summary");
        for (const Json& frame : file["frames"])
            ExpectShape(frame, frameShape, true, where + ".frames[]");
        ASSERT_EQ(file["streams"].size(), 1u);
        ExpectShape(file["streams"][0], videoShape, false, where + ".streams[0]");
        const nlohmann::json& video = file["streams"][0];
        EXPECT_EQ(video["codec_type"], "video");
        EXPECT_EQ(video["qzkt"], true);
        EXPECT_EQ(video["width"], 20);
        EXPECT_EQ(video["height"], 12);
        EXPECT_EQ(video["nb_frames"], 6);
        EXPECT_EQ(file["summary"]["frames"], 6);
        EXPECT_EQ(file["summary"]["dxt24"], 6);
        EXPECT_EQ(file["summary"]["damaged"], 0);
        ASSERT_EQ(file["frames"].size(), 6u);
        EXPECT_EQ(file["frames"][0]["frame"], 1);
        EXPECT_EQ(file["frames"][0]["blocks"], "DXT24");
        EXPECT_EQ(file["frames"][0]["intact"], true);
        EXPECT_EQ(file["frames"][0]["header_size"], 28);
        EXPECT_EQ(file["summary"].count("s3tc_decoder"), 0u) << "DXT24 frames only";
    }
}

TEST_F(ToolTest, InfoSaysWhereDXT1FramesDecodeHere) {
    MustRun({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=size=20x12:rate=5", "-frames:v", "3",
             "-f", "rawvideo", "-pix_fmt", "argb", "clip.argb"});
    ASSERT_EQ(Run({"qzkt", "encode", "--dxt1", "--raw", "20x12", "clip.argb", "dxt1.mov"}).status, 0);
    const RunResult text = Run({"qzkt", "info", "--summary", "dxt1.mov"}, "", "info.txt");
    ASSERT_EQ(text.status, 0) << text.err;
    const Bytes textBytes = ReadFile(Path("info.txt"));
    const std::string printed(textBytes.begin(), textBytes.end());
    const RunResult json = Run({"qzkt", "info", "--json", "--summary", "dxt1.mov"}, "", "info.json");
    ASSERT_EQ(json.status, 0) << json.err;
    const Bytes bytes = ReadFile(Path("info.json"));
    const std::string decoder =
        nlohmann::json::parse(bytes.begin(), bytes.end())["files"][0]["summary"]["s3tc_decoder"];
    // The CPU decoder without a GPU (as in CI), OpenGL with one.
    ASSERT_TRUE(decoder == "cpu" || decoder == "opengl") << decoder;
    EXPECT_NE(printed.find(decoder == "cpu" ? "DXT1/DXT5 frames on the CPU decoder"
                                            : "DXT1/DXT5 frames on the GPU"),
              std::string::npos)
        << printed;
}

TEST_F(ToolTest, InfoAndDecodeAgreeOnAMovieThatOverstatesItsLastSample) {
    // The last sample's size in the index runs past the file's end, but the bytes there hold
    // the whole frame: nothing is lost, and neither command reports damage. A file cut inside
    // that frame is cut short for both.
    WriteCutMovies();
    const Bytes movie = ReadFile(Path("clip.mov"));
    WriteFile(Path("over.mov"), OverstateSample(movie, 5, 50));
    WriteFile(Path("cut.mov"), Bytes(movie.begin(), movie.end() - 10));
    for (const auto& [name, status] :
         std::vector<std::pair<std::string, int>>{{"over.mov", 0}, {"cut.mov", 3}}) {
        const RunResult info = Run({"qzkt", "info", "--summary", name});
        const RunResult decode = Run({"qzkt", "decode", "-y", name, "out.argb"});
        EXPECT_EQ(info.status, status) << name << ": " << info.err;
        EXPECT_EQ(decode.status, status) << name << ": " << decode.err;
    }
}
