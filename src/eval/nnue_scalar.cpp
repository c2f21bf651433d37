// Portable reference arithmetic of the network. The vector kernels must agree
// with it bit for bit, so every saturation of the vector instructions is
// spelled out here.
#include <cstring>

#include "eval/net_layout.h"
#include "eval/nnue_kernels.h"

namespace {

inline int saturate16(int32_t v) { return v < -32768 ? -32768 : v > 32767 ? 32767 : v; }
inline int saturate8(int v) { return v < -128 ? -128 : v > 127 ? 127 : v; }
inline int32_t wrapAdd(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }

void updateScalar(int16_t* out, const int16_t* base, const int* added, int addedCount, const int* removed,
                  int removedCount) {
    uint16_t sums[NNUE_HIDDEN];
    for (int i = 0; i < NNUE_HIDDEN; ++i) sums[i] = uint16_t(base[i]);
    for (int a = 0; a < addedCount; ++a) {
        const int16_t* w = nnue.transformerWeights + size_t(added[a]) * NNUE_HIDDEN;
        for (int i = 0; i < NNUE_HIDDEN; ++i) sums[i] = uint16_t(sums[i] + uint16_t(w[i]));
    }
    for (int r = 0; r < removedCount; ++r) {
        const int16_t* w = nnue.transformerWeights + size_t(removed[r]) * NNUE_HIDDEN;
        for (int i = 0; i < NNUE_HIDDEN; ++i) sums[i] = uint16_t(sums[i] - uint16_t(w[i]));
    }
    for (int i = 0; i < NNUE_HIDDEN; ++i) out[i] = int16_t(sums[i]);
}

// Unsigned inputs times signed weights, each adjacent pair saturated to 16 bits
// before the 32-bit sum, as the byte multiply-add instruction does.
int32_t dotPairs(const uint8_t* in, const int8_t* w, int n) {
    int32_t sum = 0;
    for (int i = 0; i < n; i += 2) sum = wrapAdd(sum, saturate16(int(in[i]) * w[i] + int(in[i + 1]) * w[i + 1]));
    return sum;
}

void denseLayer(const uint8_t* in, int inputs, const int8_t* weights, const int32_t* bias, uint8_t* out, int outputs) {
    for (int j = 0; j < outputs; ++j) {
        int32_t sum = wrapAdd(dotPairs(in, weights + j * inputs, inputs), bias[j]);
        int v = saturate8(int16_t(saturate16(sum)) >> 6);
        out[j] = uint8_t(v < 0 ? 0 : v);
    }
}

void clipHalf(const int16_t* acc, uint8_t* out) {
    for (int i = 0; i < NNUE_HIDDEN; ++i) out[i] = uint8_t(acc[i] < 0 ? 0 : acc[i] > 127 ? 127 : acc[i]);
}

int32_t propagateScalar(const int16_t* mover, const int16_t* other) {
    uint8_t input[NNUE_INPUTS];
    clipHalf(mover, input);
    clipHalf(other, input + NNUE_HIDDEN);
    uint8_t hidden1[NNUE_L1], hidden2[NNUE_L2];
    denseLayer(input, NNUE_INPUTS, nnue.l1Weights, nnue.l1Bias, hidden1, NNUE_L1);
    denseLayer(hidden1, NNUE_L1, nnue.l2Weights, nnue.l2Bias, hidden2, NNUE_L2);
    return wrapAdd(dotPairs(hidden2, nnue.outputWeights, NNUE_L2), nnue.outputBias);
}

}  // namespace

const NnueKernel scalarKernel = {"scalar", updateScalar, propagateScalar};
