// The learning-rate schedule and the factor rows of the transformer.
#include "curve_svg.h"
#include "train_support.h"

namespace {
using TrainSchedule = TrainTest;

TEST_F(TrainSchedule, CosineRunsFromTheStartRateToItsEndShare) {
    TrainingSettings s{.learningRate = 0.002f, .finalRateFraction = 0.01f, .totalEpochs = 10};
    const double start = double(s.learningRate), end = start * double(s.finalRateFraction);
    EXPECT_NEAR(scheduledRate(s, 0), start, 1e-12);
    EXPECT_NEAR(scheduledRate(s, 5), (start + end) / 2, 1e-12);
    EXPECT_NEAR(scheduledRate(s, 10), end, 1e-12);
    EXPECT_NEAR(scheduledRate(s, 13.5), end, 1e-12);  // a run taken past its length stays at the end rate
    double previous = start;
    for (double e = 0.25; e <= 10; e += 0.25) {
        double rate = scheduledRate(s, e);
        EXPECT_LT(rate, previous) << e;
        previous = rate;
    }
    // The older schedule: whole epochs only.
    s.schedule = Schedule::Exponential, s.learningRateDecay = 0.9f;
    EXPECT_NEAR(scheduledRate(s, 0.7), start, 1e-12);
    EXPECT_NEAR(scheduledRate(s, 3.2), start * std::pow(double(0.9f), 3), 1e-12);
}

// The score/result blend may move across training (a resumed run keeps moving it:
// TrainTraining.ResumedTrainingMatchesUninterrupted).
TEST_F(TrainSchedule, TheBlendMovesFromLambdaToItsEnd) {
    TrainingSettings s{.totalEpochs = 4, .lambda = 0.9f};
    EXPECT_FLOAT_EQ(scheduledLambda(s, 2.5), 0.9f) << "no end given: lambda throughout";
    s.lambdaEnd = 0.5f;
    for (auto [epoch, lambda] : {std::pair{0.0, 0.9f}, {1.0, 0.8f}, {4.0, 0.5f}, {6.0, 0.5f}})
        EXPECT_FLOAT_EQ(scheduledLambda(s, epoch), lambda) << epoch;
    // Training reads the moved blend: a batch trained at the end of the run, where the target is mostly the game
    // result, moves the net differently from one trained with lambda held.
    std::vector<TrainingRecord> data = syntheticRecords(200, 5);
    for (size_t i = 0; i < data.size(); ++i) data[i].result = uint8_t(i % 3);
    const std::vector<uint32_t> order = inOrder(data.size());
    s.warmupSteps = 0, s.lambdaEnd = 0.0f;
    Trainer moving, held;
    initTrainer(moving, s, 1);
    moving.epochsDone = 4;
    s.lambdaEnd = -1.0f;
    initTrainer(held, s, 1);
    held.epochsDone = 4;
    EXPECT_NE(trainBatch(moving, data, order, 0, data.size()), trainBatch(held, data, order, 0, data.size()));
}

// A factorised net, once trained, has factor rows of its own; the file the
// engine reads must hold exactly the model with those rows folded in.
TEST_F(TrainSchedule, FactorRowsFoldIntoTheExportedNet) {
    std::vector<TrainingRecord> data = syntheticRecords(400, 11);
    const std::vector<uint32_t> order = inOrder(data.size());
    const TrainingSettings s{.warmupSteps = 0};
    Trainer t;
    initTrainer(t, s, 2);
    ASSERT_TRUE(t.net.factorised);
    for (int step = 0; step < 40; ++step) trainBatch(t, data, order, 0, data.size());
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
