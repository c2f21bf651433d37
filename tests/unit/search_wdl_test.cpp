// The win/draw/loss figures of the info lines: per mille that add up, chances
// that follow the score, and certainty where the result is known.
#include <gtest/gtest.h>

#include "board/score.h"
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

}  // namespace
