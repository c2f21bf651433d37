#include "search_session.h"

namespace {

TEST(SearchRoot, MatedSideSeesANegativeMate) {
    EngineSession s;
    // Kb8 is forced, then Rh8 mates.
    auto infos = withPrefix(s.search("fen k7/8/1K6/8/8/8/8/7R b - - 0 1", "go depth 6"), "info score");
    ASSERT_FALSE(infos.empty());
    EXPECT_TRUE(startsWith(infos.back(), "info score mate -")) << infos.back();
}

// Checkmate and stalemate at the root: one info line and no move.
TEST(SearchRoot, NoLegalMoveAtTheRoot) {
    EngineSession s;
    auto mated = s.search("startpos moves f2f3 e7e5 g2g4 d8h4", "go wtime 10000 btime 10000", 3000);
    ASSERT_GE(mated.size(), 2u);
    EXPECT_EQ(mated[mated.size() - 2], "info score mate 0");
    EXPECT_EQ(mated.back(), "bestmove (none)");
    auto stalemate = s.search("fen 7k/8/8/8/8/8/5q2/7K w - - 0 1", "go depth 5", 3000);
    ASSERT_GE(stalemate.size(), 2u);
    EXPECT_TRUE(startsWith(stalemate[stalemate.size() - 2], "info score cp 0 depth 0")) << stalemate[stalemate.size() - 2];
    EXPECT_EQ(stalemate.back(), "bestmove (none)");
}

TEST(SearchRoot, SingleLegalMoveStopsAfterDepthThree) {
    EngineSession s;
    s.send("position fen k7/8/8/8/8/8/1q6/K7 w - - 0 1");
    std::vector<std::string> lines;
    long ms = s.millisUntilBestMove("go wtime 600000 btime 600000", &lines);
    EXPECT_LT(ms, 2000);
    EXPECT_EQ(lines.back(), "bestmove a1b2");
    for (const auto& l : withPrefix(lines, "info score")) EXPECT_LE(fieldOf(l, "depth"), 3) << l;
}

TEST(SearchRoot, GameHistoryRepetitionIsADraw) {
    EngineSession s;
    // Black, a rook down, can repeat the position a third time with Qe1+.
    auto infos = withPrefix(s.search("fen 6k1/5ppp/8/8/8/8/q4PPP/1R4K1 b - - 0 1 moves a2e2 g1h1 e2e1 h1h2 e1e2 h2h1 e2e1 "
                                     "h1h2 e1e2 h2h1",
                                     "go depth 6"),
                            "info score");
    ASSERT_FALSE(infos.empty());
    EXPECT_LE(std::abs(fieldOf(infos.back(), "cp")), 1) << infos.back();
}

} // namespace
