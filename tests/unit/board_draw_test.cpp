#include <sstream>
#include "board/draw.h"
#include "board_test_util.h"
#include "uci/movetext.h"

namespace {
// Plays the moves from the start position as search plies 0, 1, 2, ...
int playLine(Position& p, const std::string& moves) {
    std::istringstream in(moves);
    std::string text;
    int ply = 0;
    while (in >> text) {
        Move m = findLegalMove(p, ply, text);
        EXPECT_NE(m, NO_MOVE) << text;
        makeMove(p, ply, m);
        ++ply;
    }
    return ply;
}

// isRepetition(position, ply) with the root `ply` plies back: inside the searched line one earlier occurrence is
// enough, in the game history before the root it takes two, and a reset halfmove clock ends the scan.
TEST(Repetition, InsideTheLineOnceInTheHistoryTwiceAndNotPastAReset) {
    const std::string knights = " g1f3 g8f6 f3g1 f6g8", back = "e2e3 e7e6" + knights,
                      reset = "g1f3 g8f6 f3g1 f6g8 " + back;
    for (auto [moves, ply, clock, repeated, why] :
         {std::tuple{back, 6, 4, true, "1.e3 e6 is back, inside the line"},
          {back, 4, 4, false, "with the root at 1.e3 e6 it is game history: one occurrence is not enough"},
          {back, 1, 4, false, "game history, one occurrence"},
          {back + knights, 1, 8, true, "two earlier occurrences in the game history"},
          {reset, 5, 4, true, "the position after 3.e3 e6 lies inside the line"},
          {reset, 4, 4, false, "it is the root: one occurrence only"},
          {std::string("g1f3 g8f6 f3g1"), 3, 3, false, "fewer than four reversible plies"}}) {
        TestPosition p(START_FEN);
        playLine(*p, moves);
        EXPECT_EQ(isRepetition(*p, ply), repeated) << moves << " at ply " << ply << ": " << why;
        EXPECT_EQ(p->fiftyMove, clock) << moves;
    }
}

TEST(InsufficientMaterial, MinorPiecesAloneCannotWin) {
    for (const char* fen :
         {"8/8/4k3/8/8/3NK3/8/8 w - - 0 1", "8/8/4kb2/8/8/3NK3/8/8 w - - 0 1", "8/8/4k3/8/8/4K3/8/8 w - - 0 1"})
        EXPECT_TRUE(insufficientMaterial(*TestPosition(fen))) << fen;
    for (const char* fen :
         {"8/8/4k3/8/8/3RK3/8/8 w - - 0 1", "8/8/4k3/8/8/2NNK3/8/8 w - - 0 1", "8/8/4k3/8/8/4K3/4P3/8 w - - 0 1"})
        EXPECT_FALSE(insufficientMaterial(*TestPosition(fen))) << fen;
}
}  // namespace
