// The malformed-input corpus through the public API: its movies through the tool's reader and
// decoder (and the built qzkt tool's info and decode), and its frames through qzkt.h alone,
// each with the outcome the manifest lists and without a broken promise.
#include <gtest/gtest.h>

#include <map>

#include "api_input.h"
#include "corpus_manifest.h"
#include "movie_input.h"
#include "tool_fixture.h"

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

TEST(MalformedCorpus, FramesThroughThePublicAPIAsListed) {
    for (const Entry& entry : ManifestOf("frame")) {
        SCOPED_TRACE(entry.file);
        const Bytes input = CorpusFile(entry);
        const ApiRun run = RunApiInput(input.data(), input.size());
        EXPECT_EQ(run.fault, "");
        EXPECT_EQ(SizeText(run.width, run.height), entry.size);
        // The renderer limits assume Mesa's llvmpipe (16384 a side); a GPU may hold more.
        if (entry.expected == "no-renderer" && run.result == 0 &&
            run.renderer.find("llvmpipe") == std::string::npos && !run.renderer.empty())
            continue;
        EXPECT_EQ(ApiOutcome(run), entry.expected);
    }
}
