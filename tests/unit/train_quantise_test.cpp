#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "eval/nnue.h"
#include "eval_helpers.h"
#include "net_compare.h"
#include "position_record.h"
#include "quantise.h"
#include "synthetic.h"

namespace {

class TrainQuantise : public ::testing::Test {
protected:
    static void SetUpTestSuite() { initRecordTables(); }
};

template <typename T, size_t N>
bool sameBlock(const T (&a)[N], const T (&b)[N]) { return std::memcmp(a, b, sizeof a) == 0; }

TEST_F(TrainQuantise, ScalesRoundingAndClipping) {
    FloatNet net;
    float* p = net.params.data();
    p[FT_WEIGHTS + 5 * FT_OUTPUTS + 3] = 0.1f;       // 12.7
    p[FT_BIAS + 7] = -1.0f;
    p[L1_WEIGHTS + 300 * L1_OUTPUTS + 4] = -0.75f;   // input 300, neuron 4
    p[L1_WEIGHTS + 1 * L1_OUTPUTS + 2] = 5.0f;       // beyond int8: saturates
    p[L1_BIAS + 4] = 0.25f;
    p[L2_WEIGHTS + 3 * L2_OUTPUTS + 9] = 1.5f;
    p[OUT_WEIGHTS + 6] = -0.5f;
    p[OUT_BIAS] = 2.0f;
    auto q = newNnueNet();
    quantiseNet(net, *q);
    EXPECT_EQ(q->transformerWeights[5 * 256 + 3], 13);
    EXPECT_EQ(q->transformerBias[7], -127);
    EXPECT_EQ(q->l1Weights[4 * 512 + 300], -48);
    EXPECT_EQ(q->l1Weights[2 * 512 + 1], 127);
    EXPECT_EQ(q->l1Bias[4], 2032 + 32);  // 0.25 * 127 * 64, plus half of the shift's divisor
    EXPECT_EQ(q->l1Bias[0], 32);
    EXPECT_EQ(q->l2Weights[9 * 32 + 3], 96);
    EXPECT_EQ(q->outputWeights[6], -32);
    EXPECT_EQ(q->outputBias, 16256);
}

TEST_F(TrainQuantise, ExportLoadsIntoTheEngineUnchanged) {
    FloatNet net;
    initRandomNet(net, 11);
    auto q = newNnueNet();
    quantiseNet(net, *q);
    std::string description = "test network, description of odd length";
    std::stringstream file;
    ASSERT_TRUE(writeNet(file, *q, description));
    EXPECT_EQ(file.str().size(), 25184056u + description.size());
    EngineNetwork restoreAfterwards(*q);  // the engine's weights are process-wide
    std::memset(&nnue, 0, sizeof nnue);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(loadNet(file));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Net read\n");
    EXPECT_TRUE(sameBlock(nnue.transformerBias, q->transformerBias));
    EXPECT_TRUE(sameBlock(nnue.transformerWeights, q->transformerWeights));
    EXPECT_TRUE(sameBlock(nnue.l1Bias, q->l1Bias));
    EXPECT_TRUE(sameBlock(nnue.l1Weights, q->l1Weights));
    EXPECT_TRUE(sameBlock(nnue.l2Bias, q->l2Bias));
    EXPECT_TRUE(sameBlock(nnue.l2Weights, q->l2Weights));
    EXPECT_EQ(nnue.outputBias, q->outputBias);
    EXPECT_TRUE(sameBlock(nnue.outputWeights, q->outputWeights));

    // Reading the integers back as floats and quantising again changes nothing.
    FloatNet back;
    dequantiseNet(*q, back);
    auto again = newNnueNet();
    quantiseNet(back, *again);
    EXPECT_EQ(std::memcmp(again.get(), q.get(), sizeof(NnueNet)), 0);
}

// A hand-computed pass through the engine's integer layers, with weights put
// where the trainer's export puts them.
TEST_F(TrainQuantise, EngineInferenceByHand) {
    auto q = newNnueNet();
    q->transformerBias[0] = 200;  // clipped to 127 in both halves
    q->transformerBias[1] = -5;   // clipped to 0
    q->transformerBias[2] = 40;
    // The feature of the white king on e1 (White's view) adds 30 to element 2.
    q->transformerWeights[size_t(featureIndex(WHITE, 4, WKING, 4)) * 256 + 2] = 30;
    q->l1Weights[0 * 512 + 0] = 64;
    q->l1Weights[0 * 512 + 256] = 64;   // 2 * 127 * 64 = 16256 -> 254 -> 127
    q->l1Weights[1 * 512 + 0] = 10;     // 1270 >> 6 = 19
    q->l1Weights[2 * 512 + 0] = -10;    // -1270 >> 6 = -20 -> 0
    q->l1Weights[3 * 512 + 2] = 100;    // 70 * 100 = 7000 -> 109
    q->l1Weights[4 * 512 + 0] = 127;
    q->l1Weights[4 * 512 + 1] = 127;
    for (int i = 256; i < 512; ++i) q->l1Weights[5 * 512 + i] = -128;
    q->l1Bias[5] = 100000;              // saturates to 32767 -> 511 -> 127
    q->l2Weights[0 * 32 + 0] = 64;      // 127 * 64 = 8128
    q->l2Weights[0 * 32 + 1] = -32;     // 19 * -32 = -608 -> 7520 >> 6 = 117
    q->l2Weights[1 * 32 + 3] = 3;       // 109 * 3 = 327 + bias 50 = 377 -> 5
    q->l2Bias[1] = 50;
    q->outputWeights[0] = 2;
    q->outputWeights[1] = -7;
    q->outputBias = 5;

    EngineNetwork engine(*q);
    // White king e1, black king d8. White to move: element 2 is 70 in the first half, 40 in the second.
    TestPosition white("3k4/8/8/8/8/8/8/4K3 w - - 0 1");
    EXPECT_EQ(nnueEvaluate(*white, 0), 117 * 2 - 7 * 5 + 5);
    EXPECT_EQ(networkScore(*white, 0), (117 * 2 - 7 * 5 + 5) * 880 / 24576);

    // Black to move: the halves swap, element 2 of the first half is 40 -> neuron 3 = 62 -> (186 + 50) >> 6 = 3.
    TestPosition black("3k4/8/8/8/8/8/8/4K3 b - - 0 1");
    EXPECT_EQ(nnueEvaluate(*black, 0), 117 * 2 - 7 * 3 + 5);
}

// With weights that the integer types hold exactly, the two inferences differ
// only by the rounding of the hidden activations to steps of 1/127.
TEST_F(TrainQuantise, IntegerInferenceFollowsTheFloatNet) {
    FloatNet random;
    initRandomNet(random, 5);
    // Larger layer weights, so that the scores reach some hundreds of centipawns.
    for (size_t i = L1_WEIGHTS; i < PARAM_COUNT; ++i) random.params[i] *= 4.0f;
    clipDense(random);
    auto q = newNnueNet();
    quantiseNet(random, *q);
    FloatNet exact;
    dequantiseNet(*q, exact);
    std::vector<TrainingRecord> records = syntheticRecords(2000, 1);
    EngineNetwork engine(*q);
    NetComparison c = compareFloatAndEngine(viewOf(exact), records, 2);
    EXPECT_EQ(c.positions, 2000u);
    EXPECT_GT(c.meanAbsFloatError, 100.0);  // the scores are not all near zero
    EXPECT_LT(c.meanAbsDifference, 2.0);
    EXPECT_LT(c.maxAbsDifference, 12.0);
}

} // namespace
