// The network's arithmetic with 32-byte AVX2 vectors.
#include <immintrin.h>

namespace {

inline __m256i dotAdd(__m256i sum, __m256i x, __m256i w) {
    return _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_maddubs_epi16(x, w), _mm256_set1_epi16(1)));
}

}  // namespace

#include "eval/nnue_vec256.h"

const NnueKernel avx2Kernel = {"AVX2", updateVec256, propagateVec256};
