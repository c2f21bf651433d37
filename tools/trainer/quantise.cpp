#include "quantise.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <ostream>

namespace {

constexpr int32_t SHIFT_ROUNDING = 32;               // half of the 1 << 6 divisor

template <typename T>
T roundTo(float value) {
    double lo = double(std::numeric_limits<T>::min()), hi = double(std::numeric_limits<T>::max());
    return T(std::clamp(std::nearbyint(double(value)), lo, hi));
}

int16_t saturate16(int32_t v) { return int16_t(std::clamp(v, -32768, 32767)); }

// One dense layer of the engine: products of unsigned inputs and signed
// weights summed in pairs with 16-bit saturation, then the 32-bit total plus
// bias saturated to 16 bits, shifted right by 6 and clipped to 0..127.
void hiddenLayer(const uint8_t* input, int inputs, const int8_t* weights, const int32_t* bias, int outputs,
                 uint8_t* output) {
    for (int j = 0; j < outputs; ++j) {
        const int8_t* w = weights + j * inputs;
        int32_t sum = 0;
        for (int i = 0; i < inputs; i += 2)
            sum += saturate16(int32_t(input[i]) * w[i] + int32_t(input[i + 1]) * w[i + 1]);
        sum += bias[j];
        int32_t shifted = int32_t(saturate16(sum)) >> 6;
        output[j] = uint8_t(std::clamp(shifted, 0, 127));
    }
}

} // namespace

void quantiseNet(const FloatNet& net, NnueNet& out) {
    const float* p = net.params.data();
    for (int i = 0; i < FT_OUTPUTS; ++i) out.transformerBias[i] = roundTo<int16_t>(p[FT_BIAS + i] * ACTIVATION_ONE);
    for (size_t i = 0; i < size_t(FT_INPUTS) * FT_OUTPUTS; ++i)
        out.transformerWeights[i] = roundTo<int16_t>(p[FT_WEIGHTS + i] * ACTIVATION_ONE);
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
    for (int i = 0; i < FT_OUTPUTS; ++i) p[FT_BIAS + i] = float(net.transformerBias[i]) / ACTIVATION_ONE;
    for (size_t i = 0; i < size_t(FT_INPUTS) * FT_OUTPUTS; ++i)
        p[FT_WEIGHTS + i] = float(net.transformerWeights[i]) / ACTIVATION_ONE;
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

int32_t referenceRawOutput(const NnueNet& net, const PositionFeatures& f) {
    uint8_t input[2 * NNUE_HIDDEN];
    for (int side = 0; side < 2; ++side) {
        // 16-bit wrapping sums, as the engine's accumulator keeps them.
        uint16_t acc[NNUE_HIDDEN];
        for (int i = 0; i < NNUE_HIDDEN; ++i) acc[i] = uint16_t(net.transformerBias[i]);
        for (int n = 0; n < f.count; ++n) {
            const int16_t* w = net.transformerWeights + size_t(f.index[side][n]) * NNUE_HIDDEN;
            for (int i = 0; i < NNUE_HIDDEN; ++i) acc[i] = uint16_t(acc[i] + uint16_t(w[i]));
        }
        for (int i = 0; i < NNUE_HIDDEN; ++i)
            input[side * NNUE_HIDDEN + i] = uint8_t(std::clamp(int(int16_t(acc[i])), 0, 127));
    }
    uint8_t hidden1[NNUE_L1], hidden2[NNUE_L2];
    hiddenLayer(input, 2 * NNUE_HIDDEN, net.l1Weights, net.l1Bias, NNUE_L1, hidden1);
    hiddenLayer(hidden1, NNUE_L1, net.l2Weights, net.l2Bias, NNUE_L2, hidden2);
    int32_t raw = net.outputBias;
    for (int i = 0; i < NNUE_L2; i += 2)
        raw += saturate16(int32_t(hidden2[i]) * net.outputWeights[i] + int32_t(hidden2[i + 1]) * net.outputWeights[i + 1]);
    return raw;
}
