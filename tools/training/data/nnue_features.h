// The network's input features and output scaling, computed from a training
// record exactly as the engine computes them from a position.
#pragma once

#include <cstdint>

#include "eval/evaluate.h"  // networkOutputScale: the engine's own scaling
#include "eval/net_layout.h"
#include "eval/nnue.h"  // featureIndex: the engine's own feature numbering
#include "training_data.h"

constexpr int FEATURE_COUNT = NNUE_FEATURES;
static_assert(FEATURE_COUNT <= 65536, "feature numbers are kept in 16 bits");

// The active features of both perspectives, the side to move's first.
struct PositionFeatures {
    uint16_t index[2][MAX_RECORD_PIECES];  // [0] side to move, [1] the other side
    int count = 0;                         // pieces, the same for both perspectives
    int pawns = 0;                         // both colours
    int phase = 0;                         // clamped to 0..24
};
// With mirrored, the features of the position reflected left to right (a-file
// to h-file). Records keep no castling rights, so to the network the reflection
// is a position as good as the original: a free second sample for training.
PositionFeatures extractFeatures(const TrainingRecord& r, bool mirrored = false);

// Centipawns from a raw output by the engine's scaling, truncated toward zero.
inline int32_t scoreFromRaw(int32_t raw, int pawns, int phase) {
    return int32_t(int64_t(raw) * networkOutputScale(pawns, phase) / NETWORK_OUTPUT_DIVISOR);
}
