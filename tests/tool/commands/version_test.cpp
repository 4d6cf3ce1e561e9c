// qzkt --version and qzkt version: the library's version on standard output, the same for both
// spellings, and a usage error for extra arguments.
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
