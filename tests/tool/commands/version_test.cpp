// qzkt --version and qzkt version: the library's version on standard output, the same for both
// spellings, and a usage error for extra arguments; bare qzkt and the quiet demo.
#include <algorithm>
#include <fstream>
#include <iterator>

#include "tool_fixture.h"

namespace {

std::string ReadText(const std::string& path) {
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

} // namespace

TEST_F(ToolTest, PrintsTheLibraryVersion) {
    for (const char* spelling : {"--version", "version"}) {
        const RunResult run = Run({"qzkt", spelling}, "", "version.txt");
        EXPECT_EQ(run.status, 0) << spelling << ": " << run.err;
        EXPECT_EQ(ReadText(Path("version.txt")), std::string("qzkt ") + QZKT_EXPECTED_VERSION + "\n")
            << spelling;
        EXPECT_EQ(run.err, "");
    }
    const RunResult extra = Run({"qzkt", "version", "now"});
    EXPECT_EQ(extra.status, 2);
    EXPECT_NE(extra.err.find("takes no arguments"), std::string::npos) << extra.err;
}

// Bare qzkt prints its usage and points at the demo, writing nothing (the demo writes 65 MB
// only when asked); qzkt demo --quiet writes its files and says nothing.
TEST_F(ToolTest, BareCommandPrintsUsageAndQuietDemoSaysNothing) {
    const std::vector<std::string> before = FolderListing();
    const RunResult bare = Run({"qzkt"}, "", "bare.txt");
    EXPECT_EQ(bare.status, 2);
    EXPECT_NE(bare.err.find("usage: qzkt [COMMAND]"), std::string::npos) << bare.err;
    EXPECT_NE(bare.err.find("qzkt demo shows what the codec does"), std::string::npos) << bare.err;
    EXPECT_EQ(ReadText(Path("bare.txt")), "");
    std::vector<std::string> after = FolderListing();
    after.erase(std::remove(after.begin(), after.end(), "bare.txt"), after.end());
    EXPECT_EQ(after, before);

    const RunResult demo = Run({"qzkt", "demo", "--quiet", prefsArg_, "--dir", "d"}, "", "demo.txt");
    EXPECT_EQ(demo.status, 0) << demo.err;
    EXPECT_EQ(demo.err + demo.summary, "");
    EXPECT_EQ(ReadText(Path("demo.txt")), "");
    EXPECT_FALSE(ReadText(Path("d/demo.mov")).empty());
    EXPECT_FALSE(ReadText(Path("d/demo_decoded.mkv")).empty());
}
