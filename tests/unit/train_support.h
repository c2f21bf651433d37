// Shared set-up for the trainer's tests: its headers, the record tables built
// once per suite, and batches taken in the records' own order.
#pragma once
#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <numeric>
#include <vector>
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

inline std::vector<uint32_t> inOrder(size_t count) {
    std::vector<uint32_t> order(count);
    std::iota(order.begin(), order.end(), 0u);
    return order;
}
