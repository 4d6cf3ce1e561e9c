// qzkt alone runs the demo into qzkt-demo/; qzkt bench's table and footer agree on the GL
// path; qzkt settings --set saves for a normal user, and encodes without options follow it.
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "tool_fixture.h"

namespace {

std::string Text(const Bytes& bytes) {
    return std::string(bytes.begin(), bytes.end());
}

bool Exists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

// Points HOME and XDG_CONFIG_HOME (unset when xdg is empty) at test folders for the tools
// this test starts, and puts them back at the end.
class UserFolders {
  public:
    UserFolders(const std::string& home, const std::string& xdg) {
        Keep("HOME");
        Keep("XDG_CONFIG_HOME");
        setenv("HOME", home.c_str(), 1);
        if (xdg.empty())
            unsetenv("XDG_CONFIG_HOME");
        else
            setenv("XDG_CONFIG_HOME", xdg.c_str(), 1);
    }
    ~UserFolders() {
        for (const auto& [name, value] : saved_)
            if (value.first)
                setenv(name.c_str(), value.second.c_str(), 1);
            else
                unsetenv(name.c_str());
    }

  private:
    void Keep(const std::string& name) {
        const char* value = std::getenv(name.c_str());
        saved_.emplace_back(name, std::make_pair(value != nullptr, value != nullptr ? value : ""));
    }
    std::vector<std::pair<std::string, std::pair<bool, std::string>>> saved_;
};

const char kSystemFolder[] = "/Library/Preferences/Quenholt";

} // namespace

TEST_F(ToolTest, QzktAloneRunsTheDemoIntoItsFolder) {
    if (Exists(kSystemFolder)) GTEST_SKIP() << "the machine-wide settings folder exists";
    UserFolders user(root_ + "/home", "");

    const RunResult first = Run({"qzkt"}, "", "demo.txt");
    ASSERT_EQ(first.status, 0) << first.err;
    const std::string report = Text(ReadFile(Path("demo.txt")));
    const std::string folder = dir_ + "/qzkt-demo/";
    EXPECT_NE(report.find("(about 50 MB together) to " + folder + "\n"), std::string::npos) << report;
    EXPECT_NE(report.find(" together, are in " + folder + ":\n"), std::string::npos) << report;
    EXPECT_NE(report.find("  quality     PSNR "), std::string::npos) << report;
    EXPECT_EQ(FolderListing(), (std::vector<std::string>{"demo.txt", "qzkt-demo"}));
    ExpectQZKTMovie("qzkt-demo/demo.mov", 1280, 720, 48, "24/1");
    const size_t movieBytes = ReadFile(folder + "demo.mov").size(),
                 decoded = ReadFile(folder + "demo_decoded.mkv").size();
    EXPECT_GT(movieBytes + decoded, 30000000u);
    EXPECT_LT(movieBytes + decoded, 80000000u);

    // qzkt demo uses the same folder: its own files are replaced, anything else stays.
    WriteFile(folder + "notes.txt", Bytes(5, 'n'));
    WriteFile(folder + "demo.mov", Bytes(10, 'x'));
    const RunResult again = Run({"qzkt", "demo", "--quiet"}, "", "demo.txt");
    ASSERT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(ReadFile(folder + "demo.mov").size(), movieBytes);
    EXPECT_EQ(ReadFile(folder + "notes.txt"), Bytes(5, 'n'));

    // A file where the folder should be: refused, nothing written.
    WriteFile(Path("taken"), Bytes(3, 't'));
    const RunResult taken = Run({"qzkt", "demo", "--dir", "taken"});
    EXPECT_EQ(taken.status, 1);
    EXPECT_EQ(taken.err, "qzkt demo: cannot use taken for the demo's files: it is not a folder\n");
    EXPECT_EQ(ReadFile(Path("taken")), Bytes(3, 't'));
}

TEST_F(ToolTest, BenchTableAndFooterAgreeOnTheRenderer) {
    MustRun(
        {"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=32x16", "-frames:v", "1", "still.png"});
    const RunResult hardware =
        Run({"qzkt", "bench", "--frames", "1", "--gl", "hardware", "still.png"}, "", "hw.txt");
    const std::string table = Text(ReadFile(Path("hw.txt")));
    EXPECT_NE(
        table.find("decode/memcpy: a frame's decode time over its memcpy time (above 1: slower than a copy)"),
        std::string::npos)
        << table;
    EXPECT_NE(table.find(" decoder     decode/memcpy\n"), std::string::npos) << table;
    if (table.find("DXT1 and DXT5 decode on the GPU.") != std::string::npos) {
        EXPECT_EQ(hardware.status, 0) << hardware.err;
        GTEST_SKIP() << "this machine has a GPU";
    }
    // No GPU: the DXT1/DXT5 rows say why they were not measured, so does the footer, and
    // the bench fails; the DXT24 rows are measured on the CPU.
    const std::string why = "no GPU OpenGL renderer (--gl auto or software measures Mesa's)";
    EXPECT_EQ(hardware.status, 1);
    EXPECT_EQ(hardware.err, "qzkt bench: not every configuration could be measured: " + why + "\n");
    EXPECT_NE(table.find("\nDXT1   yes        -  not measured: " + why + "\n"), std::string::npos) << table;
    EXPECT_NE(table.find("\nDXT5   yes        -  not measured: " + why + "\n"), std::string::npos) << table;
    EXPECT_NE(table.find("\nDXT24 decodes on the CPU; DXT1 and DXT5 were not measured: " + why + ".\n"),
              std::string::npos)
        << table;
    EXPECT_EQ(table.find("software GL"), std::string::npos) << table;
    EXPECT_EQ(table.find(" GPU  "), std::string::npos) << table;
    EXPECT_NE(table.find("CPU   "), std::string::npos) << table;

    // Mesa's renderer accepted: every row measured, named as software GL, and the footer agrees.
    const RunResult software =
        Run({"qzkt", "bench", "--frames", "1", "--gl", "software", "still.png"}, "", "sw.txt");
    EXPECT_EQ(software.status, 0) << software.err;
    const std::string measured = Text(ReadFile(Path("sw.txt")));
    EXPECT_EQ(measured.find("not measured"), std::string::npos) << measured;
    EXPECT_NE(measured.find("software GL"), std::string::npos) << measured;
    EXPECT_NE(
        measured.find("DXT1 and DXT5 decode on Mesa's software OpenGL renderer (--gl software), so their "
                      "decode figures are not GPU figures."),
        std::string::npos)
        << measured;
}

TEST_F(ToolTest, SettingsSetSavesForTheUserAndEncodesFollowIt) {
    if (Exists(kSystemFolder)) GTEST_SKIP() << "the machine-wide settings folder exists";
    const std::string xdg = root_ + "/config", file = xdg + "/qzkt/KELPreferences.dat";
    UserFolders user(root_ + "/home", xdg);

    const RunResult show = Run({"qzkt", "settings", "--show"}, "", "show.txt");
    ASSERT_EQ(show.status, 0) << show.err;
    EXPECT_NE(Text(ReadFile(Path("show.txt"))).find("settings folder  " + xdg + "/qzkt/\n"),
              std::string::npos);
    EXPECT_FALSE(Exists(file)) << "--show saves nothing";

    // The raw input and what an encode without block options makes of it, per saved setting.
    Bytes raw;
    for (int i = 0; i < 2; ++i) {
        Bytes frame(16 * 8 * 4);
        for (size_t b = 0; b < frame.size(); ++b)
            frame[b] = static_cast<uint8_t>(b % 4 == 0 ? 255 : (b * 7 + i * 13) & 0xFF);
        raw.insert(raw.end(), frame.begin(), frame.end());
    }
    WriteFile(Path("clip.argb"), raw);
    struct Case {
        std::vector<std::string> set;
        Bytes fileBytes; // alpha, dxt24, no_lzf, thread_setting as little-endian 32-bit numbers
        std::string blocks, packing, note;
    };
    auto le = [](std::initializer_list<uint8_t> values) {
        Bytes bytes;
        for (uint8_t v : values)
            bytes.insert(bytes.end(), {v, 0, 0, 0});
        return bytes;
    };
    const std::vector<Case> cases = {
        {{"compression=dxt1-nolzf"}, le({0, 0, 1, 2}), "DXT1", "raw", ""},
        {{"alpha=on"}, le({1, 0, 1, 2}), "DXT5", "raw", ""},
        {{"alpha=off", "compression=dxt24", "threads=5"},
         le({0, 1, 0, 4}),
         "DXT24",
         "LZF",
         "qzkt settings: threads=5 is not a count the settings offer; using 4\n"},
        {{"compression=dxt24-nolzf", "threads=auto"}, le({0, 1, 1, 1}), "DXT24", "raw", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.set[0]);
        std::vector<std::string> args = {"qzkt", "settings", "--set"};
        args.insert(args.end(), c.set.begin(), c.set.end());
        const RunResult set = Run(args, "", "set.txt");
        ASSERT_EQ(set.status, 0) << set.err;
        EXPECT_EQ(set.err, c.note);
        EXPECT_EQ(Text(ReadFile(Path("set.txt"))).rfind("saved to " + file + "\n", 0), 0u);
        EXPECT_TRUE(ReadFile(file) == c.fileBytes);

        unlink(Path("clip.mov").c_str());
        ASSERT_EQ(Run({"qzkt", "encode", "--raw", "16x8", "clip.argb", "clip.mov"}).status, 0);
        ASSERT_EQ(Run({"qzkt", "info", "--json", "clip.mov"}, "", "info.json").status, 0);
        const nlohmann::json doc = nlohmann::json::parse(Text(ReadFile(Path("info.json"))));
        for (const nlohmann::json& frame : doc["files"][0]["frames"]) {
            EXPECT_EQ(frame["blocks"], c.blocks);
            EXPECT_EQ(frame["packing"], c.packing);
        }
    }

    // Wrong keys and values are usage errors naming the valid ones; the file stays.
    const Bytes before = ReadFile(file);
    const std::string valid =
        "(valid: alpha=on|off, compression=dxt24|dxt1|dxt24-nolzf|dxt1-nolzf, threads=auto|N)";
    for (const auto& [pair, message] : std::vector<std::pair<std::string, std::string>>{
             {"colour=red", "unknown setting 'colour' " + valid},
             {"compression=dxt5", "unknown compression value 'dxt5' " + valid},
             {"threads=0", "threads takes auto or a worker count of 1 or more, not '0' " + valid},
             {"alpha", "'alpha' is not KEY=VALUE " + valid}}) {
        const RunResult r = Run({"qzkt", "settings", "--set", "alpha=on", pair});
        EXPECT_EQ(r.status, 2) << pair;
        EXPECT_EQ(r.err, "qzkt settings: " + message + " (see qzkt settings --help)\n");
        EXPECT_TRUE(ReadFile(file) == before) << pair;
    }

    // Without XDG_CONFIG_HOME the folder is ~/.config/qzkt/.
    UserFolders homeOnly(root_ + "/home", "");
    ASSERT_EQ(Run({"qzkt", "settings", "--set", "alpha=on"}).status, 0);
    EXPECT_TRUE(ReadFile(root_ + "/home/.config/qzkt/KELPreferences.dat") == le({1, 1, 0, 2}));
}
