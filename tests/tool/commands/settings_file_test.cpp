// The settings file as the tool meets it on real machines: a name that is a fifo or a folder
// never blocks a command, is never shown as if it held the defaults, and is replaced only by
// a --set that gives every setting.
#include <sys/stat.h>

#include "support/frame_builders.h"
#include "support/movie_builders.h"
#include "support/reference_frames.h"
#include "tool_fixture.h"

TEST_F(ToolTest, SettingsFileThatCannotBeReadIsSaidAndKeptUnlessEverythingIsSet) {
    ASSERT_EQ(mkdir(Path("prefs").c_str(), 0755), 0);
    const std::string file = Path("prefs/KELPreferences.dat");
    const std::string prefs = "--prefs-dir=" + Path("prefs");
    ASSERT_EQ(mkfifo(file.c_str(), 0644), 0);
    // A fifo nobody writes to would block an open or a read forever: every run is bounded.
    auto bounded = [](std::vector<std::string> args) {
        args[0] = QZKT_TOOL;
        args.insert(args.begin(), {"timeout", "60"});
        return args;
    };
    const std::string cannot = "cannot read " + Path("prefs") + "/KELPreferences.dat: not a regular file";

    const RunResult shown = Run(bounded({"qzkt", "settings", "--show", prefs}), "", "shown.txt");
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.err,
              "qzkt settings: " + cannot + "; these are the defaults the compressor uses instead\n");

    WriteFile(Path("clip.argb"), ClipFrame(16, 8, 0));
    const RunResult encoded = Run(bounded({"qzkt", "encode", prefs, "--raw", "16x8", "clip.argb", "x.mov"}));
    EXPECT_EQ(encoded.status, 0);
    EXPECT_EQ(encoded.err,
              "qzkt encode: " + cannot + "; encoding with the default settings where no option sets them\n");

    // A --set of some settings would have to guess the others: refused, the fifo stays.
    const RunResult partial = Run(bounded({"qzkt", "settings", prefs, "--set", "threads=4"}));
    EXPECT_EQ(partial.status, 1);
    EXPECT_EQ(partial.err,
              "qzkt settings: " + cannot +
                  "; it is replaced only by a --set that gives alpha, compression and threads\n");
    struct stat st {};
    ASSERT_EQ(lstat(file.c_str(), &st), 0);
    EXPECT_TRUE(S_ISFIFO(st.st_mode));

    const RunResult all =
        Run(bounded({"qzkt", "settings", prefs, "--set", "alpha=off", "compression=dxt1-nolzf", "threads=4"}),
            "", "saved.txt");
    EXPECT_EQ(all.status, 0) << all.err;
    EXPECT_EQ(ReadFile(file), (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 4, 0, 0, 0}));

    // A folder of that name: said too.
    ASSERT_EQ(unlink(file.c_str()), 0);
    ASSERT_EQ(mkdir(file.c_str(), 0755), 0);
    const RunResult folder = Run(bounded({"qzkt", "settings", "--show", prefs}), "", "shown.txt");
    EXPECT_EQ(folder.status, 0);
    EXPECT_EQ(folder.err,
              "qzkt settings: cannot read " + Path("prefs") +
                  "/KELPreferences.dat: Is a directory; these are the defaults the compressor uses "
                  "instead\n");
}
