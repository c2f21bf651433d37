#include "float_net.h"

#include <algorithm>
#include <cmath>

#include "random.h"

namespace {

// Uniform in [-limit, limit).
float uniform(SplitMix& r, float limit) { return (float(nextRandom(r) >> 40) / float(1 << 24) * 2.0f - 1.0f) * limit; }

inline float clip01(float x) { return std::min(std::max(x, 0.0f), 1.0f); }

}  // namespace

void initRandomNet(FloatNet& net, uint64_t seed) {
    SplitMix rng{seed};
    float* p = net.params.data();
    // About 30 pieces add up per perspective: keep their sum well inside the 0..1 window.
    const size_t factorStart = FT_WEIGHTS + size_t(FT_INPUTS) * FT_OUTPUTS;
    for (size_t i = FT_WEIGHTS; i < factorStart; ++i) p[i] = uniform(rng, 0.05f);
    std::fill(p + FT_WEIGHTS + size_t(ownTransformerRows(net.kingBuckets)) * FT_OUTPUTS, p + factorStart, 0.0f);
    // Factor rows start at zero, so a factorised net begins as the same function.
    for (size_t i = factorStart; i < FT_BIAS; ++i) p[i] = 0.0f;
    for (size_t i = FT_BIAS; i < L1_WEIGHTS; ++i) p[i] = 0.5f;
    for (size_t i = L1_WEIGHTS; i < L1_BIAS; ++i) p[i] = uniform(rng, 1.0f / std::sqrt(float(L1_INPUTS)));
    for (size_t i = L1_BIAS; i < L2_WEIGHTS; ++i) p[i] = 0.5f;
    for (size_t i = L2_WEIGHTS; i < L2_BIAS; ++i) p[i] = uniform(rng, 1.0f / std::sqrt(float(L1_OUTPUTS)));
    for (size_t i = L2_BIAS; i < OUT_WEIGHTS; ++i) p[i] = 0.5f;
    for (size_t i = OUT_WEIGHTS; i < OUT_BIAS; ++i) p[i] = uniform(rng, 1.0f / std::sqrt(float(L2_OUTPUTS)));
    p[OUT_BIAS] = 0.0f;
}

void clipDense(FloatNet& net) {
    float* p = net.params.data();
    for (size_t i = FT_BIAS; i < L1_WEIGHTS; ++i) p[i] = std::clamp(p[i], -FT_WEIGHT_LIMIT, FT_WEIGHT_LIMIT);
    for (size_t i = L1_WEIGHTS; i < L1_BIAS; ++i) p[i] = std::clamp(p[i], -LAYER_WEIGHT_LIMIT, LAYER_WEIGHT_LIMIT);
    for (size_t i = L2_WEIGHTS; i < L2_BIAS; ++i) p[i] = std::clamp(p[i], -LAYER_WEIGHT_LIMIT, LAYER_WEIGHT_LIMIT);
    for (size_t i = OUT_WEIGHTS; i < OUT_BIAS; ++i) p[i] = std::clamp(p[i], -LAYER_WEIGHT_LIMIT, LAYER_WEIGHT_LIMIT);
}

void clipTransformerRow(FloatNet& net, int row) {
    float* w = net.params.data() + FT_WEIGHTS + size_t(row) * FT_OUTPUTS;
    for (int i = 0; i < FT_OUTPUTS; ++i) w[i] = std::clamp(w[i], -FT_WEIGHT_LIMIT, FT_WEIGHT_LIMIT);
}

void foldFactors(FloatNet& net) {
    float* p = net.params.data();
    if (net.factorised)
        for (int row = 0; row < ownTransformerRows(net.kingBuckets); ++row)
            for (int i = 0; i < FT_OUTPUTS; ++i)
                p[FT_WEIGHTS + size_t(row) * FT_OUTPUTS + i] = foldedWeight(p, true, row, i);
    std::fill(p + FT_WEIGHTS + size_t(FT_INPUTS) * FT_OUTPUTS, p + FT_BIAS, 0.0f);
}

void shareKingBuckets(FloatNet& net, int kingBuckets) {
    net.kingBuckets = kingBuckets;
    if (kingBuckets == FULL_KING_LAYOUT) return;
    const int rows = ownTransformerRows(kingBuckets);
    std::vector<double> sums(size_t(rows) * FT_OUTPUTS);
    std::vector<int> covered(rows);
    float* p = net.params.data();
    for (int feature = 0; feature < FT_INPUTS; ++feature) {
        int row = transformerRowOf(kingBuckets, feature);
        ++covered[row];
        for (int i = 0; i < FT_OUTPUTS; ++i)
            sums[size_t(row) * FT_OUTPUTS + i] += p[FT_WEIGHTS + size_t(feature) * FT_OUTPUTS + i];
    }
    for (int row = 0; row < rows; ++row)
        for (int i = 0; i < FT_OUTPUTS; ++i)
            p[FT_WEIGHTS + size_t(row) * FT_OUTPUTS + i] = float(sums[size_t(row) * FT_OUTPUTS + i] / covered[row]);
    std::fill(p + FT_WEIGHTS + size_t(rows) * FT_OUTPUTS, p + FT_WEIGHTS + size_t(FT_INPUTS) * FT_OUTPUTS, 0.0f);
}

namespace {

// z = bias + sum over the non-zero inputs x[i] of x[i] * (row i of the input-major weights).
template <int INPUTS, int OUTPUTS>
void denseForward(const float* __restrict x, const float* __restrict weights, const float* __restrict bias,
                  float* __restrict z) {
    float sum[OUTPUTS];
    for (int j = 0; j < OUTPUTS; ++j) sum[j] = bias[j];
    for (int i = 0; i < INPUTS; ++i) {
        float xi = x[i];
        if (xi == 0.0f) continue;
        const float* __restrict w = weights + i * OUTPUTS;
        for (int j = 0; j < OUTPUTS; ++j) sum[j] += xi * w[j];
    }
    for (int j = 0; j < OUTPUTS; ++j) z[j] = sum[j];
}

// For a layer with gradient gz at its pre-activations: adds x[i] * gz to the
// weight gradient of every non-zero input, and returns through gx the
// gradient of each input whose own pre-activation lay inside 0..1 (others 0).
template <int INPUTS, int OUTPUTS>
void denseBackward(const float* __restrict x, const float* __restrict inputPre, const float* __restrict weights,
                   const float* __restrict gz, float* __restrict weightGrad, float* __restrict gx) {
    for (int i = 0; i < INPUTS; ++i) {
        const float* __restrict w = weights + i * OUTPUTS;
        float* __restrict gw = weightGrad + i * OUTPUTS;
        float xi = x[i];
        if (xi != 0.0f)
            for (int j = 0; j < OUTPUTS; ++j) gw[j] += xi * gz[j];
        float sum = 0.0f;
        if (inputPre[i] > 0.0f && inputPre[i] < 1.0f)
            for (int j = 0; j < OUTPUTS; ++j) sum += w[j] * gz[j];
        gx[i] = sum;
    }
}

// The rows are scattered over 50 MB: ask for all of them before summing, so
// that the memory fetches overlap.
// (The 768 factor rows are few and stay in cache.)
inline void prefetchRows(const float* params, const uint16_t* rows, int count) {
    for (int n = 0; n < count; ++n) {
        const char* row = reinterpret_cast<const char*>(params + FT_WEIGHTS + size_t(rows[n]) * FT_OUTPUTS);
        for (int line = 0; line < FT_OUTPUTS * 4; line += 64) __builtin_prefetch(row + line);
    }
}

// Bias plus the given rows, each row read as the exported file will hold it:
// folded with its factor row when FACTORISED, on the quantised grid when ROUND.
template <bool FACTORISED, bool ROUND>
void accumulate(const float* __restrict params, const float* __restrict bias, const uint16_t* rows, int count,
                float* __restrict acc) {
    prefetchRows(params, rows, count);
    float sum[FT_OUTPUTS];
    for (int i = 0; i < FT_OUTPUTS; ++i) sum[i] = bias[i];
    for (int n = 0; n < count; ++n) {
        const float* __restrict row = params + FT_WEIGHTS + size_t(rows[n]) * FT_OUTPUTS;
        const float* __restrict factor = params + FT_WEIGHTS + size_t(factorRowOf(rows[n])) * FT_OUTPUTS;
        for (int i = 0; i < FT_OUTPUTS; ++i) {
            float w = row[i];
            if constexpr (FACTORISED) w = std::clamp(w + factor[i], -FT_WEIGHT_LIMIT, FT_WEIGHT_LIMIT);
            if constexpr (ROUND) w = std::nearbyint(w * ACTIVATION_ONE) * (1.0f / ACTIVATION_ONE);
            sum[i] += w;
        }
    }
    for (int i = 0; i < FT_OUTPUTS; ++i) acc[i] = sum[i];
}

}  // namespace

float forward(const NetView& net, const Sample& s, Activations& a) {
    auto p = [&](size_t offset) { return net.dense + (offset - DENSE_START); };
    for (int side = 0; side < 2; ++side) {
        // In the file's own layout a feature is its row; buckets give it another.
        const uint16_t* rows = s.features.index[side];
        uint16_t bucketRows[MAX_RECORD_PIECES];
        if (net.kingBuckets != FULL_KING_LAYOUT) {
            for (int n = 0; n < s.features.count; ++n)
                bucketRows[n] = uint16_t(transformerRowOf(net.kingBuckets, rows[n]));
            rows = bucketRows;
        }
        if (net.factorised && net.roundTransformer)
            accumulate<true, true>(net.transformer, p(FT_BIAS), rows, s.features.count, a.acc[side]);
        else if (net.factorised)
            accumulate<true, false>(net.transformer, p(FT_BIAS), rows, s.features.count, a.acc[side]);
        else if (net.roundTransformer)
            accumulate<false, true>(net.transformer, p(FT_BIAS), rows, s.features.count, a.acc[side]);
        else accumulate<false, false>(net.transformer, p(FT_BIAS), rows, s.features.count, a.acc[side]);
        for (int i = 0; i < FT_OUTPUTS; ++i) a.input[side * FT_OUTPUTS + i] = clip01(a.acc[side][i]);
    }
    denseForward<L1_INPUTS, L1_OUTPUTS>(a.input, p(L1_WEIGHTS), p(L1_BIAS), a.z1);
    for (int j = 0; j < L1_OUTPUTS; ++j) a.y1[j] = clip01(a.z1[j]);
    denseForward<L1_OUTPUTS, L2_OUTPUTS>(a.y1, p(L2_WEIGHTS), p(L2_BIAS), a.z2);
    for (int j = 0; j < L2_OUTPUTS; ++j) a.y2[j] = clip01(a.z2[j]);

    float out = *p(OUT_BIAS);
    for (int j = 0; j < L2_OUTPUTS; ++j) out += a.y2[j] * p(OUT_WEIGHTS)[j];
    a.score = out * RAW_PER_UNIT * s.scale;
    return a.score;
}

void backward(const NetView& net, const Sample& s, const Activations& a, float scoreGrad, float* denseGrad,
              float accGrad[2][FT_OUTPUTS]) {
    auto p = [&](size_t offset) { return net.dense + (offset - DENSE_START); };
    float* g = denseGrad - DENSE_START;  // index g with the global parameter offsets

    float outGrad = scoreGrad * RAW_PER_UNIT * s.scale;
    g[OUT_BIAS] += outGrad;
    float gz2[L2_OUTPUTS];
    for (int j = 0; j < L2_OUTPUTS; ++j) {
        g[OUT_WEIGHTS + j] += outGrad * a.y2[j];
        bool linear = a.z2[j] > 0.0f && a.z2[j] < 1.0f;
        gz2[j] = linear ? outGrad * p(OUT_WEIGHTS)[j] : 0.0f;
        g[L2_BIAS + j] += gz2[j];
    }

    float gz1[L1_OUTPUTS];
    denseBackward<L1_OUTPUTS, L2_OUTPUTS>(a.y1, a.z1, p(L2_WEIGHTS), gz2, g + L2_WEIGHTS, gz1);
    for (int j = 0; j < L1_OUTPUTS; ++j) g[L1_BIAS + j] += gz1[j];

    float gInput[L1_INPUTS];
    const float* accFlat = &a.acc[0][0];  // the two halves in input order
    denseBackward<L1_INPUTS, L1_OUTPUTS>(a.input, accFlat, p(L1_WEIGHTS), gz1, g + L1_WEIGHTS, gInput);
    for (int side = 0; side < 2; ++side)
        for (int k = 0; k < FT_OUTPUTS; ++k) {
            accGrad[side][k] = gInput[side * FT_OUTPUTS + k];
            g[FT_BIAS + k] += gInput[side * FT_OUTPUTS + k];
        }
}

void roundDenseToGrid(const FloatNet& net, std::vector<float>& out) {
    out.assign(net.params.begin() + DENSE_START, net.params.end());
    auto round = [&](size_t from, size_t to, float one) {
        for (size_t i = from; i < to; ++i) out[i - DENSE_START] = std::nearbyint(out[i - DENSE_START] * one) / one;
    };
    round(FT_BIAS, L1_WEIGHTS, ACTIVATION_ONE);
    round(L1_WEIGHTS, L1_BIAS, WEIGHT_ONE);
    round(L1_BIAS, L2_WEIGHTS, RAW_PER_UNIT);
    round(L2_WEIGHTS, L2_BIAS, WEIGHT_ONE);
    round(L2_BIAS, OUT_WEIGHTS, RAW_PER_UNIT);
    round(OUT_WEIGHTS, OUT_BIAS, WEIGHT_ONE);
    round(OUT_BIAS, PARAM_COUNT, RAW_PER_UNIT);
}

LossTerms positionLoss(float score, float target, float k) {
    float predicted = sigmoid(score / k);
    float diff = predicted - target;
    return {diff * diff, 2.0f * diff * predicted * (1.0f - predicted) / k};
}
