// The network file: one process-wide set of weights read from disk.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

constexpr int NNUE_FEATURES = 49152;
constexpr int NNUE_HIDDEN = 256;
constexpr int NNUE_L1 = 32;
constexpr int NNUE_L2 = 32;

struct NnueNet {
    alignas(64) int16_t transformerBias[NNUE_HIDDEN];
    alignas(64) int16_t transformerWeights[NNUE_FEATURES * NNUE_HIDDEN];
    alignas(64) int32_t l1Bias[NNUE_L1];
    alignas(64) int8_t l1Weights[NNUE_L1 * 2 * NNUE_HIDDEN];
    alignas(64) int32_t l2Bias[NNUE_L2];
    alignas(64) int8_t l2Weights[NNUE_L2 * NNUE_L1];
    alignas(64) int32_t outputBias;
    alignas(64) int8_t outputWeights[NNUE_L2];
};

extern NnueNet nnue;
extern bool netLoaded;
extern std::string netFile;  // path of the network file
extern const char* DEFAULT_NET_FILE;

// Reads the whole layout from a binary stream, prints "Net read", sets netLoaded.
bool loadNet(std::istream& in);

// Opens `path` and loads it; false when the file cannot be opened.
bool loadNetFile(const std::string& path);

// The line printed when no usable network is loaded.
std::string netMissingLine(const std::string& path, bool forPosition);
