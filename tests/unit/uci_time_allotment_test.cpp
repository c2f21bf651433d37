#include <gtest/gtest.h>

#include <algorithm>

#include "search/timeman.h"

namespace {

AllotmentInput bareGo() {
    AllotmentInput in;  // 900000 ms, no increment, one thread, overhead 100
    return in;
}

TEST(TimeAllotment, BareGoAfterANewGame) {
    AllotmentInput in = bareGo();
    in.newGame = true;
    Allotment a = allotTime(in);
    EXPECT_FLOAT_EQ(a.incrementFactor, 1.75f);  // 900000 / 1 clamped to 360
    EXPECT_EQ(a.movesToGo, 40);
    EXPECT_EQ(a.softLimit, 14850);
    EXPECT_EQ(a.hardLimit, 74250);
    EXPECT_FLOAT_EQ(a.timeFactor, 1.0f);
}

TEST(TimeAllotment, IncrementFactorIsKeptBetweenMovesOfAGame) {
    AllotmentInput in = bareGo();
    in.inc = 10000;  // ratio 90, clamped to 100
    in.newGame = true;
    EXPECT_FLOAT_EQ(allotTime(in).incrementFactor, 1.37f);
    in.newGame = false;
    in.incrementFactor = 1.5f;
    EXPECT_FLOAT_EQ(allotTime(in).incrementFactor, 1.5f);
}

TEST(TimeAllotment, MoveTimeOverridesTheClock) {
    AllotmentInput in = bareGo();
    in.moveTime = 1000;
    Allotment a = allotTime(in);
    EXPECT_EQ(a.hardLimit, 1000);
    EXPECT_EQ(a.softLimit, 10000);
}

TEST(TimeAllotment, OneMoveToGo) {
    AllotmentInput in = bareGo();
    in.time = 1000;
    in.movesToGo = 1;
    in.movesToGoGiven = true;
    Allotment a = allotTime(in);
    EXPECT_EQ(a.softLimit, 657);  // 1000 x 0.73 x 0.9
    EXPECT_EQ(a.hardLimit, 900);
}

TEST(TimeAllotment, FourMovesToGoNeverGoesBelowFortyMilliseconds) {
    AllotmentInput in = bareGo();
    in.movesToGo = 4;
    in.movesToGoGiven = true;
    for (int t : {0, 1, 20, 60, 100, 150}) {
        in.time = t;
        EXPECT_GE(allotTime(in).hardLimit, 40) << t;
    }
    in.movesToGo = 5;
    in.time = 60;
    EXPECT_LT(allotTime(in).hardLimit, 40);  // the floor is for four moves only
}

TEST(TimeAllotment, LittleTimeLeftHalvesTheLimits) {
    AllotmentInput in = bareGo();
    in.time = 500;  // soft trunc(12 x 0.66) = 7; avail 400 / 7 >= 4: no halving
    Allotment plenty = allotTime(in);
    EXPECT_FLOAT_EQ(plenty.timeFactor, 1.0f);
    EXPECT_EQ(plenty.softLimit, 7);
    in.time = 120;
    in.inc = 3000;  // a large increment raises soft far above the 20 ms available
    Allotment tight = allotTime(in);
    EXPECT_FLOAT_EQ(tight.timeFactor, 5.0f);
    // n = trunc(40 x 1.37) = 54; total = 53 x 3000 + 120 = 159120; soft = trunc(3978 x 0.66) / 2
    EXPECT_EQ(tight.softLimit, int(float(3978) * 0.66f) / 2);
    EXPECT_EQ(tight.hardLimit, tight.softLimit + 1);
}

TEST(TimeAllotment, FenWithoutHistoryCountsAsMoveOneOfAnUnknownGame) {
    AllotmentInput in = bareGo();
    in.gameMoveCount = 1024;
    Allotment a = allotTime(in);
    EXPECT_EQ(a.movesToGo, 30);
    // total 900000, trunc(30 x 1.37) = 41: total / 30 x 0.66 x 1.4
    EXPECT_EQ(a.softLimit, int(float(30000) * (0.66f * 1.4f)));
}

// Without movestogo the game's stage decides over how many moves the clock is
// spread: 40 before move 18, 22 to move 50, 25 to move 80, 20 to move 200, 15
// after. With 900 s, no increment and one thread (base 0.66) the soft limit is
// 900000 / moves x 0.66, truncated.
TEST(TimeAllotment, GameStageSpreadsTheClock) {
    AllotmentInput in = bareGo();
    const int expectedSoft[][2] = {{0, 14850},   {17, 14850},  {18, 26999},  {50, 26999}, {51, 23760},
                                   {80, 23760},  {81, 29700},  {200, 29700}, {201, 39600}};
    for (auto& [gameMove, soft] : expectedSoft) {
        in.gameMoveCount = gameMove;
        EXPECT_EQ(allotTime(in).softLimit, soft) << "game move " << gameMove;
    }
}

TEST(TimeAllotment, MoreThreadsAndPonderingSpendMore) {
    AllotmentInput in = bareGo();
    int one = allotTime(in).softLimit;
    in.threads = 4;
    int four = allotTime(in).softLimit;
    in.ponder = true;
    int pondering = allotTime(in).softLimit;
    EXPECT_LT(one, four);
    EXPECT_LT(four, pondering);
    EXPECT_EQ(four, int(float(22500) * 0.76f));
}

TEST(TimeAllotment, MovesToGoZeroDoesNotDivideByZero) {
    AllotmentInput in = bareGo();
    in.movesToGo = 0;
    in.movesToGoGiven = true;
    Allotment a = allotTime(in);
    AllotmentInput plain = bareGo();
    EXPECT_EQ(a.softLimit, allotTime(plain).softLimit);
    EXPECT_GT(a.hardLimit, a.softLimit);
}

TEST(TimeAllotment, HardLimitStaysAboveSoftEvenWithNoTimeLeft) {
    AllotmentInput in = bareGo();
    in.time = -50;
    Allotment a = allotTime(in);
    EXPECT_GE(a.softLimit, 0);
    EXPECT_GT(a.hardLimit, a.softLimit);
}

// The engine's margin on top of the allotment: however the formulas come out,
// the hard limit leaves MoveOverhead and a quarter of the rest on the clock.
TEST(TimeAllotment, SafetyMarginKeepsTimeInReserve) {
    AllotmentInput in = bareGo();
    in.inc = 100;
    in.gameMoveCount = 30;
    for (int t : {50, 100, 150, 200, 400, 1000, 3000, 10000, 60000}) {
        in.time = t;
        Allotment plain = allotTime(in);
        Allotment safe = withSafetyMargin(plain, in);
        EXPECT_LE(safe.hardLimit, plain.hardLimit) << t;
        EXPECT_GE(safe.hardLimit, 1) << t;
        EXPECT_LE(safe.hardLimit, std::max(1, (t - 100) - (t - 100) / 4)) << t;
        EXPECT_EQ(safe.softLimit, plain.softLimit) << t;
    }
    // The formulas alone let a tiny clock with a large increment overrun what is left.
    in.time = 120;
    EXPECT_GT(allotTime(in).hardLimit, 120 - 100);
    // A long clock is left as the formulas have it.
    in.time = 60000;
    EXPECT_EQ(withSafetyMargin(allotTime(in), in).hardLimit, allotTime(in).hardLimit);
}

TEST(TimeAllotment, SafetyMarginKeepsFixedTimesAndTheFourMoveFloor) {
    AllotmentInput in = bareGo();
    in.time = 100;
    in.moveTime = 500;
    EXPECT_EQ(withSafetyMargin(allotTime(in), in).hardLimit, 500);
    in.moveTime = 0;
    in.movesToGo = 4;
    in.movesToGoGiven = true;
    for (int t : {0, 60, 150}) {
        in.time = t;
        EXPECT_GE(withSafetyMargin(allotTime(in), in).hardLimit, 40) << t;
    }
}

TEST(TimeAllotment, ShortLimitsReadTheClockOften) {
    EXPECT_EQ(clockCheckInterval(60000), 4096);
    EXPECT_LT(clockCheckInterval(500), 4096);
    EXPECT_LE(clockCheckInterval(50), clockCheckInterval(500));
}

} // namespace
