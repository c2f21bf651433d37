#include <gtest/gtest.h>

#include <algorithm>

#include "eval/nnue.h"
#include "eval_helpers.h"
#include "nnue_features.h"
#include "position_record.h"

namespace {

class TrainFeatures : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initRecordTables(); }
    static PositionFeatures of(const std::string& fen) {
        TrainingRecord r;
        EXPECT_TRUE(recordFromFen(fen, 0, RESULT_DRAW, r));
        return extractFeatures(r);
    }
    static std::vector<int> sorted(const PositionFeatures& f, int side) {
        std::vector<int> v(f.index[side], f.index[side] + f.count);
        std::sort(v.begin(), v.end());
        return v;
    }
};

// Each perspective sees the board from its own side: the two lists swap with
// the side to move, and differ from each other.
TEST_F(TrainFeatures, SideToMoveComesFirst) {
    PositionFeatures white = of("4k3/8/8/3p4/8/8/8/4K3 w - - 0 1");
    ASSERT_EQ(white.count, 3);
    EXPECT_NE(sorted(white, 0), sorted(white, 1));
    for (int side = 0; side < 2; ++side)
        for (int n = 0; n < white.count; ++n) EXPECT_LT(white.index[side][n], NNUE_FEATURES);
    PositionFeatures black = of("4k3/8/8/3p4/8/8/8/4K3 b - - 0 1");
    EXPECT_EQ(sorted(black, 0), sorted(white, 1));
    EXPECT_EQ(sorted(black, 1), sorted(white, 0));
}

TEST_F(TrainFeatures, ColourMirrorGivesTheSameInput) {
    PositionFeatures a = of("r3k2r/pp1n1ppp/2p1b3/q7/3P4/2N2N2/PP2QPPP/R3K2R w KQkq - 0 1");
    PositionFeatures b = of("r3k2r/pp2qppp/2n2n2/3p4/Q7/2P1B3/PP1N1PPP/R3K2R b KQkq - 0 1");
    EXPECT_EQ(sorted(a, 0), sorted(b, 0));
    EXPECT_EQ(sorted(a, 1), sorted(b, 1));
}

// Reflecting a record left to right must give exactly the input of the reflected
// position, kings included, for both perspectives.
TEST_F(TrainFeatures, MirroredRecordIsTheReflectedPosition) {
    const std::pair<const char*, const char*> pairs[] = {
        {"r3k2r/pp1n1ppp/2p1b3/q7/3P4/2N2N2/PP2QPPP/R3K2R w - - 0 1",
         "r2k3r/ppp1n1pp/3b1p2/7q/4P3/2N2N2/PPPQ2PP/R2K3R w - - 0 1"},
        {"8/8/8/8/8/2k5/8/K6q w - - 0 1", "8/8/8/8/8/5k2/8/q6K w - - 0 1"},
    };
    for (auto [fen, reflected] : pairs) {
        TrainingRecord r;
        ASSERT_TRUE(recordFromFen(fen, 0, RESULT_DRAW, r));
        PositionFeatures mirrored = extractFeatures(r, true), expected = of(reflected), plain = of(fen);
        ASSERT_EQ(mirrored.count, expected.count);
        EXPECT_EQ(mirrored.pawns, expected.pawns);
        EXPECT_EQ(mirrored.phase, expected.phase);
        for (int side = 0; side < 2; ++side) {
            EXPECT_EQ(sorted(mirrored, side), sorted(expected, side)) << fen;
            EXPECT_NE(sorted(mirrored, side), sorted(plain, side)) << fen;
        }
    }
}

// The pawns and phase a record gives scale a raw output to the engine's own
// centipawns, positions with promoted pieces (phase clamped) included.
TEST_F(TrainFeatures, OutputScaleAgreesWithTheEngine) {
    useRandomNet(31);
    for (const char* fen : {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", "qqqqk3/8/8/8/8/8/8/QQQQK3 w - - 0 1",
                            "4k3/8/8/8/8/8/8/4K3 w - - 0 1", "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 b - - 0 1"}) {
        PositionFeatures f = of(fen);
        EXPECT_GE(f.phase, 0);
        EXPECT_LE(f.phase, 24);
        TestPosition p(fen);
        EXPECT_EQ(scoreFromRaw(nnueEvaluate(*p, 0), f.pawns, f.phase), networkScore(*p, 0)) << fen;
    }
    EXPECT_EQ(of("4k3/8/8/8/8/8/8/4K3 w - - 0 1").phase, 0);
    EXPECT_EQ(scoreFromRaw(-1000, 16, 24), -scoreFromRaw(1000, 16, 24)) << "truncated toward zero";
}

} // namespace
