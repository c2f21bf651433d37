#include "eval/nnue.h"

#include "eval/net_layout.h"

namespace {

// Features of both perspectives that a chain of changed-piece records removes and adds.
struct FeatureDelta {
    int added[2][3 * 64];
    int removed[2][3 * 64];
    int addedCount = 0, removedCount = 0;
};

void gatherChanges(const Position& p, int first, int last, FeatureDelta& d) {
    int kings[2] = {kingSquare(p, WHITE), kingSquare(p, BLACK)};
    for (int q = first; q <= last; ++q) {
        const DirtyPiece& dp = p.dirty[q];
        for (int i = 0; i < dp.count; ++i) {
            if (dp.from[i] != OFF_BOARD) {
                for (int side = 0; side < 2; ++side)
                    d.removed[side][d.removedCount] = featureIndex(side, kings[side], dp.piece[i], dp.from[i]);
                ++d.removedCount;
            }
            if (dp.to[i] != OFF_BOARD) {
                for (int side = 0; side < 2; ++side)
                    d.added[side][d.addedCount] = featureIndex(side, kings[side], dp.piece[i], dp.to[i]);
                ++d.addedCount;
            }
        }
    }
}

// The computed ply to start from, or -1 when refreshing is cheaper.
int findBase(const Position& p, int ply) {
    int budget = popcount(occupancy(p));
    for (int q = ply;; --q) {
        const DirtyPiece& dp = p.dirty[q];
        if (dp.count && typeOf(dp.piece[0]) == KING) return -1;
        budget -= dp.count + 1;
        if (budget < 1 || q == 0) return -1;
        if (p.acc[q - 1].computed) return q - 1;
    }
}

} // namespace

NnueChunkedWeights nnueChunked;

void prepareNetwork() {
    for (int chunk = 0; chunk < NNUE_INPUTS / 4; ++chunk)
        for (int j = 0; j < NNUE_L1; ++j)
            for (int b = 0; b < 4; ++b) nnueChunked.l1ByChunk[chunk][j][b] = nnue.l1Weights[j * NNUE_INPUTS + chunk * 4 + b];
}

bool kernelSupported(const NnueKernel& k) {
    // Static initialisers may ask before the runtime has read the processor's features.
    __builtin_cpu_init();
    if (&k == &avx512Kernel)
        return __builtin_cpu_supports("avx512vnni") && __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx2");
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

} // namespace

const NnueKernel* activeKernel = &startupKernel();

void refreshAccumulator(const Position& p, Accumulator& acc, const NnueKernel& kernel) {
    for (int side = 0; side < 2; ++side) {
        int features[64];
        int count = 0;
        int king = kingSquare(p, side);
        for (Bitboard b = occupancy(p); b;) {
            int sq = popLsb(b);
            features[count++] = featureIndex(side, king, p.board[sq], sq);
        }
        kernel.updateAccumulator(acc.values[side], nnue.transformerBias, features, count, nullptr, 0);
    }
}

void updateAccumulator(Position& p, int ply, const NnueKernel& kernel) {
    Accumulator& acc = p.acc[ply];
    if (acc.computed) return;
    int base = findBase(p, ply);
    if (base < 0) {
        refreshAccumulator(p, acc, kernel);
    } else {
        FeatureDelta d;
        gatherChanges(p, base + 1, ply, d);
        for (int side = 0; side < 2; ++side)
            kernel.updateAccumulator(acc.values[side], p.acc[base].values[side], d.added[side], d.addedCount,
                                     d.removed[side], d.removedCount);
    }
    acc.computed = 1;
}

int32_t nnueEvaluate(Position& p, int ply, const NnueKernel& kernel) {
    updateAccumulator(p, ply, kernel);
    const Accumulator& acc = p.acc[ply];
    int us = p.sideToMove;
    return kernel.propagate(acc.values[us], acc.values[us ^ 1]);
}

void transformedInput(Position& p, int ply, uint8_t out[512]) {
    updateAccumulator(p, ply);
    const Accumulator& acc = p.acc[ply];
    int us = p.sideToMove;
    for (int half = 0; half < 2; ++half)
        for (int i = 0; i < NNUE_HIDDEN; ++i) {
            int v = acc.values[half == 0 ? us : us ^ 1][i];
            out[half * NNUE_HIDDEN + i] = uint8_t(v < 0 ? 0 : v > 127 ? 127 : v);
        }
}
