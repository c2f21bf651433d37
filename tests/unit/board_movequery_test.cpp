#include "board/movequery.h"
#include "search_support.h"

namespace {

TEST(GivesCheck, DirectDiscoveredAndSpecialMoves) {
    struct Case { const char* fen; const char* move; bool check; };
    const Case cases[] = {
        {"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "a1a8", true},
        {"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "a1a7", false},
        {"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1c1", false},
        {"3k4/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1c1", true},      // the rook lands on d1
        {"4k3/8/8/8/4N3/8/8/4R1K1 w - - 0 1", "e4f6", true},   // knight check and discovered rook check
        {"4k3/8/8/8/4N3/8/8/4R1K1 w - - 0 1", "e4c3", true},   // discovered only
        {"4k3/8/8/8/4N3/8/8/5RK1 w - - 0 1", "e4c3", false},
        {"8/8/8/k1pP3R/8/8/8/4K3 w - c6 0 1", "d5c6", true},   // en passant opens the rank
        {"2k5/4P3/8/8/8/8/8/4K3 w - - 0 1", "e7e8q", true},
        {"2k5/4P3/8/8/8/8/8/4K3 w - - 0 1", "e7e8n", false},
    };
    for (const Case& c : cases) {
        TestPosition p(c.fen);
        Move m = moveFromText(*p, c.move);
        ASSERT_NE(m, NO_MOVE) << c.fen << " " << c.move;
        EXPECT_EQ(givesCheck(*p, m), c.check) << c.fen << " " << c.move;
    }
}

TEST(PseudoLegal, StoredMovesAreCheckedAgainstThePosition) {
    TestPosition p("r3k2r/8/8/3pP3/8/8/1P6/R3K2R w KQkq d6 0 1");
    (*p).plyStates[0].notPinned = ~0ull;
    EXPECT_TRUE(isPseudoLegal(*p, 0, moveFromText(*p, "e1g1")));
    EXPECT_TRUE(isPseudoLegal(*p, 0, moveFromText(*p, "e5d6")));
    EXPECT_TRUE(isPseudoLegal(*p, 0, moveFromText(*p, "b2b4")));
    EXPECT_TRUE(isPseudoLegal(*p, 0, makeMove(0, 3)));               // a1d1
    EXPECT_TRUE(isPseudoLegal(*p, 0, makeMove(0, 56)));              // a1xa8
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(0, 57)));             // a rook does not go a1-b8
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(9, 25)));             // b2b4 without the double-step flag
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(60, 52)));            // a black piece
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(20, 28)));            // empty from-square
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(36, 44, FLAG_EP)));   // no pawn to take there
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(9, 17, FLAG_PROMO_Q)));
    TestPosition blocked("r3k2r/8/8/8/8/8/8/R3KB1R w KQkq - 0 1");
    EXPECT_FALSE(isPseudoLegal(*blocked, 0, makeMove(4, 6, FLAG_SHORT)));
    EXPECT_TRUE(isPseudoLegal(*blocked, 0, makeMove(4, 2, FLAG_LONG)));
}

} // namespace
