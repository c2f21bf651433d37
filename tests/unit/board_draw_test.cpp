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

const char* KNIGHTS_OUT_AND_BACK = " g1f3 g8f6 f3g1 f6g8";
TEST(Repetition, InsideTheSearchedLineOnceIsEnough) {
    TestPosition p(START_FEN);
    int plies = playLine(*p, std::string("e2e3 e7e6") + KNIGHTS_OUT_AND_BACK);
    ASSERT_EQ(plies, 6);
    // The position after 1.e3 e6 is back. With the root before 1.e4 it lies inside the line...
    EXPECT_TRUE(isRepetition(*p, 6));
    // ...with the root at it, it is game history and one occurrence is not enough.
    EXPECT_FALSE(isRepetition(*p, 4));
    EXPECT_FALSE(isRepetition(*p, 1));
}

TEST(Repetition, GameHistoryNeedsTwoEarlierOccurrences) {
    TestPosition p(START_FEN);
    playLine(*p, std::string("e2e3 e7e6") + KNIGHTS_OUT_AND_BACK + KNIGHTS_OUT_AND_BACK);
    EXPECT_TRUE(isRepetition(*p, 1));
}

TEST(Repetition, AResetHalfmoveClockEndsTheScan) {
    TestPosition p(START_FEN);
    // The knights go out and back, but a pawn move in between resets the clock.
    playLine(*p, "g1f3 g8f6 f3g1 f6g8 e2e3 e7e6 g1f3 g8f6 f3g1 f6g8");
    EXPECT_EQ((*p).fiftyMove, 4);
    EXPECT_TRUE(isRepetition(*p, 5));   // the position after 3.e3 e6 lies inside the line
    EXPECT_FALSE(isRepetition(*p, 4));  // it is the root: one occurrence only
    TestPosition q(START_FEN);
    playLine(*q, "g1f3 g8f6 f3g1");
    EXPECT_FALSE(isRepetition(*q, 3));  // fewer than four reversible plies
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
