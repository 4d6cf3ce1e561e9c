// The malformed-input corpus (fuzz/corpus): every file is listed in the manifest with its
// expected outcome, and every case has that outcome through the fuzz targets' own entry
// points, without a broken promise; movies also through the qzkt tool's info and decode.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fstream>
#include <map>
#include <sstream>

#include "bitmap_input.h"
#include "frame_input.h"
#include "movie_input.h"
#include "settings_input.h"
#include "tool_fixture.h"

namespace {

struct Entry {
    std::string file; // <target>/<name>
    std::string size; // WxH or -
    std::string expected;
};

std::string Target(const Entry& entry) {
    return entry.file.substr(0, entry.file.find('/'));
}

std::vector<Entry> Manifest() {
    std::vector<Entry> entries;
    std::ifstream in(std::string(QZKT_FUZZ_CORPUS) + "/manifest.txt");
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        Entry entry;
        fields >> entry.file >> entry.size >> std::ws;
        std::getline(fields, entry.expected);
        entries.push_back(entry);
    }
    return entries;
}

std::vector<Entry> ManifestOf(const std::string& target) {
    std::vector<Entry> entries;
    for (const Entry& entry : Manifest())
        if (Target(entry) == target) entries.push_back(entry);
    EXPECT_FALSE(entries.empty()) << target;
    return entries;
}

Bytes CorpusFile(const Entry& entry) {
    return ReadFile(std::string(QZKT_FUZZ_CORPUS) + "/" + entry.file);
}

std::string SizeText(int width, int height) {
    return std::to_string(width) + "x" + std::to_string(height);
}

// Named values of an expected movie outcome ("frames=2 ... decode=3"); "error" maps to "".
std::map<std::string, std::string> Fields(const std::string& text) {
    std::map<std::string, std::string> fields;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const size_t equals = word.find('=');
        fields[word.substr(0, equals)] = equals == std::string::npos ? "" : word.substr(equals + 1);
    }
    return fields;
}

} // namespace

TEST(MalformedCorpus, ManifestListsEveryFileOnce) {
    std::map<std::string, int> listed;
    for (const Entry& entry : Manifest()) {
        ++listed[entry.file];
        EXPECT_FALSE(entry.expected.empty()) << entry.file;
    }
    EXPECT_GE(listed.size(), 25u);
    for (const char* target : {"frame", "movie", "settings", "bmp"}) {
        DIR* dir = opendir((std::string(QZKT_FUZZ_CORPUS) + "/" + target).c_str());
        ASSERT_NE(dir, nullptr) << target;
        while (const dirent* file = readdir(dir)) {
            const std::string name = file->d_name;
            if (name == "." || name == "..") continue;
            EXPECT_EQ(listed[std::string(target) + "/" + name]--, 1) << target << "/" << name;
        }
        closedir(dir);
    }
    for (const auto& [file, count] : listed)
        EXPECT_EQ(count, 0) << file << " is listed but missing, or listed twice";
}

TEST(MalformedCorpus, FramesDecodeOrAreDeclinedAsListed) {
    PrepareFrameInputs();
    for (const Entry& entry : ManifestOf("frame")) {
        SCOPED_TRACE(entry.file);
        const Bytes input = CorpusFile(entry);
        const FrameRun run = RunFrameInput(input.data(), input.size());
        EXPECT_EQ(run.fault, "");
        EXPECT_EQ(SizeText(run.width, run.height), entry.size);
        // The renderer limits assume Mesa's llvmpipe (16384 a side); a GPU may hold more.
        if (entry.expected == "no-renderer" && run.status == noErr &&
            run.renderer.find("llvmpipe") == std::string::npos && !run.renderer.empty())
            continue;
        EXPECT_EQ(FrameOutcome(run), entry.expected) << run.problem;
    }
}

TEST_F(ToolTest, MalformedCorpusMoviesAsListed) {
    PrepareMovieInputs();
    for (const Entry& entry : ManifestOf("movie")) {
        SCOPED_TRACE(entry.file);
        const Bytes input = CorpusFile(entry);
        const MovieRun run = RunMovieInput(input.data(), input.size());
        EXPECT_EQ(run.fault, "");
        if (run.width > 0) {
            EXPECT_EQ(SizeText(run.width, run.height), entry.size);
        }
        std::map<std::string, std::string> expected = Fields(entry.expected);
        const std::string toolPart = " info=" + expected["info"] + " decode=" + expected["decode"];
        EXPECT_EQ(MovieOutcome(run) + toolPart, entry.expected) << run.error;

        const std::string path = std::string(QZKT_FUZZ_CORPUS) + "/" + entry.file;
        const RunResult info = Run({"qzkt", "info", "--summary", path}, "", "summary.txt");
        EXPECT_EQ(std::to_string(info.status), expected["info"]) << info.err;
        EXPECT_EQ(info.ErrLines(), info.status == 0 ? 0 : 1) << info.err;
        if (info.status == 0 && expected.count("damaged")) {
            const Bytes summary = ReadFile(Path("summary.txt"));
            const std::string text(summary.begin(), summary.end());
            EXPECT_NE(text.find("damaged " + expected["damaged"] + ")"), std::string::npos) << text;
        }
        if (expected["decode"] == "skip") continue;
        const RunResult decode = Run({"qzkt", "decode", "--gl", "software", path, "-"});
        EXPECT_EQ(std::to_string(decode.status), expected["decode"]) << decode.err;
        EXPECT_EQ(decode.ErrLines(), decode.status == 0 ? 0 : 1) << decode.err;
        if (decode.status == 3) {
            // "K of N frames were damaged ..." or, when none is intact, "all N frames of ...".
            const std::string count = expected["declined"] == expected["frames"]
                                          ? "all " + expected["frames"] + " frames"
                                          : expected["declined"] + " of " + expected["frames"] + " frames";
            EXPECT_NE(decode.err.find(count), std::string::npos) << decode.err;
        }
    }
}

TEST(MalformedCorpus, SettingsReadBackAsListed) {
    PrepareSettingsInputs();
    for (const Entry& entry : ManifestOf("settings")) {
        SCOPED_TRACE(entry.file);
        const Bytes input = CorpusFile(entry);
        const SettingsRun run = RunSettingsInput(input.data(), input.size());
        EXPECT_EQ(run.fault, "");
        EXPECT_EQ(SettingsOutcome(run), entry.expected);
    }
}

TEST(MalformedCorpus, BitmapsLoadAsListed) {
    for (const Entry& entry : ManifestOf("bmp")) {
        SCOPED_TRACE(entry.file);
        const Bytes input = CorpusFile(entry);
        EXPECT_EQ(BitmapOutcome(RunBitmapInput(input.data(), input.size())), entry.expected);
    }
}
