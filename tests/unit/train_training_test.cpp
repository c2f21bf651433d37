#include <algorithm>
#include "curve_svg.h"
#include "train_support.h"

namespace {
using TrainTraining = TrainTest;

double batchLoss(const FloatNet& net, const std::vector<Sample>& samples, float k) {
    Activations a;
    double sum = 0;
    for (const Sample& s : samples) sum += positionLoss(forward(net, s, a), s.target, k).loss;
    return sum / double(samples.size());
}

// Checks the analytic gradient of every block against central differences, for the plain net and for the factorised
// one, where a factor row's gradient pools those of the 64 feature rows it is shared by, and for king buckets, where a
// bucket row's pools those of every feature it stands for.
void checkGradients(bool factorised, int kingBuckets = FULL_KING_LAYOUT) {
    const float k = DEFAULT_SIGMOID_K;
    std::vector<Sample> samples;
    for (const TrainingRecord& r : syntheticRecords(6, 21)) samples.push_back(makeSample(r, 0.6f, k));
    FloatNet net;
    net.kingBuckets = kingBuckets;
    initRandomNet(net, 3);
    net.factorised = factorised;
    for (size_t i = OUT_WEIGHTS; i < OUT_BIAS; ++i) net.params[i] *= 4.0f;  // scores of some hundreds
    if (factorised)  // factor rows of their own size, so that a mix-up of rows would show
        for (size_t i = FT_WEIGHTS + size_t(FT_INPUTS) * FT_OUTPUTS; i < FT_BIAS; ++i)
            net.params[i] = 0.03f * std::sin(float(i));
    // Analytic gradient: dense part directly, transformer rows from the sums' gradients.
    std::vector<float> dense(DENSE_COUNT);
    std::vector<double> transformer(size_t(FT_ROWS) * FT_OUTPUTS);
    Activations a;
    for (const Sample& s : samples) {
        float accGrad[2][FT_OUTPUTS];
        LossTerms t = positionLoss(forward(net, s, a), s.target, k);
        backward(net, s, a, t.scoreGrad / float(samples.size()), dense.data(), accGrad);
        for (int side = 0; side < 2; ++side)
            for (int n = 0; n < s.features.count; ++n)
                for (int i = 0; i < FT_OUTPUTS; ++i) {
                    int row = transformerRowOf(kingBuckets, s.features.index[side][n]);
                    transformer[size_t(row) * FT_OUTPUTS + i] += accGrad[side][i];
                    if (factorised) transformer[size_t(factorRowOf(row)) * FT_OUTPUTS + i] += accGrad[side][i];
                }
    }
    auto analytic = [&](size_t p) { return p < DENSE_START ? transformer[p] : double(dense[p - DENSE_START]); };
    // In each block, check the parameters with the largest gradients.
    const size_t factorStart = FT_WEIGHTS + size_t(FT_INPUTS) * FT_OUTPUTS;
    const size_t ownEnd = FT_WEIGHTS + size_t(ownTransformerRows(kingBuckets)) * FT_OUTPUTS;
    std::vector<std::pair<size_t, size_t>> blocks = {
        {FT_WEIGHTS, ownEnd},  {FT_BIAS, L1_WEIGHTS},  {L1_WEIGHTS, L1_BIAS},   {L1_BIAS, L2_WEIGHTS},
        {L2_WEIGHTS, L2_BIAS}, {L2_BIAS, OUT_WEIGHTS}, {OUT_WEIGHTS, OUT_BIAS}, {OUT_BIAS, PARAM_COUNT}};
    if (factorised) blocks.push_back({factorStart, FT_BIAS});
    int checked = 0;
    for (auto [from, to] : blocks) {
        std::vector<size_t> best;
        for (size_t p = from; p < to; ++p) {
            if (analytic(p) == 0.0) continue;
            best.push_back(p);
            std::sort(best.begin(), best.end(),
                      [&](size_t x, size_t y) { return std::abs(analytic(x)) > std::abs(analytic(y)); });
            if (best.size() > 3) best.pop_back();
        }
        ASSERT_FALSE(best.empty());
        for (size_t p : best) {
            const float eps = 1e-3f;
            float saved = net.params[p];
            net.params[p] = saved + eps;
            double up = batchLoss(net, samples, k);
            net.params[p] = saved - eps;
            double down = batchLoss(net, samples, k);
            net.params[p] = saved;
            double numeric = (up - down) / (2.0 * double(eps));
            EXPECT_NEAR(analytic(p), numeric, 0.03 * std::abs(numeric) + 1e-7) << "parameter " << p;
            ++checked;
        }
    }
    EXPECT_EQ(checked, int(blocks.size()) * 3 - 2);  // the output bias is a block of one
    for (size_t p = factorStart; !factorised && p < FT_BIAS; ++p)
        ASSERT_EQ(analytic(p), 0.0);                                            // no part in factor rows
    for (size_t p = ownEnd; p < factorStart; ++p) ASSERT_EQ(analytic(p), 0.0);  // nor rows beyond the buckets
}

TEST_F(TrainTraining, GradientsAgreeWithFiniteDifferences) {
    checkGradients(false);
    checkGradients(true);
    checkGradients(true, 8);
}

TEST_F(TrainTraining, TinyRunLowersTheLossAndFollowsTheSchedule) {
    std::vector<TrainingRecord> all = syntheticRecords(1500, 17), train, validation;
    const TrainingSettings settings{.batchSize = 100, .lambda = 0.8f};
    splitValidation(all, 0.2, 4, train, validation);
    ASSERT_TRUE(validation.size() == 300u && train.size() == 1200u);
    Trainer t;
    initTrainer(t, settings, 2);
    double before = meanLoss(modelView(t), train, settings, 2);
    for (int epoch = 0; epoch < 10; ++epoch) trainEpoch(t, train, validation);
    ASSERT_EQ(t.history.size(), 10u);
    EXPECT_LT(t.history.back().trainLoss, t.history.front().trainLoss);
    EXPECT_LT(meanLoss(modelView(t), train, settings, 2), 0.5 * before);
    // Validation measured, though too few positions to generalise.
    EXPECT_TRUE(t.history.back().validationLoss > 0.0 && t.history.back().positionsPerSecond > 0.0);
    EXPECT_LT(t.history[0].learningRate, double(settings.learningRate));
    for (size_t e = 1; e < t.history.size(); ++e)
        EXPECT_LT(t.history[e].learningRate, t.history[e - 1].learningRate) << e;
    EXPECT_NEAR(t.history.back().learningRate, scheduledRate(settings, 10),
                1e-9);  // the schedule's own end: TrainSchedule
    std::string svg = curveSvg(t.history);
    EXPECT_EQ(svg.rfind("<svg", 0), 0u);
    for (const char* part : {"<polyline", "learning rate", "</svg>"})
        EXPECT_NE(svg.find(part), std::string::npos) << part;
}

TEST_F(TrainTraining, ThreadsDoNotChangeTheStep) {
    std::vector<TrainingRecord> data = syntheticRecords(300, 2);
    Trainer one, three;
    initTrainer(one, TrainingSettings{}, 1);
    initTrainer(three, TrainingSettings{}, 3);
    EXPECT_NEAR(trainSteps(one, data), trainSteps(three, data), 1e-9);
    double largest = 0;
    for (size_t i = 0; i < PARAM_COUNT; ++i)
        largest = std::max(largest, double(std::abs(one.net.params[i] - three.net.params[i])));
    EXPECT_LT(largest, 1e-5);
    // Only the rows of the features in the batch moved, and all of them did.
    std::vector<bool> active(FT_INPUTS);
    for (const TrainingRecord& r : data) {
        PositionFeatures f = extractFeatures(r);
        for (int side = 0; side < 2; ++side)
            for (int n = 0; n < f.count; ++n) active[f.index[side][n]] = true;
    }
    Trainer untouched;
    initTrainer(untouched, TrainingSettings{}, 1);
    for (int feature = 0; feature < FT_INPUTS; ++feature) {
        size_t row = FT_WEIGHTS + size_t(feature) * FT_OUTPUTS, moved = 0;
        for (int i = 0; i < FT_OUTPUTS; ++i) moved += one.net.params[row + i] != untouched.net.params[row + i];
        if (active[feature]) EXPECT_GT(moved, 0u) << "feature " << feature;
        else ASSERT_EQ(moved, 0u) << "feature " << feature;
    }
}

// Adam's first step moves a weight by about the learning rate whatever its
// gradient; the warm-up scales that down to a sliver and then lets it grow.
TEST_F(TrainTraining, WarmupStartsWithSmallSteps) {
    std::vector<TrainingRecord> data = syntheticRecords(200, 5);
    auto largestMove = [&](int warmup, int steps) {
        Trainer t;
        initTrainer(t, TrainingSettings{.roundWeights = false, .warmupSteps = warmup}, 1);
        trainSteps(t, data, steps - 1);
        std::vector<float> before(t.net.params.begin() + DENSE_START, t.net.params.end());
        trainSteps(t, data);
        double largest = 0;
        for (size_t i = 0; i < DENSE_COUNT; ++i)
            largest = std::max(largest, double(std::abs(t.net.params[DENSE_START + i] - before[i])));
        return largest;
    };
    const double lr = TrainingSettings{}.learningRate;
    EXPECT_NEAR(largestMove(0, 1), lr, 0.01 * lr);
    EXPECT_NEAR(largestMove(100, 1), lr / 100, 0.01 * lr / 100);
    EXPECT_GT(largestMove(100, 50), 20 * largestMove(100, 1));
}

// With mirroring on, each epoch reflects half the records and the next epoch the other half.
TEST_F(TrainTraining, MirroringAlternatesBetweenEpochs) {
    Trainer t;
    initTrainer(t, TrainingSettings{}, 1);
    for (uint32_t i = 0; i < 8; ++i) EXPECT_FALSE(seenMirrored(t, i));
    t.settings.mirror = true;
    int reflected = 0;
    for (uint32_t i = 0; i < 1000; ++i) {
        bool now = seenMirrored(t, i);
        t.epochsDone = 1;
        EXPECT_NE(now, seenMirrored(t, i)) << i;
        t.epochsDone = 0;
        reflected += now;
    }
    EXPECT_EQ(reflected, 500);
}

TEST_F(TrainTraining, ResumedTrainingMatchesUninterrupted) {
    std::vector<TrainingRecord> all = syntheticRecords(600, 8), train, validation;
    // Mirroring reflects the other half in the second epoch, and the blend moves on in it only if its end
    // was kept: either lost on resume and the nets part.
    const TrainingSettings settings{.batchSize = 128, .totalEpochs = 2, .lambdaEnd = 0.2f, .mirror = true};
    splitValidation(all, 0.1, 1, train, validation);
    Trainer straight, first;
    initTrainer(straight, settings, 2);
    trainEpoch(straight, train, validation);
    trainEpoch(straight, train, validation);
    initTrainer(first, settings, 2);
    trainEpoch(first, train, validation);
    std::string path = tempFilePath("resume.ckpt");
    ASSERT_TRUE(saveCheckpoint(first, path));
    Trainer resumed;
    resumed.threads = 2;
    ASSERT_TRUE(loadCheckpoint(resumed, path));
    std::remove(path.c_str());
    EXPECT_TRUE(resumed.epochsDone == 1 && resumed.settings.batchSize == 128 && resumed.settings.mirror);
    EXPECT_FLOAT_EQ(resumed.settings.lambdaEnd, 0.2f);
    trainEpoch(resumed, train, validation);
    ASSERT_EQ(resumed.history.size(), 2u);
    EXPECT_DOUBLE_EQ(resumed.history[0].trainLoss, straight.history[0].trainLoss);
    EXPECT_DOUBLE_EQ(resumed.history[1].validationLoss, straight.history[1].validationLoss);
    EXPECT_TRUE(resumed.net.params == straight.net.params);
}

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
    s.warmupSteps = 0, s.lambdaEnd = 0.0f;
    Trainer moving, held;
    initTrainer(moving, s, 1);
    moving.epochsDone = 4;
    s.lambdaEnd = -1.0f;
    initTrainer(held, s, 1);
    held.epochsDone = 4;
    EXPECT_NE(trainSteps(moving, data), trainSteps(held, data));
}
}  // namespace
