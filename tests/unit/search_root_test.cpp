#include "search/root.h"
#include "search/search.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search_support.h"

namespace {
// However the best move behaves, the soft limit is stretched at most to twice
// its size and shrunk at most to 0.6 of it; shallow iterations say nothing yet.
TEST(StabilityScale, StaysWithinItsBoundsAndFollowsTheBestMove) {
    for (int changes : {0, 1, 2, 5, 30}) {
        double scale = 1.0;
        for (int depth = 1; depth < 40; ++depth) {
            double next = nextStabilityScale(scale, depth, changes);
            ASSERT_GE(next, 0.6) << changes;
            ASSERT_LE(next, 2.0) << changes;
            EXPECT_TRUE(depth > 4 || next == 1.0) << depth;
            EXPECT_TRUE(depth <= 4 || changes != 1 || next <= scale) << depth;
            EXPECT_TRUE(depth <= 4 || changes < 2 || next > 1.0) << depth << " " << changes;
            scale = next;
        }
    }
}

TEST(InfoLine, CentipawnsMatesAndMoveText) {
    TestPosition p("r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1");
    Move castle = findLegalMove(*p, 0, "e1g1");
    ASSERT_NE(castle, NO_MOVE);
    std::vector<Move> pv = {castle};
    EXPECT_EQ(infoLine(35, 7, 11, 5000, 250, 2, pv, *p),
              "info score cp 35 depth 7 seldepth 11 nodes 5000 nps 20000 time 250 tbhits 2 pv e1g1");
    EXPECT_EQ(infoLine(mateIn(1), 1, 1, 10, 0, 0, pv, *p),
              "info score mate 1 depth 1 seldepth 1 nodes 10 nps 10000 time 0 tbhits 0 pv e1g1");
    EXPECT_EQ(infoLine(mateIn(5), 5, 6, 10, 1, 0, pv, *p).substr(0, 18), "info score mate 3 ");
    EXPECT_EQ(infoLine(matedIn(4), 5, 6, 10, 1, 0, pv, *p).substr(0, 19), "info score mate -3 ");
    EXPECT_EQ(infoLine(LARGEST_PLAIN_SCORE, 5, 6, 10, 1, 0, pv, *p).substr(0, 22), "info score cp 31871 de");
    // Under MultiPV the rank follows the score.
    EXPECT_EQ(infoLine(matedIn(4), 5, 6, 10, 1, 0, pv, *p, 12).substr(0, 31), "info score mate -3 multipv 12 d");
}

TEST(InfoLine, PrincipalVariationIsWrittenMoveAfterMove) {
    TestPosition p("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1");
    Move ep = findLegalMove(*p, 0, "e5d6");
    ASSERT_NE(ep, NO_MOVE);
    std::vector<Move> pv = {ep, makeMove(60, 51)};  // exd6, Kd7
    std::string line = infoLine(0, 2, 2, 1, 1, 0, pv, *p);
    EXPECT_EQ(line.substr(line.find(" pv ")), " pv e5d6 e8d7");
}

// Every thread's widening sequence grows step by step, so a re-search never narrows a window it has already widened.
TEST(AspirationSteps, EveryRowWidensStepByStep) {
    for (int r = 0; r < 32; ++r) {
        EXPECT_GT(ASPIRATION_STEPS[r][0], 0) << "row " << r;
        for (int k = 1; k < 5; ++k) EXPECT_GT(ASPIRATION_STEPS[r][k], ASPIRATION_STEPS[r][k - 1]) << "row " << r;
    }
}

struct FixedDepthSearch : ::testing::Test {
    static void SetUpTestSuite() {
        initSearchTables();
        setThreadCount(1);
    }
    static void TearDownTestSuite() { setThreadCount(0); }
    // The root's score and best move after a search of `depth` from fresh tables.
    std::pair<int, std::string> search(const std::string& fen, int depth) {
        TestPosition p(fen);
        clear();
        clearSearchTables();
        searchFixedDepth(*p, depth);
        return {pool[0]->rootBestScore, moveToText(*p, pool[0]->rootBestMove)};
    }
    int scoreOf(const std::string& fen, int depth) { return search(fen, depth).first; }
};

TEST_F(FixedDepthSearch, FiftyMoveRuleTurnsAWinIntoADraw) {
    EXPECT_GT(scoreOf("7k/8/8/8/8/8/8/K5Q1 w - - 0 80", 4), 800);
    EXPECT_EQ(scoreOf("7k/8/8/8/8/8/8/K5Q1 w - - 99 80", 4), 0);
}

TEST_F(FixedDepthSearch, FindsAMateInTwoAndScoresItFromTheRoot) {
    // The rooks mate on the back rank.
    EXPECT_EQ(scoreOf("6k1/5ppp/8/8/8/8/1R3PPP/1R4K1 w - - 0 1", 4), MATE - 1);  // mate in one: Rb8#
    // King and rook against king: no mate in one, but mate in two.
    EXPECT_EQ(scoreOf("k7/8/2K5/8/8/8/8/7R w - - 0 1", 5), MATE - 3);
    EXPECT_EQ(search("k7/8/1K6/8/8/8/8/7R w - - 0 1", 5), std::pair(MATE - 1, std::string("h1h8")));
}
}  // namespace
