#include <gtest/gtest.h>
#include <sstream>
#include "board_test_util.h"
#include "uci/movetext.h"
#include "search/timeman.h"
#include "uci/position_command.h"

namespace {
class PositionCommand : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initBoardTables(); }
    void SetUp() override { setStartPosition(); }
    bool run(const std::string& args, std::string* error = nullptr) {
        std::istringstream in(args);
        std::string dummy;
        return positionCommand(in, error ? error : &dummy);
    }
};

TEST_F(PositionCommand, StartposWithMoves) {
    ASSERT_TRUE(run("startpos moves e2e4 e7e5"));
    EXPECT_TRUE(mainPosition.gamePly == 3 && gameClock.gameMoveCount == 2);
    EXPECT_EQ(getFen(mainPosition), "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2");
    EXPECT_EQ(mainPosition.plyStates[0].epSquare, 36);  // the root always stays at ply 0
}

TEST_F(PositionCommand, WordAfterStartposIsDropped) {
    ASSERT_TRUE(run("startpos e2e4"));
    EXPECT_EQ(getFen(mainPosition), START_FEN);
    EXPECT_EQ(gameClock.gameMoveCount, 0);
}

TEST_F(PositionCommand, FenGameMoveCount) {
    ASSERT_TRUE(run("fen 8/8/8/8/8/8/8/K1k5 w - - 0 40 moves a1a2"));
    EXPECT_TRUE(mainPosition.gamePly == 80 && gameClock.gameMoveCount == 81);
    ASSERT_TRUE(run("fen 8/8/8/8/8/8/8/K1k5 w - - 0 1"));
    EXPECT_EQ(gameClock.gameMoveCount, 1024);
}

TEST_F(PositionCommand, BadInputKeepsThePreviousPosition) {
    ASSERT_TRUE(run("startpos moves d2d4"));
    std::string before = getFen(mainPosition);
    uint64_t key = mainPosition.key;
    const char* bad[] = {
        "", "startpos moves e7", "startpos moves e2e5", "startpos moves e2e4 e2e4", "fen",
        "fen 8/8/8/8/8/8/8/8 w - - 0 1", "fen rnbqkbnr/pppppppp/9/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "fen 4k3/8/8/8/8/8/8/4K3 w - - 0 1 moves e1e3", "start", "startpos moves e7e8Q", "startpos moves i2i4",
        "startpos moves e2e4x",
    };
    for (const char* args : bad) {
        std::string error;
        EXPECT_FALSE(run(args, &error)) << args;
        EXPECT_FALSE(error.empty()) << args;
        EXPECT_TRUE(getFen(mainPosition) == before && mainPosition.key == key) << args;
    }
}

TEST_F(PositionCommand, RepetitionHistoryGrowsByOneKeyPerMove) {
    ASSERT_TRUE(run("startpos moves g1f3 g8f6 f3g1 f6g8"));
    EXPECT_TRUE(mainPosition.gamePly == 5 && mainPosition.keyHistory[4] == mainPosition.keyHistory[0] && mainPosition.fiftyMove == 4);
}

TEST_F(PositionCommand, VeryLongGamesDoNotOverflowTheHistory) {
    std::string moves = "startpos moves";
    for (int i = 0; i < 1200; ++i) moves += " g1f3 g8f6 f3g1 f6g8";
    ASSERT_TRUE(run(moves));
    EXPECT_LT(mainPosition.gamePly, KEY_HISTORY);
    EXPECT_EQ(mainPosition.keyHistory[mainPosition.gamePly - 1], mainPosition.key);
    EXPECT_EQ(mainPosition.keyHistory[mainPosition.gamePly - 5], mainPosition.key);
}

TEST_F(PositionCommand, MoveTextStandard) {
    Chess960Scope off(false);
    ASSERT_TRUE(run("fen r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1"));
    Move castle = decodeMove(mainPosition, "e1g1");
    EXPECT_TRUE(moveFlag(castle) == FLAG_SHORT && moveToText(mainPosition, castle) == "e1g1");
    EXPECT_EQ(moveFlag(decodeMove(mainPosition, "e1c1")), FLAG_LONG);
    EXPECT_EQ(moveFlag(decodeMove(mainPosition, "e1h1")), FLAG_NORMAL);  // king takes own rook is no castling here
    EXPECT_EQ(findLegalMove(mainPosition, 0, "e1h1"), NO_MOVE);
    ASSERT_TRUE(run("fen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1"));
    EXPECT_EQ(moveFlag(decodeMove(mainPosition, "a7a8n")), FLAG_PROMO_N);
    EXPECT_EQ(moveFlag(decodeMove(mainPosition, "a7a8q")), FLAG_PROMO_Q);
    EXPECT_EQ(moveFlag(decodeMove(mainPosition, "a7a8Q")), NO_MOVE);  // upper case is no promotion letter
    EXPECT_EQ(moveToText(mainPosition, makeMove(48, 56, FLAG_PROMO_R)), "a7a8r");
    EXPECT_TRUE(decodeMove(mainPosition, "a7") == NO_MOVE && decodeMove(mainPosition, "a7a8qq") == NO_MOVE);
    ASSERT_TRUE(run("startpos moves e2e4 d7d5 e4e5 f7f5"));
    Move ep = decodeMove(mainPosition, "e5f6");
    EXPECT_TRUE(moveFlag(ep) == FLAG_EP && moveTo(ep) == 37 && moveToText(mainPosition, ep) == "e5f6");
    ASSERT_TRUE(run("startpos moves e2e4 d7d5 e4e5 f7f5 e5f6"));
    EXPECT_TRUE(mainPosition.board[45] == WPAWN && mainPosition.board[37] == EMPTY);
}

// A promotion letter on a move that promotes nothing was once dropped quietly.
TEST_F(PositionCommand, PromotionLetterOnlyOnAPromotion) {
    std::string error;
    EXPECT_FALSE(run("startpos moves e2e4q", &error));
    EXPECT_NE(error.find("e2e4q"), std::string::npos);
    EXPECT_EQ(mainPosition.gamePly, 1);  // the start position stands
    EXPECT_EQ(findLegalMove(mainPosition, 0, "g1f3n"), NO_MOVE);
    ASSERT_TRUE(run("startpos moves e2e4 d7d5 e4e5 f7f5"));
    EXPECT_EQ(findLegalMove(mainPosition, 0, "e5f6q"), NO_MOVE);  // en passant with a letter
    EXPECT_NE(findLegalMove(mainPosition, 0, "e5f6"), NO_MOVE);
    ASSERT_TRUE(run("fen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1"));
    for (const char* text : {"a7a8", "a7a8k", "a7a8p", "e1e2q"}) EXPECT_EQ(findLegalMove(mainPosition, 0, text), NO_MOVE) << text;
    for (const char* text : {"a7a8n", "a7a8b", "a7a8r", "a7a8q"}) {
        Move m = findLegalMove(mainPosition, 0, text);
        ASSERT_NE(m, NO_MOVE) << text;
        EXPECT_EQ(moveToText(mainPosition, m), text);
    }
}

TEST_F(PositionCommand, MoveTextChess960) {
    Chess960Scope on(true);
    ASSERT_TRUE(run("fen r3k2r/8/8/8/8/8/8/RK5R w AHah - 0 1"));
    for (auto [text, flag, to] : {std::tuple{"b1h1", FLAG_SHORT, 6}, {"b1a1", FLAG_LONG, 2}}) {
        Move castle = decodeMove(mainPosition, text);
        EXPECT_TRUE(moveFlag(castle) == flag && moveTo(castle) == to && moveToText(mainPosition, castle) == text) << text;
    }
    // A king step onto an empty c- or g-file square is an ordinary move.
    EXPECT_EQ(moveFlag(decodeMove(mainPosition, "b1c1")), FLAG_NORMAL);
    ASSERT_TRUE(run("fen r3k2r/8/8/8/8/8/8/RK5R w AHah - 0 1 moves b1a1"));
    EXPECT_TRUE(mainPosition.board[2] == WKING && mainPosition.board[3] == WROOK && mainPosition.board[0] == EMPTY);
}
} // namespace
