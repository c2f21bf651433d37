// The network's shape, the one place its widths are written:
//   inputs per perspective: own-king square x piece kind x piece square,
//   accumulator per perspective, both perspectives side by side,
//   then two dense layers and one output.
// Every other size, in the engine, the kernels and the trainer, is derived
// from these, and the places that rely on a property of them say so with a
// static_assert.
#pragma once

constexpr int NNUE_KING_SQUARES = 64;
constexpr int NNUE_PIECE_KINDS = 12;  // own pawn, enemy pawn, ..., own king, enemy king
constexpr int NNUE_PIECE_SQUARES = 64;
constexpr int NNUE_FEATURES = NNUE_KING_SQUARES * NNUE_PIECE_KINDS * NNUE_PIECE_SQUARES;
constexpr int NNUE_HIDDEN = 256;              // accumulator elements per perspective
constexpr int NNUE_INPUTS = 2 * NNUE_HIDDEN;  // the dense layers' input, side to move first
constexpr int NNUE_L1 = 32;
constexpr int NNUE_L2 = 32;

// The file layout (net_layout.h) stores these blocks with no gaps, and the
// vector kernels work on whole 32-byte vectors of each.
static_assert(NNUE_HIDDEN % 32 == 0, "the accumulator fills whole vectors of 16-bit sums");
static_assert(NNUE_L1 % 16 == 0 && NNUE_L2 % 16 == 0, "the dense layers fill whole vectors of bytes");
static_assert(NNUE_L1 % 4 == 0, "the first layer's weights are regrouped by four inputs");
