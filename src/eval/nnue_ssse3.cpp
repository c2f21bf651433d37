// The network's arithmetic with 16-byte SSSE3 vectors.
#include <tmmintrin.h>

#include "eval/net_layout.h"
#include "eval/nnue_kernels.h"
#include "eval/set_bits.h"

namespace {

constexpr int CHUNK = 64;  // accumulator elements kept in registers per pass (8 vectors)

void updateSsse3(int16_t* out, const int16_t* base, const int* added, int addedCount, const int* removed,
                 int removedCount) {
    for (int c = 0; c < NNUE_HIDDEN; c += CHUNK) {
        __m128i r[CHUNK / 8];
        for (int i = 0; i < CHUNK / 8; ++i) r[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + c) + i);
        for (int a = 0; a < addedCount; ++a) {
            const __m128i* w =
                reinterpret_cast<const __m128i*>(nnue.transformerWeights + size_t(added[a]) * NNUE_HIDDEN + c);
            for (int i = 0; i < CHUNK / 8; ++i) r[i] = _mm_add_epi16(r[i], _mm_load_si128(w + i));
        }
        for (int d = 0; d < removedCount; ++d) {
            const __m128i* w =
                reinterpret_cast<const __m128i*>(nnue.transformerWeights + size_t(removed[d]) * NNUE_HIDDEN + c);
            for (int i = 0; i < CHUNK / 8; ++i) r[i] = _mm_sub_epi16(r[i], _mm_load_si128(w + i));
        }
        for (int i = 0; i < CHUNK / 8; ++i) _mm_storeu_si128(reinterpret_cast<__m128i*>(out + c) + i, r[i]);
    }
}

// 0..127 bytes: negative values are raised to 0 before the saturating pack.
void clipHalf(const int16_t* acc, __m128i* out) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i* in = reinterpret_cast<const __m128i*>(acc);
    for (int i = 0; i < NNUE_HIDDEN / 16; ++i)
        out[i] = _mm_packs_epi16(_mm_max_epi16(_mm_loadu_si128(in + 2 * i), zero),
                                 _mm_max_epi16(_mm_loadu_si128(in + 2 * i + 1), zero));
}

// The 32-bit sums of pairwise-saturated products of one weight row.
inline __m128i rowSums(const __m128i* in, const int8_t* row, int vectors) {
    const __m128i ones = _mm_set1_epi16(1);
    const __m128i* w = reinterpret_cast<const __m128i*>(row);
    __m128i sum = _mm_setzero_si128();
    for (int i = 0; i < vectors; ++i)
        sum = _mm_add_epi32(sum, _mm_madd_epi16(_mm_maddubs_epi16(in[i], _mm_load_si128(w + i)), ones));
    return sum;
}

// Four weight rows against the same inputs, each input vector loaded once.
template <int VECTORS>
inline __m128i fourNeurons(const __m128i* in, const int8_t* rows) {
    const __m128i ones = _mm_set1_epi16(1);
    const __m128i* w = reinterpret_cast<const __m128i*>(rows);
    __m128i s0 = _mm_setzero_si128(), s1 = s0, s2 = s0, s3 = s0;
    for (int i = 0; i < VECTORS; ++i) {
        __m128i x = in[i];
        s0 = _mm_add_epi32(s0, _mm_madd_epi16(_mm_maddubs_epi16(x, _mm_load_si128(w + i)), ones));
        s1 = _mm_add_epi32(s1, _mm_madd_epi16(_mm_maddubs_epi16(x, _mm_load_si128(w + VECTORS + i)), ones));
        s2 = _mm_add_epi32(s2, _mm_madd_epi16(_mm_maddubs_epi16(x, _mm_load_si128(w + 2 * VECTORS + i)), ones));
        s3 = _mm_add_epi32(s3, _mm_madd_epi16(_mm_maddubs_epi16(x, _mm_load_si128(w + 3 * VECTORS + i)), ones));
    }
    return _mm_hadd_epi32(_mm_hadd_epi32(s0, s1), _mm_hadd_epi32(s2, s3));
}

// 32 outputs in 0..127 from VECTORS input vectors of 16 bytes.
template <int VECTORS>
void denseLayer(const __m128i* in, const int8_t* weights, const int32_t* bias, __m128i* out) {
    constexpr int inputs = VECTORS * 16;
    __m128i sums[NNUE_L1 / 4];
    for (int j = 0; j < NNUE_L1; j += 4)
        sums[j / 4] = _mm_add_epi32(fourNeurons<VECTORS>(in, weights + j * inputs),
                                    _mm_load_si128(reinterpret_cast<const __m128i*>(bias + j)));
    const __m128i zero = _mm_setzero_si128();
    for (int k = 0; k < NNUE_L1 / 16; ++k) {
        __m128i lo = _mm_max_epi16(_mm_srai_epi16(_mm_packs_epi32(sums[4 * k], sums[4 * k + 1]), 6), zero);
        __m128i hi = _mm_max_epi16(_mm_srai_epi16(_mm_packs_epi32(sums[4 * k + 2], sums[4 * k + 3]), 6), zero);
        out[k] = _mm_packs_epi16(lo, hi);
    }
}

// The first layer from the chunked weights, visiting only input chunks with a
// non-zero byte, listed first without a branch per chunk. Inputs are at most
// 127, so no pair of products reaches the 16-bit saturation and the order of
// the 32-bit sums does not matter.
void firstLayer(const __m128i* in, __m128i* out) {
    const __m128i ones = _mm_set1_epi16(1);
    const __m128i zero = _mm_setzero_si128();
    const int32_t* chunks = reinterpret_cast<const int32_t*>(in);
    alignas(16) uint16_t listed[NNUE_INPUTS / 4 + 8];
    int count = 0;
    for (int v = 0; v < NNUE_INPUTS / 16; v += 2) {
        unsigned nonZero = ~unsigned(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(in[v], zero)))
                                     | _mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(in[v + 1], zero))) << 4)
                           & 0xff;
        __m128i at = _mm_add_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(setBits.positions[nonZero])),
                                   _mm_set1_epi16(int16_t(v * 4)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(listed + count), at);
        count += __builtin_popcount(nonZero);
    }
    __m128i s[NNUE_L1 / 4];
    for (int k = 0; k < NNUE_L1 / 4; ++k) s[k] = _mm_load_si128(reinterpret_cast<const __m128i*>(nnue.l1Bias) + k);
    for (int i = 0; i < count; ++i) {
        __m128i x = _mm_set1_epi32(chunks[listed[i]]);
        const __m128i* w = reinterpret_cast<const __m128i*>(nnueChunked.l1ByChunk[listed[i]]);
        for (int k = 0; k < NNUE_L1 / 4; ++k)
            s[k] = _mm_add_epi32(s[k], _mm_madd_epi16(_mm_maddubs_epi16(x, _mm_load_si128(w + k)), ones));
    }
    for (int k = 0; k < NNUE_L1 / 16; ++k) {
        __m128i lo = _mm_max_epi16(_mm_srai_epi16(_mm_packs_epi32(s[4 * k], s[4 * k + 1]), 6), zero);
        __m128i hi = _mm_max_epi16(_mm_srai_epi16(_mm_packs_epi32(s[4 * k + 2], s[4 * k + 3]), 6), zero);
        out[k] = _mm_packs_epi16(lo, hi);
    }
}

int32_t propagateSsse3(const int16_t* mover, const int16_t* other) {
    __m128i input[NNUE_INPUTS / 16];
    clipHalf(mover, input);
    clipHalf(other, input + NNUE_HIDDEN / 16);
    __m128i hidden1[NNUE_L1 / 16], hidden2[NNUE_L2 / 16];
    firstLayer(input, hidden1);
    denseLayer<NNUE_L1 / 16>(hidden1, nnue.l2Weights, nnue.l2Bias, hidden2);
    __m128i s = rowSums(hidden2, nnue.outputWeights, NNUE_L2 / 16);
    s = _mm_add_epi32(s, _mm_shuffle_epi32(s, 0x4e));
    s = _mm_add_epi32(s, _mm_shuffle_epi32(s, 0xb1));
    return int32_t(uint32_t(_mm_cvtsi128_si32(s)) + uint32_t(nnue.outputBias));
}

}  // namespace

const NnueKernel ssse3Kernel = {"SSSE3", updateSsse3, propagateSsse3};
