#include "net_builder.h"

#include <cstring>
#include <ostream>

#include "board/types.h"
#include "eval/nnue.h"
#include "eval/tables.h"
#include "random.h"

namespace {

void writeWord(std::ostream& out, uint32_t v) {
    unsigned char bytes[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
    out.write(reinterpret_cast<const char*>(bytes), 4);
}

template <typename T>
void writeBlock(std::ostream& out, const T* data, size_t count) {
    out.write(reinterpret_cast<const char*>(data), std::streamsize(sizeof(T) * count));
}

// Material net: accumulator elements 0..15 hold the side's lead in centipawns
// in slices of 127 (element k = lead - 127k, clipped by the transform), and
// 16..31 the same for the deficit. The dense layers pass those 32 values on
// unchanged (weight 64, shift 6), and the output adds the slices back up.
constexpr int SLICES = 16;
constexpr int PASS_WEIGHT = 64;
constexpr int OUTPUT_WEIGHT = 18;  // raw units per centipawn: about 1 after the phase scaling of a full board

int blendedValue(int code, int sq) {
    combEval v = psqOf(code, sq) + (typeOf(code) == KING ? 0 : materialOf(code));
    return (3 * mgOf(v) + 2 * egOf(v)) / 5;
}

}  // namespace

void fillRandomNet(NnueNet& net, uint64_t seed) {
    SplitMix rng{seed};
    for (int i = 0; i < NNUE_HIDDEN; ++i) net.transformerBias[i] = int16_t(randomBetween(rng, -40, 100));
    for (size_t i = 0; i < size_t(NNUE_FEATURES) * NNUE_HIDDEN; ++i)
        net.transformerWeights[i] = int16_t(randomBetween(rng, -24, 24));
    for (int j = 0; j < NNUE_L1; ++j) {
        int spread = randomBetween(rng, 1, 127);  // some neurons stay in range, others saturate
        for (int i = 0; i < NNUE_INPUTS; ++i)
            net.l1Weights[j * NNUE_INPUTS + i] = int8_t(randomBetween(rng, -spread, spread));
        net.l1Bias[j] = randomBetween(rng, -30000, 30000);
    }
    for (int j = 0; j < NNUE_L2; ++j) {
        int spread = randomBetween(rng, 1, 127);
        for (int i = 0; i < NNUE_L1; ++i) net.l2Weights[j * NNUE_L1 + i] = int8_t(randomBetween(rng, -spread, spread));
        net.l2Bias[j] = randomBetween(rng, -5000, 5000);
    }
    for (int i = 0; i < NNUE_L2; ++i) net.outputWeights[i] = int8_t(randomBetween(rng, -128, 127));
    net.outputBias = randomBetween(rng, -1000, 1000);
}

void fillMaterialNet(NnueNet& net) {
    std::memset(&net, 0, sizeof net);
    for (int k = 0; k < SLICES; ++k) {
        net.transformerBias[k] = int16_t(-127 * k);
        net.transformerBias[SLICES + k] = int16_t(-127 * k);
    }
    for (int perspective = 0; perspective < 2; ++perspective)
        for (int king = 0; king < 64; ++king)
            for (int code = WPAWN; code <= BKING; ++code)
                for (int sq = 0; sq < 64; ++sq) {
                    if (typeOf(code) == PAWN && (rankOf(sq) == 0 || rankOf(sq) == 7)) continue;
                    int value = blendedValue(code, sq) * (colourOf(code) == perspective ? 1 : -1);
                    int16_t* w =
                        net.transformerWeights + size_t(featureIndex(perspective, king, code, sq)) * NNUE_HIDDEN;
                    for (int k = 0; k < SLICES; ++k) {
                        w[k] = int16_t(value);
                        w[SLICES + k] = int16_t(-value);
                    }
                }
    // Both perspectives' features are written the same way, so each feature
    // index above is reached once per perspective with the same values.
    for (int j = 0; j < 2 * SLICES; ++j) {
        net.l1Weights[j * NNUE_INPUTS + j] = PASS_WEIGHT;
        net.l2Weights[j * NNUE_L1 + j] = PASS_WEIGHT;
        net.outputWeights[j] = int8_t(j < SLICES ? OUTPUT_WEIGHT : -OUTPUT_WEIGHT);
    }
}

bool writeNet(std::ostream& out, const NnueNet& net, const std::string& description) {
    writeWord(out, 0x7af32f16u);  // version
    writeWord(out, 0x3e5aa6eeu);  // architecture hash
    writeWord(out, uint32_t(description.size()));
    out.write(description.data(), std::streamsize(description.size()));
    writeWord(out, 0x5d69d7b8u);  // feature transformer header
    writeBlock(out, net.transformerBias, NNUE_HIDDEN);
    writeBlock(out, net.transformerWeights, size_t(NNUE_FEATURES) * NNUE_HIDDEN);
    writeWord(out, 0x63337156u);  // layers header
    writeBlock(out, net.l1Bias, NNUE_L1);
    writeBlock(out, net.l1Weights, NNUE_L1 * NNUE_INPUTS);
    writeBlock(out, net.l2Bias, NNUE_L2);
    writeBlock(out, net.l2Weights, NNUE_L2 * NNUE_L1);
    writeBlock(out, &net.outputBias, 1);
    writeBlock(out, net.outputWeights, NNUE_L2);
    return bool(out);
}
