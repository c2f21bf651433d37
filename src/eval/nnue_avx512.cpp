// The 32-byte kernel with AVX-512 VNNI, whose fused byte multiply-add does in
// one instruction what AVX2 does in three.
#include <immintrin.h>

namespace {

inline __m256i dotAdd(__m256i sum, __m256i x, __m256i w) { return _mm256_dpbusd_epi32(sum, x, w); }

}  // namespace

#include "eval/nnue_vec256.h"

const NnueKernel avx512Kernel = {"AVX-512 VNNI", updateVec256, propagateVec256};
