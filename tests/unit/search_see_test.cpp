#include "search/see.h"
#include "search_support.h"

namespace {

struct SeeCase {
    const char* fen;
    const char* move;
    int threshold;
    bool expected;
};

class SeeTest : public ::testing::TestWithParam<SeeCase> {};

TEST_P(SeeTest, ExchangeReachesTheThresholdOrNot) {
    const SeeCase& c = GetParam();
    TestPosition p(c.fen);
    Move m = moveFromText(*p, c.move);
    ASSERT_NE(m, NO_MOVE) << c.move;
    EXPECT_EQ(seeTest(*p, m, c.threshold), c.expected) << c.fen << " " << c.move << " threshold " << c.threshold;
}

INSTANTIATE_TEST_SUITE_P(Exchanges, SeeTest, ::testing::Values(
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

} // namespace
