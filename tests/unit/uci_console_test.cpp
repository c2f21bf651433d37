#include <cstdio>
#include <sstream>
#include <thread>
#include "board_test_util.h"
#include "search/timeman.h"
#include "uci/movetext.h"
#include "uci/output.h"
#include "uci/perft_commands.h"
#include "uci/position_command.h"

namespace {
// A report half written by the command thread must not let a search line in
// between its words: "... pv g1f3 g8f6Unknown command" was once seen.
TEST(Output, ReportLinesLeaveWhole) {
    testing::internal::CaptureStdout();
    std::ostream& out = consoleOut();
    out << "Perft results for depth: " << std::flush;
    std::thread search([] { sendLine("bestmove e2e4"); });
    search.join();
    out << 5 << "  20" << std::endl;
    out << "no newline yet" << std::flush;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "bestmove e2e4\nPerft results for depth: 5  20\n");
    out << "\n";
}

TEST(Output, LongInputIsShortenedInMessages) {
    EXPECT_EQ(excerpt("e2e4"), "'e2e4'");
    std::string huge(1 << 20, 'x');
    std::string shown = excerpt(huge);
    EXPECT_LT(shown.size(), 80u);
    EXPECT_NE(shown.find("1048576 characters"), std::string::npos);
    EXPECT_EQ(excerpt(std::string("a\x01\xff"
                                  "b")),
              "'a??b'");
}

using PerftCommands = BoardTest;

// Every number of a perft file is checked before it is used: a depth of 200 once ran past the per-ply records.
TEST_F(PerftCommands, FileNumbersAreValidatedLineByLine) {
    std::string saved = perftFile;
    perftFile = testing::TempDir() + "quorvane-perft-check.txt";
    const std::string kings = "4k3/8/8/8/8/8/8/4K3 w - - 0 1;";
    std::ofstream file(perftFile);
    for (const char* rest : {"200;1", "0;1", "-3;1", "2;many", "2", "2;25;7", "99999999999999999999999;1", "1;5"})
        file << kings << rest << "\n";
    file.close();
    TestPosition t(START_FEN);
    std::ostringstream report;
    EXPECT_EQ(rtestCommand(*t, report), 0);
    std::string text = report.str();
    for (int line = 1; line <= 7; ++line)
        EXPECT_NE(text.find("info string perft file line " + std::to_string(line) + ":"), std::string::npos)
            << line << ": " << text;
    // The good line after the bad ones is still checked.
    EXPECT_NE(text.find("1; 4k3/8/8/8/8/8/8/4K3 w - - 0 1; 1; 5; 5;"), std::string::npos) << text;
    std::ofstream(perftFile) << kings << "5;25;170;1156;7922\n" << kings << "5;25;170;1156;7922;x\n";
    std::ostringstream rfc;
    EXPECT_EQ(rtestRFCCommand(*t, rfc), 0);
    EXPECT_NE(rfc.str().find("info string perft file line 1: expected 7 fields"), std::string::npos) << rfc.str();
    EXPECT_NE(rfc.str().find("info string perft file line 2: field 7 'x'"), std::string::npos) << rfc.str();
    std::remove(perftFile.c_str());
    perftFile = saved;
}

struct PositionCommand : BoardTest {
    void SetUp() override { setStartPosition(); }
    bool run(const std::string& args, std::string* error = nullptr) {
        std::istringstream in(args);
        std::string dummy;
        return positionCommand(in, error ? error : &dummy);
    }
};

// The FEN a command leaves, its game ply and the moves the clock counts as played; the root always stays at ply 0.
TEST_F(PositionCommand, SetsThePositionAndItsCounters) {
    for (auto [args, fen, gamePly, moveCount] :
         {std::tuple{"startpos moves e2e4 e7e5", "rnbqkbnr/pppp1ppp/8/4p3/4P3/8/PPPP1PPP/RNBQKBNR w KQkq e6 0 2", 3, 2},
          {"startpos e2e4", START_FEN, 1, 0},  // a word after startpos other than "moves" is dropped
          {"fen 8/8/8/8/8/8/8/K1k5 w - - 0 40 moves a1a2", "8/8/8/8/8/8/K7/2k5 b - - 1 40", 80, 81},
          {"fen 8/8/8/8/8/8/8/K1k5 w - - 0 1", "8/8/8/8/8/8/8/K1k5 w - - 0 1", 1, 1024}}) {
        ASSERT_TRUE(run(args)) << args;
        EXPECT_TRUE(getFen(mainPosition) == fen && mainPosition.gamePly == gamePly
                    && gameClock.gameMoveCount == moveCount)
            << args << ": " << getFen(mainPosition) << " " << mainPosition.gamePly << " " << gameClock.gameMoveCount;
    }
    ASSERT_TRUE(run("startpos moves e2e4 e7e5"));
    EXPECT_EQ(mainPosition.plyStates[0].epSquare, 36);
}

TEST_F(PositionCommand, BadInputKeepsThePreviousPosition) {
    ASSERT_TRUE(run("startpos moves d2d4"));
    std::string before = getFen(mainPosition);
    uint64_t key = mainPosition.key;
    const char* bad[] = {
        "",
        "startpos moves e7",
        "startpos moves e2e5",
        "startpos moves e2e4 e2e4",
        "fen",
        "fen 8/8/8/8/8/8/8/8 w - - 0 1",
        "fen rnbqkbnr/pppppppp/9/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "fen 4k3/8/8/8/8/8/8/4K3 w - - 0 1 moves e1e3",
        "start",
        "startpos moves e7e8Q",
        "startpos moves i2i4",
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
    EXPECT_TRUE(mainPosition.gamePly == 5 && mainPosition.keyHistory[4] == mainPosition.keyHistory[0]
                && mainPosition.fiftyMove == 4);
}

TEST_F(PositionCommand, VeryLongGamesDoNotOverflowTheHistory) {
    std::string moves = "startpos moves";
    for (int i = 0; i < 1200; ++i) moves += " g1f3 g8f6 f3g1 f6g8";
    ASSERT_TRUE(run(moves));
    EXPECT_LT(mainPosition.gamePly, KEY_HISTORY);
    EXPECT_EQ(mainPosition.keyHistory[mainPosition.gamePly - 1], mainPosition.key);
    EXPECT_EQ(mainPosition.keyHistory[mainPosition.gamePly - 5], mainPosition.key);
}

// Move text read in a position: the flag decodeMove gives it (NO_MOVE: no move text; OPEN: not checked), whether it is
// a legal move there, and the legal move written back as the same text. A promotion letter on a move that promotes
// nothing was once dropped quietly.
TEST_F(PositionCommand, MoveTextStandard) {
    Chess960Scope off(false);
    const char *castling = "fen r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1",
               *promotion = "fen 4k3/P7/8/8/8/8/8/4K3 w - - 0 1", *enPassant = "startpos moves e2e4 d7d5 e4e5 f7f5";
    const int OPEN = -1;
    struct Case {
        const char *position, *text;
        int flag;
        bool legal;
    } cases[] = {{castling, "e1g1", FLAG_SHORT, true},     {castling, "e1c1", FLAG_LONG, true},
                 {castling, "e1h1", FLAG_NORMAL, false},  // king takes own rook is no castling here
                 {promotion, "a7a8n", FLAG_PROMO_N, true}, {promotion, "a7a8b", FLAG_PROMO_B, true},
                 {promotion, "a7a8r", FLAG_PROMO_R, true}, {promotion, "a7a8q", FLAG_PROMO_Q, true},
                 {promotion, "a7a8Q", NO_MOVE, false},  // upper case is no promotion letter
                 {promotion, "a7", NO_MOVE, false},        {promotion, "a7a8qq", NO_MOVE, false},
                 {promotion, "a7a8", OPEN, false},         {promotion, "a7a8k", OPEN, false},
                 {promotion, "a7a8p", OPEN, false},        {promotion, "e1e2q", OPEN, false},
                 {enPassant, "e5f6", FLAG_EP, true},       {enPassant, "e5f6q", OPEN, false},
                 {"startpos", "g1f3n", OPEN, false}};
    for (const Case& c : cases) {
        ASSERT_TRUE(run(c.position)) << c.position;
        Move decoded = decodeMove(mainPosition, c.text), legal = findLegalMove(mainPosition, 0, c.text);
        EXPECT_TRUE(c.flag == OPEN || moveFlag(decoded) == c.flag) << c.text;
        EXPECT_EQ(legal != NO_MOVE, c.legal) << c.text;
        EXPECT_TRUE(!c.legal || (moveFlag(legal) == c.flag && moveToText(mainPosition, legal) == c.text)) << c.text;
    }
    std::string error;
    EXPECT_FALSE(run("startpos moves e2e4q", &error));
    EXPECT_TRUE(error.find("e2e4q") != std::string::npos && mainPosition.gamePly == 1)
        << error;  // the last position stands
    ASSERT_TRUE(run(enPassant));
    EXPECT_EQ(moveTo(decodeMove(mainPosition, "e5f6")), 37);  // en passant names the pawn taken
    ASSERT_TRUE(run("startpos moves e2e4 d7d5 e4e5 f7f5 e5f6"));
    EXPECT_TRUE(mainPosition.board[45] == WPAWN && mainPosition.board[37] == EMPTY);
}

TEST_F(PositionCommand, MoveTextChess960) {
    Chess960Scope on(true);
    ASSERT_TRUE(run("fen r3k2r/8/8/8/8/8/8/RK5R w AHah - 0 1"));
    for (auto [text, flag, to] : {std::tuple{"b1h1", FLAG_SHORT, 6}, {"b1a1", FLAG_LONG, 2}}) {
        Move castle = decodeMove(mainPosition, text);
        EXPECT_TRUE(moveFlag(castle) == flag && moveTo(castle) == to && moveToText(mainPosition, castle) == text)
            << text;
    }
    // A king step onto an empty c- or g-file square is an ordinary move.
    EXPECT_EQ(moveFlag(decodeMove(mainPosition, "b1c1")), FLAG_NORMAL);
    ASSERT_TRUE(run("fen r3k2r/8/8/8/8/8/8/RK5R w AHah - 0 1 moves b1a1"));
    EXPECT_TRUE(mainPosition.board[2] == WKING && mainPosition.board[3] == WROOK && mainPosition.board[0] == EMPTY);
}
}  // namespace
