// The network's input features and output scaling, computed from a training
// record exactly as the engine computes them from a position.
#pragma once

#include <cstdint>

#include "training_data.h"

constexpr int FEATURE_COUNT = 49152;

// Feature of a piece (code 2..13 on square sq) seen from perspective p with p's own king on kingSq.
constexpr int featureIndex(int perspective, int kingSq, int code, int sq) {
    int flip = perspective == BLACK ? 56 : 0;
    int kind = ((code - 2) & 14) + (colourOf(code) != perspective ? 1 : 0);
    return ((kingSq ^ flip) * 12 + kind) * 64 + (sq ^ flip);
}

// The active features of both perspectives, the side to move's first.
struct PositionFeatures {
    uint16_t index[2][MAX_RECORD_PIECES];  // [0] side to move, [1] the other side
    int count = 0;                         // pieces, the same for both perspectives
    int pawns = 0;                         // both colours
    int phase = 0;                         // clamped to 0..24
};
PositionFeatures extractFeatures(const TrainingRecord& r);

// The factor that turns the network's raw output into centipawns, times 24576.
constexpr int outputScale(int pawns, int phase) { return (pawns + 55) * 16 + phase * 11; }
constexpr int OUTPUT_SCALE_DIVISOR = 24576;
// Centipawns from a raw output, truncated toward zero in 32-bit arithmetic.
inline int32_t scoreFromRaw(int32_t raw, int pawns, int phase) {
    return int32_t(int64_t(raw) * outputScale(pawns, phase) / OUTPUT_SCALE_DIVISOR);
}
