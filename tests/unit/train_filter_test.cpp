// Which training positions are kept for the network: those its evaluation
// would be asked to score, by the engine's own material rule.
#include <gtest/gtest.h>

#include "data_filter.h"
#include "eval/evaluate.h"
#include "position_record.h"
#include "synthetic.h"
#include "test_position.h"

namespace {

class TrainFilter : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initRecordTables(); }
};

TrainingRecord fromFen(const std::string& fen) {
    TrainingRecord r;
    EXPECT_TRUE(recordFromFen(fen, 0, RESULT_DRAW, r)) << fen;
    return r;
}

// The record's balance is the engine's, whichever side is to move and however
// lopsided the material: checked against positions the engine sets up itself.
TEST_F(TrainFilter, BalanceMatchesTheEnginesPathChoice) {
    const char* fens[] = {
        "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
        "rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq - 0 1",       // a queen up
        "4k3/8/8/8/8/8/PPP5/4K3 w - - 0 1",                                 // three pawns
        "4k3/pp6/8/8/8/8/8/2R1K3 w - - 0 1",                                // rook against two pawns
        "r3k2r/1b3ppp/8/3N4/8/8/5PPP/R3K2R w KQkq - 0 1",
        "8/8/3k4/8/8/4K3/8/7B b - - 0 1",
    };
    for (const char* fen : fens) {
        TestPosition p(fen);
        int engine = egOf(materialBalance(*p));
        TrainingRecord r = fromFen(fen);
        EXPECT_EQ(recordBalance(r), engine) << fen;
        EXPECT_EQ(withinNetworkRange(r, 0), usesNetwork(materialBalance(*p))) << fen;
    }
}

TEST_F(TrainFilter, MarginWidensTheKeptRange) {
    TrainingRecord even = fromFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    TrainingRecord queenUp = fromFen("rnb1kbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1");
    TrainingRecord queenDown = fromFen("rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNB1KBNR w KQkq - 0 1");
    EXPECT_TRUE(withinNetworkRange(even, 0));
    EXPECT_FALSE(withinNetworkRange(queenUp, 0));
    EXPECT_FALSE(withinNetworkRange(queenDown, 100));
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
    size_t removed = keepNetworkPositions(records, 50);
    EXPECT_EQ(removed, 2000 - expected.size());
    EXPECT_TRUE(records == expected);
}

} // namespace
