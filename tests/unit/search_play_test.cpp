// What the search adds for a GUI: win/draw/loss figures that add up to a thousand, follow the score and are certain
// where the result is known; and the strength limit's scale and its draw among the searched lines.
#include "board/score.h"
#include "search/strength.h"
#include "search/wdl.h"
#include "test_position.h"

namespace {
TEST(WdlModel, ChancesAddUpAndFollowTheScore) {
    for (int material : {0, 8, 25, 40, 60, 78, 100}) {
        WdlChances previous = wdlOfScore(-4000, material);
        for (int score = -4000; score <= 4000; score += 7) {
            WdlChances c = wdlOfScore(score, material), mirror = wdlOfScore(-score, material);
            auto where = ::testing::Message() << "score " << score << ", material " << material;
            EXPECT_EQ(c.win + c.draw + c.loss, 1000) << where;
            EXPECT_TRUE(c.win >= 0 && c.draw >= 0 && c.loss >= 0) << where;
            EXPECT_GE(c.win, previous.win) << where;
            EXPECT_LE(c.loss, previous.loss) << where;
            EXPECT_EQ(c.win, mirror.loss) << where;
            previous = c;
        }
        EXPECT_GT(wdlOfScore(300, material).win, wdlOfScore(0, material).win) << material;
        EXPECT_GT(wdlOfScore(3000, material).win, 990) << material;
    }
    // An even score with all the pieces on is not a sure draw; with less material left, draws grow.
    EXPECT_GT(wdlOfScore(0, 78).win, 100);
    EXPECT_GT(wdlOfScore(0, 20).draw, wdlOfScore(0, 78).draw);
}

TEST(WdlModel, KnownResultsAreCertain) {
    for (int material : {3, 40, 78}) {
        WdlChances win = wdlOfScore(mateIn(7), material), loss = wdlOfScore(matedIn(2), material);
        EXPECT_TRUE(win.win == 1000 && win.draw == 0 && win.loss == 0);
        EXPECT_TRUE(loss.win == 0 && loss.draw == 0 && loss.loss == 1000);
        EXPECT_EQ(wdlOfScore(tablebaseWin(20), material).win, 1000);
    }
    WdlChances draw = wdlCertain(0);
    EXPECT_TRUE(draw.win == 0 && draw.draw == 1000 && draw.loss == 0);
    EXPECT_EQ(wdlCertain(1).win, 1000);
    EXPECT_EQ(wdlCertain(-1).loss, 1000);
}

TEST(WdlModel, MaterialCountsPawnUnits) {
    EXPECT_EQ(wdlMaterial(*TestPosition("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1")), 78);
    EXPECT_EQ(wdlMaterial(*TestPosition("8/8/4k3/8/8/8/1PQ5/4K2n w - - 0 1")), 13);
}

TEST(StrengthLimit, HigherRatingsSearchMoreAndStrayLess) {
    StrengthLimit previous = strengthFor(STRENGTH_ELO_MIN);
    for (int elo = STRENGTH_ELO_MIN + 100; elo <= STRENGTH_ELO_MAX; elo += 100) {
        StrengthLimit s = strengthFor(elo);
        EXPECT_GT(s.nodes, previous.nodes) << elo;
        EXPECT_LT(s.spreadCp, previous.spreadCp) << elo;
        previous = s;
    }
    // Ratings beyond the scale play as its ends.
    EXPECT_EQ(strengthFor(100).nodes, strengthFor(STRENGTH_ELO_MIN).nodes);
    EXPECT_EQ(strengthFor(4000).nodes, strengthFor(STRENGTH_ELO_MAX).nodes);
}

// How often each line is drawn over an even spread of random numbers.
std::vector<int> draws(const std::vector<int>& scores, int elo) {
    std::vector<int> count(scores.size());
    for (int i = 0; i < 1000; ++i) ++count.at(chooseLimitedLine(scores, elo, (i + 0.5) / 1000));
    return count;
}

TEST(StrengthLimit, CloseLinesAreDrawnOftenAndLostOnesAlmostNever) {
    EXPECT_EQ(draws({40, 40, 40, 40}, STRENGTH_ELO_MIN), (std::vector<int>{250, 250, 250, 250}));
    // A lone line, and lines far behind, leave the best one.
    EXPECT_EQ(draws({12}, STRENGTH_ELO_MIN), (std::vector<int>{1000}));
    EXPECT_EQ(draws({300, -700, -32000, -800}, STRENGTH_ELO_MAX), (std::vector<int>{1000, 0, 0, 0}));
    // A line 30 cp behind is played often at the low end of the scale and rarely at the high end.
    auto low = draws({30, 0}, STRENGTH_ELO_MIN), high = draws({30, 0}, STRENGTH_ELO_MAX);
    EXPECT_GT(low[1], 300);
    EXPECT_LT(high[1], 30);
    EXPECT_GT(low[1], draws({30, 0}, STRENGTH_ELO_DEFAULT)[1]);
}
}  // namespace
