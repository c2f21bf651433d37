#include "eval/nnue.h"

#include <cstring>

#include "eval/caches.h"
#include "eval/net_layout.h"

namespace {

// Changes of one perspective's features gathered over a chain of plies.
struct FeatureDelta {
    int added[3 * 64];
    int removed[3 * 64];
    int addedCount = 0, removedCount = 0;
};

void gatherChanges(const Position& p, int side, int first, int last, FeatureDelta& d) {
    int king = kingSquare(p, side);
    for (int q = first; q <= last; ++q) {
        const DirtyPiece& dp = p.dirty[q];
        for (int i = 0; i < dp.count; ++i) {
            if (dp.from[i] != OFF_BOARD)
                d.removed[d.removedCount++] = featureIndex(side, king, dp.piece[i], dp.from[i]);
            if (dp.to[i] != OFF_BOARD) d.added[d.addedCount++] = featureIndex(side, king, dp.piece[i], dp.to[i]);
        }
    }
}

// The computed ply to update one perspective from, or -1 when it needs a
// refresh. Features depend only on the perspective's own king, so the other
// king's moves cost no refresh; wrapping 16-bit sums do not depend on the
// order of the terms, so the result is the refresh's to the bit.
int findBase(const Position& p, int ply, int side) {
    int budget = popcount(occupancy(p));
    int ownKing = 2 * KING + side;
    for (int q = ply;; --q) {
        const DirtyPiece& dp = p.dirty[q];
        if (dp.count && dp.piece[0] == ownKing) return -1;
        budget -= dp.count + 1;
        if (budget < 1 || q == 0) return -1;
        if (p.acc[q - 1].computed) return q - 1;
    }
}

void refreshHalf(const Position& p, int side, int16_t* out, const NnueKernel& kernel) {
    int features[64];
    int count = 0;
    int king = kingSquare(p, side);
    for (Bitboard b = occupancy(p); b;) {
        int sq = popLsb(b);
        features[count++] = featureIndex(side, king, p.board[sq], sq);
    }
    kernel.updateAccumulator(out, nnue.transformerBias, features, count, nullptr, 0);
}

unsigned netGeneration = 1;

// A refresh through the thread's cache: from the sums last computed with the
// king on this square, adding and removing only the pieces that differ.
void refreshHalfCached(const Position& p, int side, int16_t* out, const NnueKernel& kernel) {
    RefreshCache* cache = refreshCacheOf(p);
    if (!cache) return refreshHalf(p, side, out, kernel);
    int king = kingSquare(p, side);
    KingRefreshEntry& e = cache->entries[side][king];
    if (e.netGeneration != netGeneration) {
        refreshHalf(p, side, e.values, kernel);
        for (int code = 0; code < 14; ++code) e.pieces[code] = p.pieces[code];
        e.netGeneration = netGeneration;
    } else {
        int added[64], removed[64];
        int addedCount = 0, removedCount = 0;
        for (int code = 2; code < 14; ++code) {
            for (Bitboard b = p.pieces[code] & ~e.pieces[code]; b;)
                added[addedCount++] = featureIndex(side, king, code, popLsb(b));
            for (Bitboard b = e.pieces[code] & ~p.pieces[code]; b;)
                removed[removedCount++] = featureIndex(side, king, code, popLsb(b));
            e.pieces[code] = p.pieces[code];
        }
        kernel.updateAccumulator(e.values, e.values, added, addedCount, removed, removedCount);
    }
    std::memcpy(out, e.values, sizeof e.values);
}

}  // namespace

NnueChunkedWeights nnueChunked;

void prepareNetwork() {
    ++netGeneration;  // every refresh cache now holds sums of another network
    for (int chunk = 0; chunk < NNUE_INPUTS / 4; ++chunk)
        for (int j = 0; j < NNUE_L1; ++j)
            for (int b = 0; b < 4; ++b)
                nnueChunked.l1ByChunk[chunk][j][b] = nnue.l1Weights[j * NNUE_INPUTS + chunk * 4 + b];
}

bool kernelSupported(const NnueKernel& k) {
    // Static initialisers may ask before the runtime has read the processor's features.
    __builtin_cpu_init();
    if (&k == &avx512Kernel)
        return __builtin_cpu_supports("avx512vnni") && __builtin_cpu_supports("avx512vl")
               && __builtin_cpu_supports("avx2");
    if (&k == &avx2Kernel) return __builtin_cpu_supports("avx2");
    if (&k == &ssse3Kernel) return __builtin_cpu_supports("ssse3");
    return true;
}

const NnueKernel& widestSupportedKernel() {
    for (const NnueKernel* k : {&avx512Kernel, &avx2Kernel, &ssse3Kernel})
        if (kernelSupported(*k)) return *k;
    return scalarKernel;
}

namespace {

// A build for a fixed instruction set keeps to it; the default build asks the processor.
const NnueKernel& startupKernel() {
#if defined(QUORVANE_FIXED_KERNEL_AVX2)
    return avx2Kernel;
#elif defined(QUORVANE_FIXED_KERNEL_SSSE3)
    return ssse3Kernel;
#elif defined(QUORVANE_FIXED_KERNEL_SCALAR)
    return scalarKernel;
#else
    return widestSupportedKernel();
#endif
}

}  // namespace

const NnueKernel* activeKernel = &startupKernel();

void refreshAccumulator(const Position& p, Accumulator& acc, const NnueKernel& kernel) {
    for (int side = 0; side < 2; ++side) refreshHalf(p, side, acc.values[side], kernel);
}

void updateAccumulator(Position& p, int ply, const NnueKernel& kernel) {
    Accumulator& acc = p.acc[ply];
    if (acc.computed) return;
    for (int side = 0; side < 2; ++side) {
        int base = findBase(p, ply, side);
        if (base < 0) {
            refreshHalfCached(p, side, acc.values[side], kernel);
        } else {
            FeatureDelta d;
            gatherChanges(p, side, base + 1, ply, d);
            kernel.updateAccumulator(acc.values[side], p.acc[base].values[side], d.added, d.addedCount, d.removed,
                                     d.removedCount);
        }
    }
    acc.computed = 1;
}

int32_t nnueEvaluate(Position& p, int ply, const NnueKernel& kernel) {
    updateAccumulator(p, ply, kernel);
    const Accumulator& acc = p.acc[ply];
    int us = p.sideToMove;
    return kernel.propagate(acc.values[us], acc.values[us ^ 1]);
}

void transformedInput(Position& p, int ply, uint8_t out[NNUE_INPUTS]) {
    updateAccumulator(p, ply);
    const Accumulator& acc = p.acc[ply];
    int us = p.sideToMove;
    for (int half = 0; half < 2; ++half)
        for (int i = 0; i < NNUE_HIDDEN; ++i) {
            int v = acc.values[half == 0 ? us : us ^ 1][i];
            out[half * NNUE_HIDDEN + i] = uint8_t(v < 0 ? 0 : v > 127 ? 127 : v);
        }
}
