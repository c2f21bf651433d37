#include <gtest/gtest.h>
#include "board/perft.h"
#include "board_test_util.h"

namespace {
class Perft : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initBoardTables(); }
};

// Tricky positions with counts from an independent generator, deeper than the kept file goes.
TEST_F(Perft, PromotionsPinsAndCastlingEdgeCases) {
    struct Case {
        const char* fen;
        int depth;
        uint64_t nodes;
        bool frc;
    };
    const Case cases[] = {
        {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", 5, 4865609, false},
        {"r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1", 4, 4085603, false},
        {"8/8/1k6/2b5/2pP4/8/5K2/8 b - d3 0 1", 6, 1440467, false},
        {"8/5bk1/8/2Pp4/8/1K6/8/8 w - d6 0 1", 6, 824064, false},
        {"K1k5/8/P7/8/8/8/8/8 w - - 0 1", 6, 2217, false},
        {"8/P1k5/K7/8/8/8/8/8 w - - 0 1", 6, 92683, false},
        {"r3k2r/1b4bq/8/8/8/8/7B/R3K2R w KQkq - 0 1", 4, 1274206, false},
        // A pawn pinned on the long diagonal takes its pinner while promoting.
        {"r1b2b2/1p5n/2kqp1rp/p7/1PnP2pP/8/PB1Q1PpN/RN2R1KB b - - 1 24", 3, 66571, false},
        {"nqnbrk2/1pp1p3/5ppr/p1P4p/P2p1P2/1b4P1/3PP1KP/NQNB1RBR w e - 0 10", 5, 23987105, true},
    };
    for (const Case& c : cases) {
        Chess960Scope mode(c.frc);
        TestPosition t(c.fen);
        EXPECT_EQ(perft(0, c.depth, *t), c.nodes) << c.fen;
    }
}
}  // namespace
