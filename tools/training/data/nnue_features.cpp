#include "nnue_features.h"

#include <algorithm>

PositionFeatures extractFeatures(const TrainingRecord& r, bool mirrored) {
    static constexpr int PHASE_WEIGHT[7] = {0, 0, 1, 1, 2, 4, 0};
    PositionFeatures f;
    int codes[MAX_RECORD_PIECES], squares[MAX_RECORD_PIECES];
    int king[2] = {0, 0};
    Bitboard occ = r.occupancy;
    int phase = 0;
    for (int n = 0; occ && n < MAX_RECORD_PIECES; ++n) {
        int sq = popLsb(occ) ^ (mirrored ? 7 : 0);
        int code = packedPiece(r, n);
        if (code < WPAWN || code > BKING) continue;  // damaged data: no feature to give
        codes[f.count] = code;
        squares[f.count] = sq;
        ++f.count;
        if (typeOf(code) == KING) king[colourOf(code)] = sq;
        if (typeOf(code) == PAWN) ++f.pawns;
        phase += PHASE_WEIGHT[typeOf(code)];
    }
    f.phase = std::clamp(phase, 0, 24);
    int us = r.sideToMove & 1;
    for (int side = 0; side < 2; ++side) {
        int perspective = side == 0 ? us : us ^ 1;
        for (int n = 0; n < f.count; ++n)
            f.index[side][n] = uint16_t(featureIndex(perspective, king[perspective], codes[n], squares[n]));
    }
    return f;
}
