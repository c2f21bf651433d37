#include "board_test_util.h"

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
}  // namespace
