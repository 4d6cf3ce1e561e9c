// qzkt settings --set: what each KEY=VALUE saves (the file's four words: alpha, dxt24, no LZF,
// thread setting), the note for a worker count the settings do not offer, and the usage
// errors, after which the file is as it was.
#include "support/frame_builders.h"
#include "tool_fixture.h"

namespace {

const std::string kValid =
    " (valid: alpha=on|off, compression=dxt24|dxt1|dxt24-nolzf|dxt1-nolzf, threads=auto|N)";
const std::string kSeeHelp = " (see qzkt settings --help)\n";

} // namespace

TEST_F(ToolTest, SettingsSetSavesWhatEachPairSaysAndRefusesTheRest) {
    const std::string prefs = "--prefs-dir=" + Path("prefs");
    const std::string file = Path("prefs/KELPreferences.dat");
    struct Saved {
        std::vector<std::string> pairs;
        std::vector<uint32_t> words; // the file after them, starting from the previous case's
        std::string note;            // on standard error
    };
    const std::vector<Saved> saves = {
        {{"compression=dxt1-nolzf"}, {0, 0, 1, 2}, ""}, // no file yet: the defaults 0, 1, 0, 2
        {{"alpha=on"}, {1, 0, 1, 2}, ""},
        {{"compression=dxt24", "alpha=off"}, {0, 1, 0, 2}, ""},
        {{"threads=auto"}, {0, 1, 0, 1}, ""},
        {{"threads=24", "compression=dxt24-nolzf"}, {0, 1, 1, 9}, ""},
        {{"threads=1"}, {0, 1, 1, 2}, ""},
        // 5 lies between 4 and 6: the smaller wins, and the note says so.
        {{"threads=5"},
         {0, 1, 1, 4},
         "qzkt settings: threads=5 is not a count the settings offer; using 4\n"},
        {{"threads=1000", "compression=dxt1"},
         {0, 0, 0, 9},
         "qzkt settings: threads=1000 is not a count the settings offer; using 24\n"},
    };
    for (const Saved& save : saves) {
        std::vector<std::string> args = {"qzkt", "settings", prefs, "--set"};
        args.insert(args.end(), save.pairs.begin(), save.pairs.end());
        const RunResult run = Run(args, "", "saved.txt");
        SCOPED_TRACE(save.pairs[0]);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, save.note);
        EXPECT_EQ(ReadFile(file), LE32s(save.words));
    }

    const Bytes before = ReadFile(file);
    struct Refused {
        std::vector<std::string> pairs;
        std::string err;
    };
    const std::vector<Refused> refusals = {
        {{"alpha"}, "'alpha' is not KEY=VALUE" + kValid},
        {{"threads"}, "'threads' is not KEY=VALUE" + kValid},
        {{"alpha=maybe"}, "unknown alpha value 'maybe'" + kValid},
        {{"compression=dxt5"}, "unknown compression value 'dxt5'" + kValid},
        {{"colour=red"}, "unknown setting 'colour'" + kValid},
        {{"threads=0"}, "threads takes auto or a worker count of 1 or more, not '0'" + kValid},
        {{"threads=4x"}, "threads takes auto or a worker count of 1 or more, not '4x'" + kValid},
        {{"threads=99999999999999999999"},
         "threads takes auto or a worker count of 1 or more, not '99999999999999999999'" + kValid},
        // A bad pair after good ones saves none of them.
        {{"alpha=on", "compression=dxt1", "threads=-2"},
         "threads takes auto or a worker count of 1 or more, not '-2'" + kValid},
        {{}, "--set needs KEY=VALUE settings" + kValid},
    };
    for (const Refused& refused : refusals) {
        std::vector<std::string> args = {"qzkt", "settings", prefs, "--set"};
        args.insert(args.end(), refused.pairs.begin(), refused.pairs.end());
        const RunResult run = Run(args);
        SCOPED_TRACE(refused.pairs.empty() ? "(none)" : refused.pairs.back());
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, "qzkt settings: " + refused.err + kSeeHelp);
        EXPECT_EQ(ReadFile(file), before);
    }
    const RunResult both = Run({"qzkt", "settings", prefs, "--set", "alpha=on", "--show"});
    EXPECT_EQ(both.status, 2);
    EXPECT_EQ(both.err, "qzkt settings: give --set or --show, not both" + kSeeHelp);
    const RunResult loose = Run({"qzkt", "settings", prefs, "alpha=on"});
    EXPECT_EQ(loose.status, 2);
    EXPECT_EQ(loose.err, "qzkt settings: takes no arguments (settings to save follow --set)" + kSeeHelp);
    EXPECT_EQ(ReadFile(file), before);
}
