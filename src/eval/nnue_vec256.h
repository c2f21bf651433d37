// The network's arithmetic with 32-byte vectors, shared by the kernels that
// have them. The including file, compiled for its own instruction set, first
// defines dotAdd(sum, inputs, weights): sum plus, per 32-bit lane, the four
// products of unsigned input bytes with signed weight bytes. Every input byte
// here is at most 127, so no pair of products reaches the 16-bit saturation of
// the byte multiply-add and a fused instruction without it gives the same sums.
#pragma once

#include <immintrin.h>

#include "eval/net_layout.h"
#include "eval/nnue_kernels.h"
#include "eval/set_bits.h"

namespace {

constexpr int CHUNK = 128;  // accumulator elements kept in registers per pass (8 vectors)

void updateVec256(int16_t* out, const int16_t* base, const int* added, int addedCount, const int* removed,
                  int removedCount) {
    for (int c = 0; c < NNUE_HIDDEN; c += CHUNK) {
        __m256i r[CHUNK / 16];
        for (int i = 0; i < CHUNK / 16; ++i) r[i] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(base + c) + i);
        for (int a = 0; a < addedCount; ++a) {
            const __m256i* w =
                reinterpret_cast<const __m256i*>(nnue.transformerWeights + size_t(added[a]) * NNUE_HIDDEN + c);
            for (int i = 0; i < CHUNK / 16; ++i) r[i] = _mm256_add_epi16(r[i], _mm256_load_si256(w + i));
        }
        for (int d = 0; d < removedCount; ++d) {
            const __m256i* w =
                reinterpret_cast<const __m256i*>(nnue.transformerWeights + size_t(removed[d]) * NNUE_HIDDEN + c);
            for (int i = 0; i < CHUNK / 16; ++i) r[i] = _mm256_sub_epi16(r[i], _mm256_load_si256(w + i));
        }
        for (int i = 0; i < CHUNK / 16; ++i) _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + c) + i, r[i]);
    }
}

// 0..127 bytes in accumulator order; the pack works per 128-bit lane, so the
// quarters are put back in order afterwards.
void clipHalf(const int16_t* acc, __m256i* out) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i* in = reinterpret_cast<const __m256i*>(acc);
    for (int i = 0; i < NNUE_HIDDEN / 32; ++i) {
        __m256i packed = _mm256_packs_epi16(_mm256_max_epi16(_mm256_loadu_si256(in + 2 * i), zero),
                                            _mm256_max_epi16(_mm256_loadu_si256(in + 2 * i + 1), zero));
        out[i] = _mm256_permute4x64_epi64(packed, 0xd8);
    }
}

inline __m256i rowSums(const __m256i* in, const int8_t* row, int vectors) {
    const __m256i* w = reinterpret_cast<const __m256i*>(row);
    __m256i sum = _mm256_setzero_si256();
    for (int i = 0; i < vectors; ++i) sum = dotAdd(sum, in[i], _mm256_load_si256(w + i));
    return sum;
}

// Four neurons' totals from their eight-lane partial sums.
inline __m128i sumFour(__m256i s0, __m256i s1, __m256i s2, __m256i s3) {
    __m256i h = _mm256_hadd_epi32(_mm256_hadd_epi32(s0, s1), _mm256_hadd_epi32(s2, s3));
    return _mm_add_epi32(_mm256_castsi256_si128(h), _mm256_extracti128_si256(h, 1));
}

// Four weight rows against the same inputs, each input vector loaded once.
template <int VECTORS>
inline __m128i fourNeurons(const __m256i* in, const int8_t* rows) {
    const __m256i* w = reinterpret_cast<const __m256i*>(rows);
    __m256i s0 = _mm256_setzero_si256(), s1 = s0, s2 = s0, s3 = s0;
    for (int i = 0; i < VECTORS; ++i) {
        __m256i x = in[i];
        s0 = dotAdd(s0, x, _mm256_load_si256(w + i));
        s1 = dotAdd(s1, x, _mm256_load_si256(w + VECTORS + i));
        s2 = dotAdd(s2, x, _mm256_load_si256(w + 2 * VECTORS + i));
        s3 = dotAdd(s3, x, _mm256_load_si256(w + 3 * VECTORS + i));
    }
    return sumFour(s0, s1, s2, s3);
}

// 32 outputs in 0..127 (one vector) from VECTORS input vectors of 32 bytes.
template <int VECTORS>
__m256i denseLayer(const __m256i* in, const int8_t* weights, const int32_t* bias) {
    constexpr int inputs = VECTORS * 32;
    __m128i sums[NNUE_L1 / 4];
    for (int j = 0; j < NNUE_L1; j += 4)
        sums[j / 4] = _mm_add_epi32(fourNeurons<VECTORS>(in, weights + j * inputs),
                                    _mm_load_si128(reinterpret_cast<const __m128i*>(bias + j)));
    const __m128i zero = _mm_setzero_si128();
    __m128i half[2];
    for (int k = 0; k < 2; ++k) {
        __m128i lo = _mm_max_epi16(_mm_srai_epi16(_mm_packs_epi32(sums[4 * k], sums[4 * k + 1]), 6), zero);
        __m128i hi = _mm_max_epi16(_mm_srai_epi16(_mm_packs_epi32(sums[4 * k + 2], sums[4 * k + 3]), 6), zero);
        half[k] = _mm_packs_epi16(lo, hi);
    }
    return _mm256_set_m128i(half[1], half[0]);
}

// The first layer from the chunked weights, visiting only input chunks with a
// non-zero byte. The chunks are listed first without a branch per chunk (how
// many of each eight are non-zero is different at every node, so a loop over
// them would be mispredicted often); the multiply-adds then run over the
// list. Inputs are at most 127, so no pair of products reaches the 16-bit
// saturation and the order of the 32-bit sums does not matter.
__m256i firstLayer(const __m256i* in) {
    const __m256i zero = _mm256_setzero_si256();
    const int32_t* chunks = reinterpret_cast<const int32_t*>(in);
    alignas(16) uint16_t listed[NNUE_INPUTS / 4 + 8];
    int count = 0;
    for (int v = 0; v < NNUE_INPUTS / 32; ++v) {
        unsigned nonZero = ~unsigned(_mm256_movemask_ps(_mm256_castsi256_ps(_mm256_cmpeq_epi32(in[v], zero)))) & 0xff;
        __m128i at = _mm_add_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(setBits.positions[nonZero])),
                                   _mm_set1_epi16(int16_t(v * 8)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(listed + count), at);
        count += __builtin_popcount(nonZero);
    }
    __m256i s0 = zero, s1 = zero, s2 = zero, s3 = zero;
    for (int i = 0; i < count; ++i) {
        __m256i x = _mm256_set1_epi32(chunks[listed[i]]);
        const __m256i* w = reinterpret_cast<const __m256i*>(nnueChunked.l1ByChunk[listed[i]]);
        s0 = dotAdd(s0, x, _mm256_load_si256(w + 0));
        s1 = dotAdd(s1, x, _mm256_load_si256(w + 1));
        s2 = dotAdd(s2, x, _mm256_load_si256(w + 2));
        s3 = dotAdd(s3, x, _mm256_load_si256(w + 3));
    }
    const __m256i* bias = reinterpret_cast<const __m256i*>(nnue.l1Bias);
    s0 = _mm256_add_epi32(s0, _mm256_load_si256(bias + 0));
    s1 = _mm256_add_epi32(s1, _mm256_load_si256(bias + 1));
    s2 = _mm256_add_epi32(s2, _mm256_load_si256(bias + 2));
    s3 = _mm256_add_epi32(s3, _mm256_load_si256(bias + 3));
    // Packing works per 128-bit lane: groups of four neurons come out in the
    // order 0 2 4 6 | 1 3 5 7 and are put back in order at the end.
    __m256i a = _mm256_max_epi16(_mm256_srai_epi16(_mm256_packs_epi32(s0, s1), 6), zero);
    __m256i b = _mm256_max_epi16(_mm256_srai_epi16(_mm256_packs_epi32(s2, s3), 6), zero);
    return _mm256_permutevar8x32_epi32(_mm256_packs_epi16(a, b), _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

int32_t propagateVec256(const int16_t* mover, const int16_t* other) {
    __m256i input[NNUE_INPUTS / 32];
    clipHalf(mover, input);
    clipHalf(other, input + NNUE_HIDDEN / 32);
    __m256i hidden1 = firstLayer(input);
    __m256i hidden2 = denseLayer<1>(&hidden1, nnue.l2Weights, nnue.l2Bias);
    __m256i s = rowSums(&hidden2, nnue.outputWeights, 1);
    __m128i t = _mm_add_epi32(_mm256_castsi256_si128(s), _mm256_extracti128_si256(s, 1));
    t = _mm_add_epi32(t, _mm_shuffle_epi32(t, 0x4e));
    t = _mm_add_epi32(t, _mm_shuffle_epi32(t, 0xb1));
    return int32_t(uint32_t(_mm_cvtsi128_si32(t)) + uint32_t(nnue.outputBias));
}

}  // namespace
