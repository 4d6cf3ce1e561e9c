// qzkt play's parts that need no display: keys, the layer grid, the benchmark's figures.
#include <gtest/gtest.h>

#include "play/frame_times.h"
#include "play/play_keys.h"
#include "play/play_layout.h"

namespace {

std::vector<std::string> Keys(TerminalKeys& keys, const std::string& bytes) {
    return keys.Feed(bytes.data(), bytes.size());
}

TEST(PlayKeys, WindowAndTerminalNamesMeetInOneTable) {
    EXPECT_EQ(ActionForKey("space"), PlayAction::TogglePause);
    EXPECT_EQ(ActionForKey("Right"), PlayAction::SeekForward);
    EXPECT_EQ(ActionForKey("Left"), PlayAction::SeekBackward);
    EXPECT_EQ(ActionForKey("period"), PlayAction::StepForward);
    EXPECT_EQ(ActionForKey("comma"), PlayAction::StepBackward);
    EXPECT_EQ(ActionForKey("l"), PlayAction::ToggleLoop);
    EXPECT_EQ(ActionForKey("Escape"), PlayAction::Quit);
    EXPECT_EQ(ActionForKey("x"), PlayAction::None);
    EXPECT_EQ(ActionForKey(""), PlayAction::None);

    TerminalKeys terminal;
    EXPECT_EQ(Keys(terminal, " .,lsq"),
              (std::vector<std::string>{"space", "period", "comma", "l", "s", "q"}));
    EXPECT_EQ(Keys(terminal, "\033[C\033[D\033OA\033[B"),
              (std::vector<std::string>{"Right", "Left", "Up", "Down"}));
    EXPECT_EQ(Keys(terminal, "q\n"), std::vector<std::string>{"q"}); // echo q | qzkt play
}

TEST(PlayKeys, EscapeSequencesSurviveBeingSplitAndOthersAreDropped) {
    TerminalKeys terminal;
    // An arrow read in two pieces is one key.
    EXPECT_TRUE(Keys(terminal, "\033[").empty());
    EXPECT_EQ(Keys(terminal, "C"), std::vector<std::string>{"Right"});
    // Escape alone at the end of a read is the key; F5 (ESC [ 1 5 ~) is not an arrow, and its
    // tail does nothing either.
    EXPECT_EQ(Keys(terminal, "\033"), std::vector<std::string>{"Escape"});
    for (const std::string& key : Keys(terminal, "\033[15~"))
        EXPECT_EQ(ActionForKey(key), PlayAction::None);
    EXPECT_EQ(Keys(terminal, "s"), std::vector<std::string>{"s"});
}

TEST(PlayLayout, LayersSitSideBySideInANearlySquareGrid) {
    const CanvasLayout one = PlaceLayers({{0, 0, 320, 240}});
    EXPECT_EQ(one.width, 320);
    EXPECT_EQ(one.height, 240);

    const CanvasLayout two = PlaceLayers({{0, 0, 320, 240}, {0, 0, 160, 90}});
    EXPECT_EQ(two.width, 640);
    EXPECT_EQ(two.height, 240);
    EXPECT_EQ(two.places[1].x, 320);
    EXPECT_EQ(two.places[1].y, 0);
    EXPECT_EQ(two.places[1].width, 160); // its own size, in the top-left of its cell

    const CanvasLayout three = PlaceLayers({{0, 0, 10, 20}, {0, 0, 30, 5}, {0, 0, 7, 7}});
    EXPECT_EQ(three.width, 60);
    EXPECT_EQ(three.height, 40);
    EXPECT_EQ(three.places[2].x, 0);
    EXPECT_EQ(three.places[2].y, 20);

    std::vector<LayerPlace> five(5, LayerPlace{0, 0, 100, 50});
    const CanvasLayout grid = PlaceLayers(five);
    EXPECT_EQ(grid.width, 300); // 3 columns, 2 rows
    EXPECT_EQ(grid.height, 100);
    EXPECT_EQ(grid.places[4].x, 100);
    EXPECT_EQ(grid.places[4].y, 50);
    EXPECT_TRUE(PlaceLayers({}).places.empty());
}

TEST(FrameTimes, NearestRankPercentilesOfTheIntervalsAfterTheWarmUp) {
    // Warm-up frames far apart, then 100 intervals of 1..100 ms.
    std::vector<double> arrivals = {0.0, 5.0};
    double now = 10.0;
    arrivals.push_back(now);
    for (int ms = 1; ms <= 100; ++ms)
        arrivals.push_back(now += ms / 1000.0);
    const FrameTimeSummary summary = SummariseFrameTimes(arrivals, 2);
    EXPECT_EQ(summary.frames, 101u);
    EXPECT_NEAR(summary.seconds, 5.05, 1e-9);
    EXPECT_NEAR(summary.fps, 100 / 5.05, 1e-9);
    EXPECT_NEAR(summary.p50, 0.050, 1e-9);
    EXPECT_NEAR(summary.p90, 0.090, 1e-9);
    EXPECT_NEAR(summary.p99, 0.099, 1e-9);
    EXPECT_NEAR(summary.max, 0.100, 1e-9);

    const FrameTimeSummary few = SummariseFrameTimes({1.0, 2.0}, 1);
    EXPECT_EQ(few.frames, 1u);
    EXPECT_EQ(few.fps, 0);
    EXPECT_EQ(SummariseFrameTimes({}, 5).frames, 0u);
}

} // namespace
