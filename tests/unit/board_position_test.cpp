#include <array>
#include <sstream>
#include <tuple>
#include "board/draw.h"
#include "board_test_util.h"
#include "uci/movetext.h"

namespace {
using Fen = BoardTest;

// The castling rooks' squares: white short, white long, black short, black long.
std::vector<int> rooks(const Position& p) {
    return {p.castlingRook[CR_WHITE_SHORT], p.castlingRook[CR_WHITE_LONG], p.castlingRook[CR_BLACK_SHORT],
            p.castlingRook[CR_BLACK_LONG]};
}

TEST_F(Fen, StartPosition) {
    TestPosition p(START_FEN);
    EXPECT_EQ(p->plyStates[0].castling, 15);
    EXPECT_EQ(rooks(*p), (std::vector<int>{7, 0, 63, 56}));
    EXPECT_TRUE(p->sideToMove == WHITE && p->gamePly == 1 && p->keyHistory[0] == p->key && p->phase == 24);
    EXPECT_TRUE(p->material[WHITE] == p->material[BLACK] && p->board[4] == WKING && p->board[59] == BQUEEN);
    EXPECT_TRUE(popcount(occupancy(*p)) == 32 && !p->plyStates[0].inCheck);
    EXPECT_EQ(getFen(*p), START_FEN);
}

// What the reader fills in, clamps or drops shows in the FEN written back (nullptr: the same text); the en-passant
// field names the pawn that can be taken.
TEST_F(Fen, ReaderPadsClampsAndDrops) {
    for (auto [in, out, epSquare] : {
             std::tuple{"4k3/8/8/8/8/8/8/4K3 w", "4k3/8/8/8/8/8/8/4K3 w - - 0 1", 0},  // missing fields
             {"4k3/8/8/8/8/8/8/4K3 w - - 0 0", "4k3/8/8/8/8/8/8/4K3 w - - 0 1", 0},
             {"rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1", nullptr, 28},
             {"rnbqkbnr/ppp1pppp/8/3pP3/8/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 3", nullptr, 35},
             {"4k3/8/8/8/8/8/8/4K3 b - e3 0 1", "4k3/8/8/8/8/8/8/4K3 b - - 0 1", 0},  // no double step explains e3
             {"r3k3/8/8/8/8/8/8/4K2R w KQkq - 0 1", "r3k3/8/8/8/8/8/8/4K2R w Kq - 0 1",
              0},  // rights without their rook
             {"4k3/8/8/8/8/8/8/3K3R w K - 0 1", "4k3/8/8/8/8/8/8/3K3R w - - 0 1",
              0},  // outside Chess960 the king is on e1
         }) {
        TestPosition t(in);
        EXPECT_TRUE(getFen(*t) == (out ? out : in) && t->plyStates[0].epSquare == epSquare) << in;
    }
    TestPosition t("4k3/8/8/8/8/8/8/4K3 b - - 7 300");
    EXPECT_TRUE(t->gamePly == 513 && t->fiftyMove == 7);  // clamped to 512, then the key is stored
}

TEST_F(Fen, Chess960CastlingLetters) {
    Chess960Scope on(true);
    TestPosition t("r3k2r/8/8/8/8/8/8/R3K2R w HAha - 0 1");
    EXPECT_EQ(t->plyStates[0].castling, 15);
    EXPECT_EQ(rooks(*t), (std::vector<int>{7, 0, 63, 56}));
    TestPosition x("1r2k1rr/8/8/8/8/8/8/RR2K1R1 w KQkq - 0 1");
    EXPECT_EQ(rooks(*x), (std::vector<int>{6, 0, 63, 57}));  // X-FEN letters take the outermost rooks
    // An inner rook named by its file.
    TestPosition inner("1r2k1rr/8/8/8/8/8/8/RR2K1R1 w Bg - 0 1");
    EXPECT_EQ(inner->plyStates[0].castling, WHITE_LONG | BLACK_SHORT);
    EXPECT_TRUE(inner->castlingRook[CR_WHITE_LONG] == 1 && inner->castlingRook[CR_BLACK_SHORT] == 62);
}

TEST_F(Fen, MalformedTextIsRefusedWithAReason) {
    const char* bad[] = {
        "",
        "4k3/8/8/8/8/8/8/4K3",                         // empty, no side to move
        "8/8/8/8/8/8/8/8 w - - 0 1",                   // no kings
        "4k3/8/8/8/8/8/8/4KK2 w - - 0 1",              // two white kings
        "4k3/8/8/8/8/8/8/9 w - - 0 1",                 // rank digit 9
        "4k3/8/8/8/8/8/8/4K4 w - - 0 1",               // nine squares in a rank
        "4k3/8/8/8/8/8/4K3 w - - 0 1",                 // seven ranks
        "4k3/8/8/8/8/8/8/4K2 w - - 0 1",               // seven squares in a rank
        "4k3/8/8/8/8/8/8/4KX2 w - - 0 1",              // unknown piece letter
        "4k2P/8/8/8/8/8/8/4K3 w - - 0 1",              // pawn on the last rank
        "4k3/8/8/8/8/8/8/4K3 x - - 0 1",               // side to move
        "4k3/4R3/8/8/8/8/8/4K3 w - - 0 1",             // side not to move in check
        "4k3/8/8/8/8/8/8/4K3 w - z9 0 1",              // en-passant text
        "4k3/8/8/8/8/8/8/4K3 w X - 0 1",               // castling letter
        "4k3/8/8/8/8/8/8/4K3 w - - abc 1",             // clock
        "4k3/8/8/8/8/8/8/4K3 w - - 0 -1",              // move number
        "QQQQQQQQ/QQQQQQQQ/8/8/8/8/8/4K2k w - - 0 1",  // more queens than promotions allow
    };
    for (const char* fen : bad) {
        TestPosition t;
        std::string error;
        EXPECT_FALSE(t.set(fen, &error)) << fen;
        EXPECT_FALSE(error.empty()) << fen;
    }
}

TEST_F(Fen, BookPositionsRoundTrip) {
    std::vector<std::string> fens = bookFens("books/UHO_4060_v3.epd", 300);
    ASSERT_EQ(fens.size(), 300u);
    TestPosition t;
    for (const std::string& fen : fens) {
        ASSERT_TRUE(t.set(fen)) << fen;
        std::string again = getFen(*t);
        TestPosition u(again);
        EXPECT_EQ(u->key, t->key) << fen;
        EXPECT_EQ(getFen(*u), again);
        EXPECT_TRUE(positionIsConsistent(*t, 0));
    }
}

TEST_F(Fen, KeysSeparateSideCastlingAndEnPassant) {
    TestPosition a("4k3/8/8/8/8/8/8/4K2R w K - 0 1"), b("4k3/8/8/8/8/8/8/4K2R b K - 0 1"),
        c("4k3/8/8/8/8/8/8/4K2R w - - 0 1");
    EXPECT_NE(a->key, b->key);
    EXPECT_NE(a->key, c->key);
    EXPECT_EQ(a->pawnKey, c->pawnKey);
    TestPosition d("4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1"), e("4k3/8/8/3pP3/8/8/8/4K3 w - - 0 1");
    EXPECT_NE(d->key, e->key);
}

TEST_F(Fen, BoardPicture) {
    std::string line = "+---+---+---+---+---+---+---+---+\n";
    std::string empty = "|   |   |   |   |   |   |   |   |\n";
    std::string expected = line + "|   |   |   |   | k |   |   |   |\n" + line;
    for (int i = 0; i < 6; ++i) expected += empty + line;
    expected += "| R |   |   |   | K |   |   |   |\n" + line;
    EXPECT_EQ(boardPicture(*TestPosition("4k3/8/8/8/8/8/8/R3K3 w Q - 0 1")), expected);
}

using MakeMove = BoardTest;

// What make and unmake change, as one comparable value.
auto snapshot(const Position& p) {
    return std::tuple(std::vector<uint8_t>(p.board, p.board + 64), std::vector<Bitboard>(p.pieces, p.pieces + 14),
                      p.key, p.pawnKey, p.material[0], p.material[1], p.psq[0], p.psq[1], p.phase, p.sideToMove,
                      p.gamePly, p.fiftyMove);
}
// The pieces a move changed: piece, from, to.
std::vector<std::array<int, 3>> changes(const DirtyPiece& d) {
    std::vector<std::array<int, 3>> out;
    for (int i = 0; i < d.count; ++i) out.push_back({d.piece[i], d.from[i], d.to[i]});
    return out;
}

// Random games from book positions, standard and Chess960: every make keeps the
// incremental state equal to a recomputation, and every unmake restores it exactly.
void playRandomLines(const std::string& book, bool frc, int positions) {
    Chess960Scope mode(frc);
    std::vector<std::string> fens = bookFens(book, positions);
    ASSERT_EQ(fens.size(), size_t(positions));
    std::mt19937 rng(frc ? 5 : 3);
    TestPosition t;
    for (const std::string& fen : fens) {
        ASSERT_TRUE(t.set(fen)) << fen;
        Position& p = *t;
        std::vector<Move> played;
        std::vector<decltype(snapshot(p))> before;
        for (int ply = 0; ply < 60; ++ply) {
            auto moves = legalMoves(p, ply);
            if (moves.empty()) break;
            Move m = moves[rng() % moves.size()];
            before.push_back(snapshot(p));
            makeMove(p, ply, m);
            played.push_back(m);
            std::string why;
            ASSERT_TRUE(positionIsConsistent(p, ply + 1, &why)) << why << " after " << moveToText(p, m);
            ASSERT_EQ(p.plyStates[ply + 1].inCheck, sideInCheck(p, p.sideToMove));
            ASSERT_EQ(p.keyHistory[p.gamePly - 1], p.key);
        }
        for (int ply = int(played.size()) - 1; ply >= 0; --ply) {
            unmakeMove(p, ply, played[ply]);
            ASSERT_TRUE(snapshot(p) == before[ply]) << "unmake at ply " << ply;
        }
    }
}

TEST_F(MakeMove, RandomLinesStayConsistent) { playRandomLines("books/UHO_4060_v3.epd", false, 150); }
TEST_F(MakeMove, RandomChess960LinesStayConsistent) { playRandomLines("books/FRC_openings.epd", true, 150); }
TEST_F(MakeMove, CapturingARookOnItsSquareRemovesTheRight) {
    TestPosition p("r3k2r/8/8/8/8/8/6B1/R3K2R w KQkq - 0 1");
    uint64_t keyBefore = p->key;
    Move m = findLegalMove(*p, 0, "g2a8");
    ASSERT_NE(m, NO_MOVE);
    makeMove(*p, 0, m);
    EXPECT_EQ(p->plyStates[1].castling, WHITE_SHORT | WHITE_LONG | BLACK_SHORT);
    // The key changes by the moved bishop, the taken rook, the side and the two castling masks.
    uint64_t expected = keyBefore ^ pieceKeys[WBISHOP][sq("g2")] ^ pieceKeys[WBISHOP][sq("a8")]
                        ^ pieceKeys[BROOK][sq("a8")] ^ sideKey ^ castlingKeys[15] ^ castlingKeys[7];
    EXPECT_EQ(p->key, expected);
}

TEST_F(MakeMove, DoubleStepAlwaysCarriesTheEnPassantKey) {
    TestPosition p(START_FEN);
    uint64_t before = p->key;
    makeMove(*p, 0, findLegalMove(*p, 0, "a2a4"));
    EXPECT_EQ(p->plyStates[1].epSquare, sq("a4"));
    EXPECT_EQ(p->key, before ^ pieceKeys[WPAWN][sq("a2")] ^ pieceKeys[WPAWN][sq("a4")] ^ sideKey ^ epKeys[0]);
    EXPECT_EQ(p->fiftyMove, 0);
}

TEST_F(MakeMove, ChangedPieceLists) {
    TestPosition p("1n2k3/P7/8/8/8/8/8/R3K2R w KQ - 3 1");
    Move promo = findLegalMove(*p, 0, "a7b8q");
    ASSERT_NE(promo, NO_MOVE);
    makeMove(*p, 0, promo);
    EXPECT_EQ(changes(p->dirty[1]),
              (std::vector<std::array<int, 3>>{
                  {WPAWN, sq("a7"), OFF_BOARD}, {WQUEEN, OFF_BOARD, sq("b8")}, {BKNIGHT, sq("b8"), OFF_BOARD}}));
    EXPECT_EQ(p->acc[1].computed, 0);
    EXPECT_EQ(p->phase, 8);  // two rooks and the new queen; the knight is gone
    unmakeMove(*p, 0, promo);
    Move castle = findLegalMove(*p, 0, "e1g1");
    ASSERT_EQ(moveFlag(castle), FLAG_SHORT);
    makeMove(*p, 0, castle);
    EXPECT_EQ(changes(p->dirty[1]),
              (std::vector<std::array<int, 3>>{{WKING, sq("e1"), sq("g1")}, {WROOK, sq("h1"), sq("f1")}}));
    EXPECT_EQ(p->plyStates[1].captured, 0);
    EXPECT_EQ(p->fiftyMove, 4);
    EXPECT_EQ(p->plyStates[1].castling, 0);
}

TEST_F(MakeMove, NullMoveFlipsSideAndKey) {
    TestPosition p("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1");
    auto before = snapshot(*p);
    uint64_t key = p->key;
    makeNullMove(*p, 0);
    EXPECT_EQ(p->sideToMove, WHITE);
    EXPECT_EQ(p->key, key ^ sideKey ^ epKeys[4]);
    EXPECT_EQ(p->plyStates[1].epSquare, 0);
    EXPECT_EQ(p->dirty[1].count, 0);
    unmakeNullMove(*p, 0);
    EXPECT_TRUE(snapshot(*p) == before);
}

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
