// The malformed-input corpus (fuzz/corpus): every file is listed in the manifest with its
// expected outcome, and every case has that outcome through the fuzz targets' own entry
// points on the codec's internals, without a broken promise (movie_corpus_test.cpp replays
// what enters through the public API).
#include <gtest/gtest.h>

#include <dirent.h>
#include <map>

#include "bitmap_input.h"
#include "corpus_manifest.h"
#include "frame_input.h"
#include "settings_input.h"

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
