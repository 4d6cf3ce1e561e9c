// qzkt bench: one row per DXT24 worker count (never a count twice, whatever the machine's
// cores), the saved settings of --prefs-dir marked or given a row of their own, and where
// DXT1/DXT5 rows decode for each --gl choice.
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "tool_fixture.h"

namespace {

struct Row {
    std::string blocks, lzf, threads;
    bool marked = false;
    std::string line;
};

// The table rows of the bench's standard output.
std::vector<Row> TableRows(const std::string& path) {
    std::ifstream in(path);
    std::vector<Row> rows;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        Row row;
        words >> row.blocks >> row.lzf >> row.threads;
        if (row.blocks != "DXT1" && row.blocks != "DXT5" && row.blocks != "DXT24") continue;
        row.marked = line.size() >= 2 && line.compare(line.size() - 2, 2, " *") == 0;
        row.line = line;
        rows.push_back(row);
    }
    return rows;
}

} // namespace

TEST_F(ToolTest, BenchMeasuresEachWorkerCountOnceAndMarksTheSavedSettings) {
    struct Case {
        std::string set; // qzkt settings --set argument; "" for no settings file
        std::string row; // blocks, LZF and threads of the marked row
    };
    // 1..4 workers fit a 2-core machine's limit (twice the logical processors) and more on
    // larger ones; 6 workers is no row of the bench's own, so the saved settings get one.
    for (const Case& c : {Case{"", "DXT24 yes 1"}, Case{"compression=dxt1-nolzf", "DXT1 no -"},
                          Case{"threads=6", "DXT24 yes 6"}}) {
        SCOPED_TRACE(c.set);
        const std::string prefs = Path("prefs_" + std::to_string(c.set.size()));
        if (!c.set.empty()) {
            const RunResult set = Run({"qzkt", "settings", "--set", c.set, "--prefs-dir", prefs});
            ASSERT_EQ(set.status, 0) << set.err;
        }
        const RunResult bench = Run(
            {"qzkt", "bench", "--frames", "1", "--gl", "software", "--prefs-dir", prefs}, "", "bench.txt");
        ASSERT_EQ(bench.status, 0) << bench.err;
        const std::vector<Row> rows = TableRows(Path("bench.txt"));
        std::set<std::string> dxt24WithLZF;
        int marked = 0;
        for (const Row& row : rows) {
            const std::string text = row.blocks + " " + row.lzf + " " + row.threads;
            if (row.blocks == "DXT24" && row.lzf == "yes" && !row.marked) {
                EXPECT_TRUE(dxt24WithLZF.insert(row.threads).second) << "measured twice: " << text;
            }
            if (row.marked) {
                ++marked;
                EXPECT_EQ(text, c.row);
            }
        }
        EXPECT_EQ(marked, 1);
        EXPECT_GE(rows.size(), 5u); // DXT1, DXT5, DXT24 at 1 and 2 workers, DXT24 without LZF
    }
}

TEST_F(ToolTest, BenchDecodesDXT1AndDXT5OnTheCPUDecoderUnlessOpenGLIsAskedFor) {
    // --gl cpu always; auto on the GPU where there is one, never on Mesa's renderer;
    // software on OpenGL.
    for (const std::string gl : {"cpu", "auto", "software"}) {
        SCOPED_TRACE(gl);
        const RunResult bench = Run(
            {"qzkt", "bench", "--frames", "1", "--gl", gl, "--prefs-dir", Path("prefs")}, "", "bench.txt");
        ASSERT_EQ(bench.status, 0) << bench.err;
        int s3tcRows = 0;
        for (const Row& row : TableRows(Path("bench.txt"))) {
            if (row.blocks == "DXT24") continue;
            ++s3tcRows;
            const bool cpu = row.line.find(" CPU ") != std::string::npos;
            const bool software = row.line.find(" software GL ") != std::string::npos;
            const bool expected = gl == "cpu" ? cpu : gl == "auto" ? !software : !cpu;
            EXPECT_TRUE(expected) << row.line;
        }
        EXPECT_EQ(s3tcRows, 2);
    }
}
