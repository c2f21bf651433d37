#include "board/movequery.h"
#include "search/see.h"
#include "search_support.h"

namespace {
struct SeeCase {
    const char *fen, *move;
    int threshold;
    bool expected;
};
class SeeTest : public ::testing::TestWithParam<SeeCase> {};
TEST_P(SeeTest, ExchangeReachesTheThresholdOrNot) {
    const SeeCase& c = GetParam();
    TestPosition p(c.fen);
    Move m = findLegalMove(*p, 0, c.move);
    ASSERT_NE(m, NO_MOVE) << c.move;
    EXPECT_EQ(seeTest(*p, m, c.threshold), c.expected) << c.fen << " " << c.move << " threshold " << c.threshold;
}

INSTANTIATE_TEST_SUITE_P(
    Exchanges, SeeTest,
    ::testing::Values(
        // Pawn takes an undefended knight: wins 372.
        SeeCase{"4k3/8/8/3n4/4P3/8/8/4K3 w - - 0 1", "e4d5", 372, true},
        SeeCase{"4k3/8/8/3n4/4P3/8/8/4K3 w - - 0 1", "e4d5", 373, false},
        // Rook takes a pawn defended by a pawn: 88 - 566.
        SeeCase{"4k3/8/2p5/3p4/8/8/8/3RK3 w - - 0 1", "d1d5", 0, false},
        SeeCase{"4k3/8/2p5/3p4/8/8/8/3RK3 w - - 0 1", "d1d5", -478, true},
        SeeCase{"4k3/8/2p5/3p4/8/8/8/3RK3 w - - 0 1", "d1d5", -477, false},
        // Knight takes a pawn defended by a bishop: loses 284.
        SeeCase{"4k3/8/8/3p4/2b5/4N3/8/4K3 w - - 0 1", "e3d5", 0, false},
        // Queen takes a pawn guarded only by the king, backed by a rook behind: the king may not take.
        SeeCase{"8/8/3k4/3p4/8/8/3Q4/3RK3 w - - 0 1", "d2d5", 88, true},
        // Without the rook behind, the king takes the queen.
        SeeCase{"8/8/3k4/3p4/8/8/3Q4/4K3 w - - 0 1", "d2d5", 0, false},
        // Rooks doubled on a file win the defended pawn (x-ray through the first rook).
        SeeCase{"3r2k1/8/8/3p4/8/8/3R4/3RK3 w - - 0 1", "d2d5", 0, true},
        SeeCase{"3r2k1/3r4/8/3p4/8/8/3R4/3RK3 w - - 0 1", "d2d5", 0, false},
        // Equal trade: knight for knight passes at 0, fails at 1.
        SeeCase{"4k3/8/4p3/3n4/8/4N3/8/4K3 w - - 0 1", "e3d5", 0, true},
        SeeCase{"4k3/8/4p3/3n4/8/4N3/8/4K3 w - - 0 1", "e3d5", 1, false},
        // A quiet move onto an attacked square loses the piece.
        SeeCase{"4k3/8/8/3p4/8/8/8/2B1K3 w - - 0 1", "c1e3", 0, true},
        SeeCase{"4k3/8/8/8/3p4/8/8/2B1K3 w - - 0 1", "c1e3", 0, false},
        // En passant and castling pass at thresholds up to 0 only.
        SeeCase{"4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6", 0, true},
        SeeCase{"4k3/8/8/3pP3/8/8/8/4K3 w - d6 0 1", "e5d6", 1, false},
        SeeCase{"4k3/8/8/8/8/8/8/4K2R w K - 0 1", "e1g1", 0, true},
        SeeCase{"4k3/8/8/8/8/8/8/4K2R w K - 0 1", "e1g1", 1, false}));
TEST(GivesCheck, DirectDiscoveredAndSpecialMoves) {
    for (auto [fen, move, check] : {
             std::tuple{"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "a1a8", true},
             {"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "a1a7", false},
             {"4k3/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1c1", false},
             {"3k4/8/8/8/8/8/8/R3K3 w Q - 0 1", "e1c1", true},     // the rook lands on d1
             {"4k3/8/8/8/4N3/8/8/4R1K1 w - - 0 1", "e4f6", true},  // knight check and discovered rook check
             {"4k3/8/8/8/4N3/8/8/4R1K1 w - - 0 1", "e4c3", true},  // discovered only
             {"4k3/8/8/8/4N3/8/8/5RK1 w - - 0 1", "e4c3", false},
             {"8/8/8/k1pP3R/8/8/8/4K3 w - c6 0 1", "d5c6", true},  // en passant opens the rank
             {"2k5/4P3/8/8/8/8/8/4K3 w - - 0 1", "e7e8q", true},
             {"2k5/4P3/8/8/8/8/8/4K3 w - - 0 1", "e7e8n", false},
         }) {
        TestPosition p(fen);
        Move m = findLegalMove(*p, 0, move);
        ASSERT_NE(m, NO_MOVE) << fen << " " << move;
        EXPECT_EQ(givesCheck(*p, m), check) << fen << " " << move;
    }
}

TEST(PseudoLegal, StoredMovesAreCheckedAgainstThePosition) {
    TestPosition p("r3k2r/8/8/3pP3/8/8/1P6/R3K2R w KQkq d6 0 1");
    (*p).plyStates[0].notPinned = ~0ull;
    EXPECT_TRUE(isPseudoLegal(*p, 0, findLegalMove(*p, 0, "e1g1")));
    EXPECT_TRUE(isPseudoLegal(*p, 0, findLegalMove(*p, 0, "e5d6")));
    EXPECT_TRUE(isPseudoLegal(*p, 0, findLegalMove(*p, 0, "b2b4")));
    EXPECT_TRUE(isPseudoLegal(*p, 0, makeMove(0, 3)));              // a1d1
    EXPECT_TRUE(isPseudoLegal(*p, 0, makeMove(0, 56)));             // a1xa8
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(0, 57)));            // a rook does not go a1-b8
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(9, 25)));            // b2b4 without the double-step flag
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(60, 52)));           // a black piece
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(20, 28)));           // empty from-square
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(36, 44, FLAG_EP)));  // no pawn to take there
    EXPECT_FALSE(isPseudoLegal(*p, 0, makeMove(9, 17, FLAG_PROMO_Q)));
    TestPosition blocked("r3k2r/8/8/8/8/8/8/R3KB1R w KQkq - 0 1");
    EXPECT_FALSE(isPseudoLegal(*blocked, 0, makeMove(4, 6, FLAG_SHORT)));
    EXPECT_TRUE(isPseudoLegal(*blocked, 0, makeMove(4, 2, FLAG_LONG)));
}
}  // namespace
