#include "quantise.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <ostream>

namespace {

constexpr int32_t SHIFT_ROUNDING = 32;  // half of the 1 << 6 divisor

template <typename T>
T roundTo(float value) {
    double lo = double(std::numeric_limits<T>::min()), hi = double(std::numeric_limits<T>::max());
    return T(std::clamp(std::nearbyint(double(value)), lo, hi));
}

}  // namespace

void quantiseNet(const FloatNet& net, NnueNet& out) {
    const float* p = net.params.data();
    for (int i = 0; i < FT_OUTPUTS; ++i) out.transformerBias[i] = roundTo<int16_t>(p[FT_BIAS + i] * ACTIVATION_ONE);
    for (int feature = 0; feature < FT_INPUTS; ++feature) {
        int row = transformerRowOf(net.kingBuckets, feature);  // a bucket row fills every feature it covers
        for (int i = 0; i < FT_OUTPUTS; ++i)
            out.transformerWeights[size_t(feature) * FT_OUTPUTS + i] =
                roundTo<int16_t>(foldedWeight(p, net.factorised, row, i) * ACTIVATION_ONE);
    }
    for (int j = 0; j < L1_OUTPUTS; ++j) {
        out.l1Bias[j] = roundTo<int32_t>(p[L1_BIAS + j] * RAW_PER_UNIT) + SHIFT_ROUNDING;
        for (int i = 0; i < L1_INPUTS; ++i)
            out.l1Weights[j * L1_INPUTS + i] = roundTo<int8_t>(p[L1_WEIGHTS + i * L1_OUTPUTS + j] * WEIGHT_ONE);
    }
    for (int j = 0; j < L2_OUTPUTS; ++j) {
        out.l2Bias[j] = roundTo<int32_t>(p[L2_BIAS + j] * RAW_PER_UNIT) + SHIFT_ROUNDING;
        for (int i = 0; i < L1_OUTPUTS; ++i)
            out.l2Weights[j * L1_OUTPUTS + i] = roundTo<int8_t>(p[L2_WEIGHTS + i * L2_OUTPUTS + j] * WEIGHT_ONE);
    }
    out.outputBias = roundTo<int32_t>(p[OUT_BIAS] * RAW_PER_UNIT);
    for (int j = 0; j < L2_OUTPUTS; ++j) out.outputWeights[j] = roundTo<int8_t>(p[OUT_WEIGHTS + j] * WEIGHT_ONE);
}

void dequantiseNet(const NnueNet& net, FloatNet& out) {
    float* p = out.params.data();
    out.kingBuckets = FULL_KING_LAYOUT;
    for (int i = 0; i < FT_OUTPUTS; ++i) p[FT_BIAS + i] = float(net.transformerBias[i]) / ACTIVATION_ONE;
    for (size_t i = 0; i < size_t(FT_INPUTS) * FT_OUTPUTS; ++i)
        p[FT_WEIGHTS + i] = float(net.transformerWeights[i]) / ACTIVATION_ONE;
    std::fill(p + FT_WEIGHTS + size_t(FT_INPUTS) * FT_OUTPUTS, p + FT_BIAS, 0.0f);
    for (int j = 0; j < L1_OUTPUTS; ++j) {
        p[L1_BIAS + j] = float(net.l1Bias[j] - SHIFT_ROUNDING) / RAW_PER_UNIT;
        for (int i = 0; i < L1_INPUTS; ++i)
            p[L1_WEIGHTS + i * L1_OUTPUTS + j] = float(net.l1Weights[j * L1_INPUTS + i]) / WEIGHT_ONE;
    }
    for (int j = 0; j < L2_OUTPUTS; ++j) {
        p[L2_BIAS + j] = float(net.l2Bias[j] - SHIFT_ROUNDING) / RAW_PER_UNIT;
        for (int i = 0; i < L1_OUTPUTS; ++i)
            p[L2_WEIGHTS + i * L2_OUTPUTS + j] = float(net.l2Weights[j * L1_OUTPUTS + i]) / WEIGHT_ONE;
    }
    p[OUT_BIAS] = float(net.outputBias) / RAW_PER_UNIT;
    for (int j = 0; j < L2_OUTPUTS; ++j) p[OUT_WEIGHTS + j] = float(net.outputWeights[j]) / WEIGHT_ONE;
}

bool writeNetFile(const std::string& path, const NnueNet& net, const std::string& description) {
    std::string temporary = path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::binary);
        if (!out || !writeNet(out, net, description)) return false;
        out.close();
        if (!out) return false;
    }
    return std::rename(temporary.c_str(), path.c_str()) == 0;
}
