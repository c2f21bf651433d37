#include <gtest/gtest.h>

#include <algorithm>

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

// White king e1 (4), black pawn d5 (35), black king e8 (60).
TEST_F(TrainFeatures, HandCheckedIndices) {
    EXPECT_EQ(featureIndex(WHITE, 4, BPAWN, 35), (4 * 12 + 1) * 64 + 35);   // 3171: enemy pawn
    EXPECT_EQ(featureIndex(WHITE, 4, WKING, 4), (4 * 12 + 10) * 64 + 4);    // 3716: own king
    EXPECT_EQ(featureIndex(WHITE, 4, BKING, 60), (4 * 12 + 11) * 64 + 60);  // 3836
    // Black's view: squares mirrored, own king e8 becomes e1, the pawn is Black's own.
    EXPECT_EQ(featureIndex(BLACK, 60, BPAWN, 35), (4 * 12 + 0) * 64 + 27);  // 3099
    EXPECT_EQ(featureIndex(BLACK, 60, WKING, 4), (4 * 12 + 11) * 64 + 60);  // 3836
    EXPECT_EQ(featureIndex(BLACK, 60, BKING, 60), (4 * 12 + 10) * 64 + 4);  // 3716
    // Extremes of the range.
    EXPECT_EQ(featureIndex(WHITE, 0, WPAWN, 0), 0);
    EXPECT_EQ(featureIndex(WHITE, 63, BKING, 63), 49151);
    EXPECT_EQ(featureIndex(WHITE, 10, WQUEEN, 20), (10 * 12 + 8) * 64 + 20);
    EXPECT_EQ(featureIndex(BLACK, 10, WQUEEN, 20), ((10 ^ 56) * 12 + 9) * 64 + (20 ^ 56));
}

TEST_F(TrainFeatures, SideToMoveComesFirst) {
    PositionFeatures white = of("4k3/8/8/3p4/8/8/8/4K3 w - - 0 1");
    ASSERT_EQ(white.count, 3);
    EXPECT_EQ(sorted(white, 0), (std::vector<int>{3171, 3716, 3836}));
    EXPECT_EQ(sorted(white, 1), (std::vector<int>{3099, 3716, 3836}));
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

TEST_F(TrainFeatures, PawnsAndPhaseForTheOutputScale) {
    PositionFeatures start = of("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    EXPECT_EQ(start.count, 32);
    EXPECT_EQ(start.pawns, 16);
    EXPECT_EQ(start.phase, 24);
    EXPECT_EQ(networkOutputScale(start.pawns, start.phase), 1400);
    // Promoted queens push the counter past 24: clamped.
    PositionFeatures queens = of("qqqqk3/8/8/8/8/8/8/QQQQK3 w - - 0 1");
    EXPECT_EQ(queens.phase, 24);
    EXPECT_EQ(queens.pawns, 0);
    PositionFeatures bare = of("4k3/8/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(bare.phase, 0);
    EXPECT_EQ(networkOutputScale(0, 0), 880);
    // Truncation toward zero on both sides.
    EXPECT_EQ(scoreFromRaw(1000, 16, 24), 56);    // 1,400,000 / 24576 = 56.97
    EXPECT_EQ(scoreFromRaw(-1000, 16, 24), -56);
}

} // namespace
