#include "training.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <random>

namespace {

constexpr float ADAM_BETA1 = 0.9f;
constexpr float ADAM_BETA2 = 0.999f;
constexpr float ADAM_EPSILON = 1e-8f;

inline void adamUpdate(float* param, float* m, float* v, const float* grad, size_t n, float stepSize) {
    for (size_t i = 0; i < n; ++i) {
        m[i] = ADAM_BETA1 * m[i] + (1.0f - ADAM_BETA1) * grad[i];
        v[i] = ADAM_BETA2 * v[i] + (1.0f - ADAM_BETA2) * grad[i] * grad[i];
        param[i] -= stepSize * m[i] / (std::sqrt(v[i]) + ADAM_EPSILON);
    }
}

// The learning rate with Adam's bias correction folded in.
float adamStepSize(const Trainer& t) {
    float lr = float(scheduledRate(t.settings, double(t.epochsDone) + t.epochFraction));
    if (t.adam.step < t.settings.warmupSteps) lr *= float(t.adam.step) / float(t.settings.warmupSteps);
    double step = double(t.adam.step);
    return float(lr * std::sqrt(1.0 - std::pow(ADAM_BETA2, step)) / (1.0 - std::pow(ADAM_BETA1, step)));
}

}  // namespace

double scheduledRate(const TrainingSettings& s, double epochs) {
    if (s.schedule == Schedule::Exponential)
        return s.learningRate * std::pow(double(s.learningRateDecay), std::floor(epochs));
    double progress = std::clamp(epochs / double(std::max(1, s.totalEpochs)), 0.0, 1.0);
    double end = double(s.learningRate) * s.finalRateFraction;
    return end + (double(s.learningRate) - end) * 0.5 * (1.0 + std::cos(M_PI * progress));
}

float scheduledLambda(const TrainingSettings& s, double epochs) {
    if (s.lambdaEnd < 0) return s.lambda;
    double progress = std::clamp(epochs / double(std::max(1, s.totalEpochs)), 0.0, 1.0);
    return float(double(s.lambda) + (double(s.lambdaEnd) - double(s.lambda)) * progress);
}

void initTrainer(Trainer& t, const TrainingSettings& settings, int threads) {
    t.settings = settings;
    t.threads = std::max(1, threads);
    t.net.kingBuckets = settings.kingBuckets;
    initRandomNet(t.net, settings.seed);
    t.net.factorised = settings.factorised;
    t.adam = AdamState{};
    t.epochsDone = 0;
    t.history.clear();
}

NetView modelView(Trainer& t) {
    if (!t.settings.roundWeights) return viewOf(t.net);
    roundDenseToGrid(t.net, t.roundedDense);
    return {t.net.params.data(), t.roundedDense.data(), true, t.net.factorised, t.net.kingBuckets};
}

float blendedTarget(const TrainingRecord& r, float lambda, float k) {
    return lambda * sigmoid(float(r.score) / k) + (1.0f - lambda) * resultValue(r);
}

bool seenMirrored(const Trainer& t, uint32_t recordIndex) {
    return t.settings.mirror && ((recordIndex ^ uint32_t(t.epochsDone)) & 1);
}

Sample makeSample(const TrainingRecord& r, float lambda, float k, bool mirrored) {
    Sample s;
    s.features = extractFeatures(r, mirrored);
    s.scale = float(networkOutputScale(s.features.pawns, s.features.phase)) / float(NETWORK_OUTPUT_DIVISOR);
    s.target = blendedTarget(r, lambda, k);
    return s;
}

double trainBatch(Trainer& t, const std::vector<TrainingRecord>& data, const std::vector<uint32_t>& order, size_t begin,
                  size_t end) {
    const size_t count = end - begin;
    if (count == 0) return 0.0;
    const int threads = t.threads;
    if (t.transformerGrad.empty()) {
        t.transformerGrad.assign(size_t(FT_ROWS) * FT_OUTPUTS, 0.0f);
        t.touched.assign(FT_ROWS, 0);
    }
    const bool factorised = t.net.factorised;
    const int kingBuckets = t.net.kingBuckets;
    t.samples.resize(count);
    t.accGrads.resize(count * L1_INPUTS);
    std::vector<std::vector<float>> denseGrads(threads, std::vector<float>(DENSE_COUNT));
    std::vector<double> losses(threads);
    const float gradScale = 1.0f / float(count);
    const TrainingSettings& st = t.settings;
    const NetView view = modelView(t);
    const float lambda = scheduledLambda(st, double(t.epochsDone) + t.epochFraction);

    // Forward and backward, positions split into contiguous slices.
    parallelFor(threads, [&](int id) {
        size_t from = count * id / threads, to = count * (id + 1) / threads;
        Activations a;
        double lossSum = 0;
        for (size_t b = from; b < to; ++b) {
            Sample& s = t.samples[b];
            uint32_t index = order[begin + b];
            s = makeSample(data[index], lambda, st.sigmoidK, seenMirrored(t, index));
            float score = forward(view, s, a);
            LossTerms terms = positionLoss(score, s.target, st.sigmoidK);
            lossSum += terms.loss;
            auto accGrad = reinterpret_cast<float(*)[FT_OUTPUTS]>(t.accGrads.data() + b * L1_INPUTS);
            backward(view, s, a, terms.scoreGrad * gradScale, denseGrads[id].data(), accGrad);
        }
        losses[id] = lossSum;
    });

    t.adam.step += 1;
    const float stepSize = adamStepSize(t);

    // Transformer rows: each thread owns the rows congruent to its index, so it
    // can gather their gradients and update them without locks. A feature's
    // gradient goes to its row (its bucket's, with king buckets) and, when
    // factorised, to that row's factor row.
    parallelFor(threads, [&](int id) {
        std::vector<int> rows;
        auto gather = [&](int row, const float* accGrad) {
            if (row % threads != id) return;
            if (!t.touched[row]) {
                t.touched[row] = 1;
                rows.push_back(row);
            }
            float* grad = t.transformerGrad.data() + size_t(row) * FT_OUTPUTS;
            for (int i = 0; i < FT_OUTPUTS; ++i) grad[i] += accGrad[i];
        };
        for (size_t b = 0; b < count; ++b) {
            const PositionFeatures& f = t.samples[b].features;
            for (int side = 0; side < 2; ++side) {
                const float* accGrad = t.accGrads.data() + b * L1_INPUTS + side * FT_OUTPUTS;
                for (int n = 0; n < f.count; ++n) {
                    int row = transformerRowOf(kingBuckets, f.index[side][n]);
                    gather(row, accGrad);
                    if (factorised) gather(factorRowOf(row), accGrad);
                }
            }
        }
        for (int row : rows) {
            size_t at = FT_WEIGHTS + size_t(row) * FT_OUTPUTS;
            float* grad = t.transformerGrad.data() + size_t(row) * FT_OUTPUTS;
            adamUpdate(t.net.params.data() + at, t.adam.m.data() + at, t.adam.v.data() + at, grad, FT_OUTPUTS,
                       stepSize);
            std::memset(grad, 0, FT_OUTPUTS * sizeof(float));
            t.touched[row] = 0;
            clipTransformerRow(t.net, row);
        }
    });

    std::vector<float>& dense = denseGrads[0];
    for (int id = 1; id < threads; ++id)
        for (size_t i = 0; i < DENSE_COUNT; ++i) dense[i] += denseGrads[id][i];
    adamUpdate(t.net.params.data() + DENSE_START, t.adam.m.data() + DENSE_START, t.adam.v.data() + DENSE_START,
               dense.data(), DENSE_COUNT, stepSize);
    clipDense(t.net);

    double lossSum = 0;
    for (double l : losses) lossSum += l;
    return lossSum / double(count);
}

double meanLoss(const NetView& net, const std::vector<TrainingRecord>& data, const TrainingSettings& settings,
                int threads) {
    if (data.empty()) return 0.0;
    std::vector<double> sums(threads);
    parallelFor(threads, [&](int id) {
        size_t from = data.size() * id / threads, to = data.size() * (id + 1) / threads;
        Activations a;
        double sum = 0;
        for (size_t i = from; i < to; ++i) {
            Sample s = makeSample(data[i], settings.lambda, settings.sigmoidK);
            sum += positionLoss(forward(net, s, a), s.target, settings.sigmoidK).loss;
        }
        sums[id] = sum;
    });
    double total = 0;
    for (double s : sums) total += s;
    return total / double(data.size());
}

EpochStats trainEpoch(Trainer& t, const std::vector<TrainingRecord>& train,
                      const std::vector<TrainingRecord>& validation, const EpochProgress& progress) {
    auto start = std::chrono::steady_clock::now();
    std::vector<uint32_t> order(train.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = uint32_t(i);
    std::mt19937_64 rng(t.settings.seed * 1000003u + uint64_t(t.epochsDone));
    std::shuffle(order.begin(), order.end(), rng);

    double lossSum = 0;
    size_t batchSize = size_t(std::max(1, t.settings.batchSize));
    for (size_t begin = 0; begin < order.size(); begin += batchSize) {
        size_t end = std::min(order.size(), begin + batchSize);
        t.epochFraction = double(end) / double(order.size());
        lossSum += trainBatch(t, train, order, begin, end) * double(end - begin);
        if (progress) progress(end, order.size(), lossSum / double(end));
    }
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    EpochStats stats;
    stats.epoch = t.epochsDone + 1;
    stats.trainLoss = train.empty() ? 0.0 : lossSum / double(train.size());
    stats.validationLoss = meanLoss(modelView(t), validation, t.settings, t.threads);
    stats.seconds = seconds;
    stats.positionsPerSecond = seconds > 0 ? double(train.size()) / seconds : 0.0;
    stats.learningRate = scheduledRate(t.settings, double(t.epochsDone) + t.epochFraction);
    t.epochsDone += 1;
    t.epochFraction = 0;
    t.history.push_back(stats);
    return stats;
}

void splitValidation(std::vector<TrainingRecord>& all, double fraction, uint64_t seed,
                     std::vector<TrainingRecord>& train, std::vector<TrainingRecord>& validation) {
    std::mt19937_64 rng(seed);
    std::shuffle(all.begin(), all.end(), rng);
    size_t held = size_t(double(all.size()) * std::clamp(fraction, 0.0, 1.0));
    validation.assign(all.begin(), all.begin() + held);
    train = std::move(all);
    train.erase(train.begin(), train.begin() + held);
}
