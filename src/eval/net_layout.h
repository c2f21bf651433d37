// Shape and storage of the network's weights, shared by the file reader and
// the inference kernels.
#pragma once

#include <cstdint>

#include "eval/net_shape.h"

struct NnueNet {
    alignas(64) int16_t transformerBias[NNUE_HIDDEN];
    alignas(64) int16_t transformerWeights[NNUE_FEATURES * NNUE_HIDDEN];
    alignas(64) int32_t l1Bias[NNUE_L1];
    alignas(64) int8_t l1Weights[NNUE_L1 * NNUE_INPUTS];
    alignas(64) int32_t l2Bias[NNUE_L2];
    alignas(64) int8_t l2Weights[NNUE_L2 * NNUE_L1];
    alignas(64) int32_t outputBias;
    alignas(64) int8_t outputWeights[NNUE_L2];
};

extern NnueNet nnue;

// Layer-1 weights regrouped by input chunk (four consecutive inputs) for the
// vector kernels, which skip chunks whose inputs are all zero. Built from
// `nnue` by prepareNetwork().
struct NnueChunkedWeights {
    alignas(64) int8_t l1ByChunk[NNUE_INPUTS / 4][NNUE_L1][4];
};

extern NnueChunkedWeights nnueChunked;

// Rebuilds the derived layouts after the weights in `nnue` changed.
void prepareNetwork();
