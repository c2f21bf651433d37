// Shared set-up for the trainer's tests: its headers, the record tables built
// once per suite, and batches taken in the records' own order.
#pragma once
#include <cmath>
#include <cstring>
#include <numeric>
#include "eval_helpers.h"
#include "net_compare.h"
#include "position_record.h"
#include "quantise.h"
#include "synthetic.h"
#include "test_data.h"
#include "training.h"

// Suites name their fixture after themselves: using TrainData = TrainTest;
struct TrainTest : ::testing::Test {
    static void SetUpTestSuite() { initRecordTables(); }
};

// The record of a FEN that must be readable, scored 0 and drawn.
inline TrainingRecord recordOf(const std::string& fen) {
    TrainingRecord r;
    EXPECT_TRUE(recordFromFen(fen, 0, RESULT_DRAW, r)) << fen;
    return r;
}
// The file weights `net` quantises to.
inline std::unique_ptr<NnueNet> quantised(const FloatNet& net) {
    auto q = newNnueNet();
    quantiseNet(net, *q);
    return q;
}
// Trains `steps` batches of all of `data`, in the records' own order; returns the last batch's loss.
inline double trainSteps(Trainer& t, const std::vector<TrainingRecord>& data, int steps = 1) {
    std::vector<uint32_t> order(data.size());
    std::iota(order.begin(), order.end(), 0u);
    double loss = 0;
    for (int i = 0; i < steps; ++i) loss = trainBatch(t, data, order, 0, data.size());
    return loss;
}
