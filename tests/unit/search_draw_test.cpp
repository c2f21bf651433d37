#include "search/search.h"
#include "search/threads.h"
#include "search_support.h"

namespace {
class FixedDepthSearch : public ::testing::Test {
protected:
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
