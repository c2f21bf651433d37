#include <algorithm>
#include "data_filter.h"
#include "train_support.h"

namespace {
struct TrainFeatures : TrainTest {
    static PositionFeatures of(const std::string& fen) { return extractFeatures(recordOf(fen)); }
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
    EXPECT_TRUE(sorted(black, 0) == sorted(white, 1) && sorted(black, 1) == sorted(white, 0));
}

TEST_F(TrainFeatures, ColourMirrorGivesTheSameInput) {
    PositionFeatures a = of("r3k2r/pp1n1ppp/2p1b3/q7/3P4/2N2N2/PP2QPPP/R3K2R w KQkq - 0 1");
    PositionFeatures b = of("r3k2r/pp2qppp/2n2n2/3p4/Q7/2P1B3/PP1N1PPP/R3K2R b KQkq - 0 1");
    EXPECT_TRUE(sorted(a, 0) == sorted(b, 0) && sorted(a, 1) == sorted(b, 1));
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
        PositionFeatures mirrored = extractFeatures(recordOf(fen), true), expected = of(reflected), plain = of(fen);
        ASSERT_EQ(mirrored.count, expected.count);
        EXPECT_TRUE(mirrored.pawns == expected.pawns && mirrored.phase == expected.phase) << fen;
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
    for (const char* fen :
         {"rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1", "qqqqk3/8/8/8/8/8/8/QQQQK3 w - - 0 1",
          "4k3/8/8/8/8/8/8/4K3 w - - 0 1", "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 b - - 0 1"}) {
        PositionFeatures f = of(fen);
        EXPECT_TRUE(f.phase >= 0 && f.phase <= 24) << fen;
        TestPosition p(fen);
        EXPECT_EQ(scoreFromRaw(nnueEvaluate(*p, 0), f.pawns, f.phase), networkScore(*p, 0)) << fen;
    }
    EXPECT_EQ(of("4k3/8/8/8/8/8/8/4K3 w - - 0 1").phase, 0);
    EXPECT_EQ(scoreFromRaw(-1000, 16, 24), -scoreFromRaw(1000, 16, 24)) << "truncated toward zero";
}

// Which training positions are kept for the network: those its evaluation would be asked to score.
using TrainFilter = TrainTest;

// The record's balance is the engine's, whichever side is to move and however
// lopsided the material: checked against positions the engine sets up itself.
TEST_F(TrainFilter, BalanceMatchesTheEnginesPathChoice) {
    const char* fens[] = {
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1",  // a queen up
        "4k3/8/8/8/8/8/PPP5/4K3 w - - 0 1",                          // three pawns
        "4k3/pp6/8/8/8/8/8/2R1K3 w - - 0 1",                         // rook against two pawns
        "r3k2r/1b3ppp/8/3N4/8/8/5PPP/R3K2R w KQkq - 0 1",
        "8/8/3k4/8/8/4K3/8/7B b - - 0 1",
    };
    for (const char* fen : fens) {
        TestPosition p(fen);
        TrainingRecord r = recordOf(fen);
        EXPECT_EQ(recordBalance(r), egOf(materialBalance(*p))) << fen;
        EXPECT_EQ(withinNetworkRange(r, 0), usesNetwork(materialBalance(*p))) << fen;
    }
}

TEST_F(TrainFilter, MarginWidensTheKeptRange) {
    TrainingRecord even = recordOf("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    TrainingRecord queenUp = recordOf("rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    TrainingRecord queenDown = recordOf("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNB1KBNR w KQkq - 0 1");
    EXPECT_TRUE(withinNetworkRange(even, 0) && !withinNetworkRange(queenUp, 0) && !withinNetworkRange(queenDown, 100));
    EXPECT_TRUE(withinNetworkRange(queenDown, -1));  // a negative margin keeps everything
    // Just past the threshold: out without a margin, in with one that covers it.
    int edge = std::abs(recordBalance(queenUp));
    ASSERT_GT(edge, NETWORK_THRESHOLD);
    EXPECT_FALSE(withinNetworkRange(queenUp, edge - NETWORK_THRESHOLD));
    EXPECT_TRUE(withinNetworkRange(queenUp, edge - NETWORK_THRESHOLD + 1));
}

TEST_F(TrainFilter, KeepsOrderAndCountsWhatWent) {
    std::vector<TrainingRecord> records = syntheticRecords(2000, 9);
    std::vector<TrainingRecord> expected;
    for (const TrainingRecord& r : records)
        if (withinNetworkRange(r, 50)) expected.push_back(r);
    ASSERT_GT(expected.size(), 0u);
    ASSERT_LT(expected.size(), records.size());  // the synthetic set has lopsided positions too
    EXPECT_EQ(keepNetworkPositions(records, 50), 2000 - expected.size());
    EXPECT_TRUE(records == expected);
}
}  // namespace
