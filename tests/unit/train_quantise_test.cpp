#include "train_support.h"

namespace {
using TrainQuantise = TrainTest;

TEST_F(TrainQuantise, ScalesRoundingAndClipping) {
    FloatNet net;
    float* p = net.params.data();
    p[FT_WEIGHTS + 5 * FT_OUTPUTS + 3] = 0.1f;  // rounds to nearest
    p[FT_BIAS + 7] = -1.0f;
    p[L1_WEIGHTS + 300 * L1_OUTPUTS + 4] = -0.75f;  // input 300, neuron 4
    p[L1_WEIGHTS + 1 * L1_OUTPUTS + 2] = 5.0f;      // beyond int8: saturates
    p[L1_BIAS + 4] = 0.25f;
    p[L2_WEIGHTS + 3 * L2_OUTPUTS + 9] = 1.5f;
    p[OUT_WEIGHTS + 6] = -0.5f;
    p[OUT_BIAS] = 2.0f;
    auto q = quantised(net);
    // Hidden biases get half of the shift's divisor (WEIGHT_ONE) added, which l1Bias[0] holds alone;
    // a weight beyond int8 saturates.
    const int A = int(ACTIVATION_ONE), W = int(WEIGHT_ONE), R = int(RAW_PER_UNIT);
    EXPECT_EQ((std::vector<int>{q->transformerWeights[5 * NNUE_HIDDEN + 3], q->transformerBias[7],
                                q->l1Weights[4 * NNUE_INPUTS + 300], q->l1Weights[2 * NNUE_INPUTS + 1], q->l1Bias[4],
                                q->l1Bias[0], q->l2Weights[9 * NNUE_L1 + 3], q->outputWeights[6], q->outputBias}),
              (std::vector<int>{(A + 5) / 10, -A, -3 * W / 4, 127, R / 4 + W / 2, W / 2, 3 * W / 2, -W / 2, 2 * R}));
}

TEST_F(TrainQuantise, ExportLoadsIntoTheEngineUnchanged) {
    FloatNet net;
    initRandomNet(net, 11);
    auto q = quantised(net);
    std::string description = "test network, description of odd length";
    std::stringstream file;
    ASSERT_TRUE(writeNet(file, *q, description));
    EXPECT_EQ(file.str().size(), 25184056u + description.size());
    EngineNetwork restoreAfterwards(*q);  // the engine's weights are process-wide
    std::memset(&nnue, 0, sizeof nnue);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(loadNet(file));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Net read\n");
    EXPECT_EQ(std::memcmp(&nnue, q.get(), sizeof nnue), 0);
    // Reading the integers back as floats and quantising again changes nothing.
    FloatNet back;
    dequantiseNet(*q, back);
    auto again = quantised(back);
    EXPECT_EQ(std::memcmp(again.get(), q.get(), sizeof(NnueNet)), 0);
}

// With weights that the integer types hold exactly, the two inferences differ
// only by the rounding of the hidden activations to steps of 1/127.
TEST_F(TrainQuantise, IntegerInferenceFollowsTheFloatNet) {
    FloatNet random;
    initRandomNet(random, 5);
    // Larger layer weights, so that the scores reach some hundreds of centipawns.
    for (size_t i = L1_WEIGHTS; i < PARAM_COUNT; ++i) random.params[i] *= 4.0f;
    clipDense(random);
    auto q = quantised(random);
    FloatNet exact;
    dequantiseNet(*q, exact);
    std::vector<TrainingRecord> records = syntheticRecords(2000, 1);
    EngineNetwork engine(*q);
    NetComparison c = compareFloatAndEngine(viewOf(exact), records, 2);
    EXPECT_EQ(c.positions, 2000u);
    EXPECT_GT(c.meanAbsFloatError, 100.0);  // the scores are not all near zero
    EXPECT_TRUE(c.meanAbsDifference < 2.0 && c.maxAbsDifference < 12.0)
        << c.meanAbsDifference << " " << c.maxAbsDifference;
}

// A factorised net, once trained, has factor rows of its own; the file the
// engine reads must hold exactly the model with those rows folded in.
TEST_F(TrainQuantise, FactorRowsFoldIntoTheExportedNet) {
    std::vector<TrainingRecord> data = syntheticRecords(400, 11);
    const TrainingSettings s{.warmupSteps = 0};
    Trainer t;
    initTrainer(t, s, 2);
    ASSERT_TRUE(t.net.factorised);
    trainSteps(t, data, 40);
    size_t factorStart = FT_WEIGHTS + size_t(FT_INPUTS) * FT_OUTPUTS, nonZero = 0;
    for (size_t i = factorStart; i < FT_BIAS; ++i) nonZero += t.net.params[i] != 0.0f;
    ASSERT_GT(nonZero, 1000u);
    // Training this short leaves them small; make them count, so that any part of
    // the export that skipped them would show.
    for (size_t i = factorStart; i < FT_BIAS; ++i) t.net.params[i] += 0.1f * std::sin(0.37f * float(i));
    FloatNet folded;
    folded.params = t.net.params;
    folded.factorised = true;
    foldFactors(folded);
    folded.factorised = false;
    for (size_t i = factorStart; i < FT_BIAS; ++i) ASSERT_EQ(folded.params[i], 0.0f);
    // The same function in floating point...
    Activations a;
    for (size_t i = 0; i < 50; ++i) {
        Sample sample = makeSample(data[i], s.lambda, s.sigmoidK);
        float withFactors = forward(t.net, sample, a);
        EXPECT_NEAR(withFactors, forward(folded, sample, a), 1e-3f * (1.0f + std::abs(withFactors))) << i;
    }
    // ...the same integer file...
    auto fromFactors = quantised(t.net), fromFolded = quantised(folded);
    EXPECT_EQ(std::memcmp(fromFactors.get(), fromFolded.get(), sizeof(NnueNet)), 0);
    // ...and the engine's inference of it follows the model as training sees it.
    EngineNetwork engine(*fromFactors);
    NetComparison c = compareFloatAndEngine(modelView(t), data, 2);
    EXPECT_EQ(c.positions, data.size());
    EXPECT_LT(c.meanAbsDifference, 1.5);
    NetView withoutFactors = modelView(t);  // the factor rows carry real weight: leaving them out shows
    withoutFactors.factorised = false;
    EXPECT_GT(compareFloatAndEngine(withoutFactors, data, 2).meanAbsDifference, 10.0);
    // Reading the file back starts a trainer at the same function, factor rows empty.
    FloatNet restarted;
    dequantiseNet(*fromFactors, restarted);
    for (size_t i = factorStart; i < FT_BIAS; ++i) ASSERT_EQ(restarted.params[i], 0.0f);
    auto again = quantised(restarted);
    EXPECT_EQ(std::memcmp(fromFactors.get(), again.get(), sizeof(NnueNet)), 0);
}
}  // namespace
