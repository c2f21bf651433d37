// Network inference: the per-ply accumulators of the feature transformer and
// the raw output of the network for a position.
#pragma once

#include "board/position.h"
#include "eval/nnue_kernels.h"

// Input feature of a piece seen from `perspective`, whose own king stands on kingSq.
constexpr int featureIndex(int perspective, int kingSq, int code, int sq) {
    int flip = perspective == WHITE ? 0 : 56;
    int kind = ((code - 2) & 14) + (colourOf(code) != perspective ? 1 : 0);
    return ((kingSq ^ flip) * NNUE_PIECE_KINDS + kind) * NNUE_PIECE_SQUARES + (sq ^ flip);
}
static_assert(featureIndex(WHITE, 63, BKING, 63) == NNUE_FEATURES - 1, "features fill the input range exactly");

// Brings the accumulator of `ply` up to date, from a computed ancestor when a
// short enough chain of changes leads there, otherwise from scratch.
void updateAccumulator(Position& p, int ply, const NnueKernel& kernel = engineKernel());

// Recomputes both halves of an accumulator from every piece on the board.
void refreshAccumulator(const Position& p, Accumulator& acc, const NnueKernel& kernel = engineKernel());

// Raw network output for the position at `ply`, side to move's point of view.
int32_t nnueEvaluate(Position& p, int ply, const NnueKernel& kernel = engineKernel());

// The clipped input of the dense layers, side to move first (after updating).
void transformedInput(Position& p, int ply, uint8_t out[NNUE_INPUTS]);
