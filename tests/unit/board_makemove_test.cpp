#include <gtest/gtest.h>
#include <cstring>
#include <fstream>
#include <random>
#include "board_test_util.h"
#include "uci/movetext.h"

namespace {
using MakeMove = BoardTest;

struct Snapshot {
    uint8_t board[64];
    Bitboard pieces[14];
    uint64_t key, pawnKey;
    combEval material[2], psq[2];
    int phase, side, gamePly, fifty;
    explicit Snapshot(const Position& p) {
        std::memcpy(board, p.board, sizeof board);
        std::memcpy(pieces, p.pieces, sizeof pieces);
        key = p.key; pawnKey = p.pawnKey;
        material[0] = p.material[0]; material[1] = p.material[1];
        psq[0] = p.psq[0]; psq[1] = p.psq[1];
        phase = p.phase; side = p.sideToMove; gamePly = p.gamePly; fifty = p.fiftyMove;
    }
    bool operator==(const Snapshot& o) const {
        return !std::memcmp(board, o.board, sizeof board) && !std::memcmp(pieces, o.pieces, sizeof pieces) && key == o.key &&
               pawnKey == o.pawnKey && material[0] == o.material[0] && material[1] == o.material[1] && psq[0] == o.psq[0] &&
               psq[1] == o.psq[1] && phase == o.phase && side == o.side && gamePly == o.gamePly && fifty == o.fifty;
    }
};

// Random games from book positions, standard and Chess960: every make keeps the
// incremental state equal to a recomputation, and every unmake restores it exactly.
void playRandomLines(const std::string& book, bool frc, int positions) {
    Chess960Scope mode(frc);
    std::ifstream in(testDataPath(book));
    ASSERT_TRUE(in);
    std::mt19937 rng(frc ? 5 : 3);
    TestPosition t;
    std::string line;
    int done = 0;
    while (done < positions && std::getline(in, line)) {
        ASSERT_TRUE(t.set(line.substr(0, line.find(';')))) << line;
        Position& p = *t;
        std::vector<Move> played;
        std::vector<Snapshot> before;
        for (int ply = 0; ply < 60; ++ply) {
            auto moves = legalMoves(p, ply);
            if (moves.empty()) break;
            Move m = moves[rng() % moves.size()];
            before.emplace_back(p);
            makeMove(p, ply, m);
            played.push_back(m);
            std::string why;
            ASSERT_TRUE(positionIsConsistent(p, ply + 1, &why)) << why << " after " << moveToText(p, m);
            ASSERT_EQ(p.plyStates[ply + 1].inCheck, sideInCheck(p, p.sideToMove));
            ASSERT_EQ(p.keyHistory[p.gamePly - 1], p.key);
        }
        for (int ply = int(played.size()) - 1; ply >= 0; --ply) {
            unmakeMove(p, ply, played[ply]);
            ASSERT_TRUE(Snapshot(p) == before[ply]) << "unmake at ply " << ply;
        }
        ++done;
    }
}

TEST_F(MakeMove, RandomLinesStayConsistent) { playRandomLines("books/UHO_4060_v3.epd", false, 150); }
TEST_F(MakeMove, RandomChess960LinesStayConsistent) { playRandomLines("books/FRC_openings.epd", true, 150); }
TEST_F(MakeMove, CapturingARookOnItsSquareRemovesTheRight) {
    TestPosition t("r3k2r/8/8/8/8/8/6B1/R3K2R w KQkq - 0 1");
    Position& p = *t;
    uint64_t keyBefore = p.key;
    Move m = findLegalMove(p, 0, "g2a8");
    ASSERT_NE(m, NO_MOVE);
    makeMove(p, 0, m);
    EXPECT_EQ(p.plyStates[1].castling, WHITE_SHORT | WHITE_LONG | BLACK_SHORT);
    // The key changes by the moved bishop, the taken rook, the side and the two castling masks.
    uint64_t expected = keyBefore ^ pieceKeys[WBISHOP][sq("g2")] ^ pieceKeys[WBISHOP][sq("a8")] ^
                        pieceKeys[BROOK][sq("a8")] ^ sideKey ^ castlingKeys[15] ^ castlingKeys[7];
    EXPECT_EQ(p.key, expected);
}

TEST_F(MakeMove, DoubleStepAlwaysCarriesTheEnPassantKey) {
    TestPosition t(START_FEN);
    Position& p = *t;
    uint64_t before = p.key;
    Move m = findLegalMove(p, 0, "a2a4");
    makeMove(p, 0, m);
    EXPECT_EQ(p.plyStates[1].epSquare, sq("a4"));
    EXPECT_EQ(p.key, before ^ pieceKeys[WPAWN][sq("a2")] ^ pieceKeys[WPAWN][sq("a4")] ^ sideKey ^ epKeys[0]);
    EXPECT_EQ(p.fiftyMove, 0);
}

TEST_F(MakeMove, ChangedPieceLists) {
    TestPosition t("1n2k3/P7/8/8/8/8/8/R3K2R w KQ - 3 1");
    Position& p = *t;
    Move promo = findLegalMove(p, 0, "a7b8q");
    ASSERT_NE(promo, NO_MOVE);
    makeMove(p, 0, promo);
    const DirtyPiece& d = p.dirty[1];
    ASSERT_EQ(d.count, 3);
    EXPECT_EQ(d.piece[0], WPAWN); EXPECT_EQ(d.from[0], sq("a7")); EXPECT_EQ(d.to[0], OFF_BOARD);
    EXPECT_EQ(d.piece[1], WQUEEN); EXPECT_EQ(d.from[1], OFF_BOARD); EXPECT_EQ(d.to[1], sq("b8"));
    EXPECT_EQ(d.piece[2], BKNIGHT); EXPECT_EQ(d.from[2], sq("b8")); EXPECT_EQ(d.to[2], OFF_BOARD);
    EXPECT_EQ(p.acc[1].computed, 0);
    EXPECT_EQ(p.phase, 8);  // two rooks and the new queen; the knight is gone
    unmakeMove(p, 0, promo);
    Move castle = findLegalMove(p, 0, "e1g1");
    ASSERT_EQ(moveFlag(castle), FLAG_SHORT);
    makeMove(p, 0, castle);
    const DirtyPiece& c = p.dirty[1];
    ASSERT_EQ(c.count, 2);
    EXPECT_EQ(c.piece[0], WKING); EXPECT_EQ(c.from[0], sq("e1")); EXPECT_EQ(c.to[0], sq("g1"));
    EXPECT_EQ(c.piece[1], WROOK); EXPECT_EQ(c.from[1], sq("h1")); EXPECT_EQ(c.to[1], sq("f1"));
    EXPECT_EQ(p.plyStates[1].captured, 0);
    EXPECT_EQ(p.fiftyMove, 4);
    EXPECT_EQ(p.plyStates[1].castling, 0);
}

TEST_F(MakeMove, NullMoveFlipsSideAndKey) {
    TestPosition t("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
    Position& p = *t;
    Snapshot before(p);
    makeNullMove(p, 0);
    EXPECT_EQ(p.sideToMove, WHITE);
    EXPECT_EQ(p.key, before.key ^ sideKey ^ epKeys[4]);
    EXPECT_EQ(p.plyStates[1].epSquare, 0);
    EXPECT_EQ(p.dirty[1].count, 0);
    unmakeNullMove(p, 0);
    EXPECT_TRUE(Snapshot(p) == before);
}
} // namespace
