// What the allotment promises whatever its formulas: it never plans past the clock, it spends more where more is there
// to spend, and odd inputs give usable limits. The time a real search takes is measured in the process tests.
#include <gtest/gtest.h>
#include <algorithm>
#include "search/timeman.h"

namespace {
Allotment allotWithMargin(const AllotmentInput& in) { return withSafetyMargin(allotTime(in), in); }
// Clocks from a flag about to fall to a long game, with and without increment
// and moves to go, at every stage of the game, one thread and many.
TEST(TimeAllotment, NeverPlansPastTheClock) {
    AllotmentInput in;
    for (int t : {0, 1, 50, 120, 400, 1000, 3000, 10000, 60000, 900000})
        for (int inc : {0, 100, 3000})
            for (int movesToGo : {0, 1, 2, 4, 5, 40})
                for (int gameMove : {0, 30, 60, 150, 250, UNKNOWN_GAME_MOVES})
                    for (int threads : {1, 8}) {
                        in.time = t, in.inc = inc, in.movesToGo = movesToGo, in.movesToGoGiven = movesToGo > 0;
                        in.gameMoveCount = gameMove, in.threads = threads;
                        Allotment a = allotWithMargin(in);
                        auto what = ::testing::Message() << t << " ms, inc " << inc << ", movestogo " << movesToGo
                                                         << ", game move " << gameMove << ", threads " << threads;
                        EXPECT_GE(a.softLimit, 0) << what;
                        EXPECT_GE(a.hardLimit, 1) << what;
                        // MoveOverhead and a quarter of the rest stay on the clock; only the
                        // four-moves-to-go floor of 40 ms may reach into them.
                        int reserve = std::max(1, (t - 100) - (t - 100) / 4);
                        EXPECT_LE(a.hardLimit, movesToGo == 4 ? std::max(reserve, 40) : reserve) << what;
                    }
    // The formulas alone would let a tiny clock with a large increment overrun what is left.
    in = {.time = 120, .inc = 3000, .gameMoveCount = 30};
    EXPECT_GT(allotTime(in).hardLimit, 120 - 100);
    // A long clock is left as the formulas have it.
    in.time = 60000;
    EXPECT_EQ(allotWithMargin(in).hardLimit, allotTime(in).hardLimit);
}

TEST(TimeAllotment, MoreToSpendMeansLongerMoves) {
    AllotmentInput in;
    int previousSoft = 0, previousHard = 0;
    for (int t : {1000, 5000, 20000, 60000, 300000, 900000}) {
        in.time = t;
        Allotment a = allotWithMargin(in);
        EXPECT_GT(a.softLimit, previousSoft) << t;
        EXPECT_GT(a.hardLimit, previousHard) << t;
        previousSoft = a.softLimit, previousHard = a.hardLimit;
    }
    in.time = 60000;
    int plain = allotWithMargin(in).softLimit;
    in.inc = 1000;
    EXPECT_GT(allotWithMargin(in).softLimit, plain) << "an increment";
    in.inc = 0, in.threads = 4;
    int four = allotWithMargin(in).softLimit;
    EXPECT_GT(four, plain) << "more threads";
    in.ponder = true;
    EXPECT_GT(allotWithMargin(in).softLimit, four) << "pondering";
    in = {.movesToGo = 10, .movesToGoGiven = true};
    Allotment ten = allotWithMargin(in);
    in.movesToGo = 1;
    Allotment last = allotWithMargin(in);
    EXPECT_TRUE(last.softLimit > ten.softLimit && last.hardLimit > ten.hardLimit)
        << "the last move before the time control";
    // A FEN without history is spread like the start of a game, with more per move than a game that is known to be at
    // its start; late in a game the clock is spread over fewer moves.
    in = AllotmentInput{};
    int opening = allotWithMargin(in).softLimit;
    in.gameMoveCount = UNKNOWN_GAME_MOVES;
    EXPECT_GT(allotWithMargin(in).softLimit, opening);
    in.gameMoveCount = 250;
    EXPECT_GT(allotWithMargin(in).softLimit, opening);
}

TEST(TimeAllotment, OddInputsGiveUsableLimits) {
    AllotmentInput in{.time = 100, .moveTime = 500};  // a fixed time per move is kept even against the clock
    EXPECT_EQ(allotWithMargin(in).hardLimit, 500);
    // "movestogo 0" is read as no moves to go, not divided by.
    in = AllotmentInput{};
    Allotment zero = allotWithMargin({.movesToGo = 0, .movesToGoGiven = true}), plain = allotWithMargin(in);
    EXPECT_TRUE(zero.softLimit == plain.softLimit && zero.hardLimit == plain.hardLimit);
    in.time = -50;
    Allotment negative = allotWithMargin(in);
    EXPECT_TRUE(negative.softLimit >= 0 && negative.hardLimit >= 1);
    // With exactly four moves to go the hard limit has a floor of 40 ms; five have none.
    in.movesToGoGiven = true, in.movesToGo = 4;
    for (int t : {0, 1, 20, 60, 150}) {
        in.time = t;
        EXPECT_GE(allotWithMargin(in).hardLimit, 40) << t;
    }
    in.movesToGo = 5, in.time = 60;
    EXPECT_LT(allotWithMargin(in).hardLimit, 40);
}

// The first "go" of a game works out how far the increment stretches the clock; later moves keep that figure.
TEST(TimeAllotment, IncrementFactorIsKeptBetweenMovesOfAGame) {
    AllotmentInput in{.inc = 10000, .newGame = true};
    float first = allotTime(in).incrementFactor;
    in.inc = 0;
    EXPECT_NE(allotTime(in).incrementFactor, first);
    in.newGame = false, in.incrementFactor = first;
    EXPECT_EQ(allotTime(in).incrementFactor, first);
}

TEST(TimeAllotment, ShortLimitsReadTheClockOften) {
    int previous = 1;
    for (int hard : {1, 50, 500, 999, 5000, 60000}) {
        EXPECT_GE(clockCheckInterval(hard), previous) << hard;
        previous = clockCheckInterval(hard);
    }
    EXPECT_LT(clockCheckInterval(500), clockCheckInterval(60000));
}
}  // namespace
