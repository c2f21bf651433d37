#include "eval/network.h"

#include "eval/evaluate.h"
// The loader prints "Net read" itself, for the engine and every tool that reads
// a network: one of the few includes from a folder above
// (tests/layout/include_rooms.cmake lists them).
#include "uci/output.h"

#include <fstream>
#include <iostream>

NnueNet nnue;
bool netLoaded = false;
const char* DEFAULT_NET_FILE = "220321-307.nnue";
std::string netFile = DEFAULT_NET_FILE;

namespace {

template <typename T>
void readBlock(std::istream& in, T* data, size_t count) {
    in.read(reinterpret_cast<char*>(data), std::streamsize(sizeof(T) * count));
}

uint32_t readWord(std::istream& in) {
    unsigned char bytes[4] = {};
    in.read(reinterpret_cast<char*>(bytes), 4);
    return uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24;
}

}  // namespace

bool loadNet(std::istream& in) {
    netLoaded = false;
    readWord(in);                    // version
    readWord(in);                    // architecture hash
    uint32_t length = readWord(in);  // description
    if (length && in) in.ignore(std::streamsize(length));
    readWord(in);  // feature transformer header
    readBlock(in, nnue.transformerBias, NNUE_HIDDEN);
    readBlock(in, nnue.transformerWeights, size_t(NNUE_FEATURES) * NNUE_HIDDEN);
    readWord(in);  // layers header
    readBlock(in, nnue.l1Bias, NNUE_L1);
    readBlock(in, nnue.l1Weights, NNUE_L1 * 2 * NNUE_HIDDEN);
    readBlock(in, nnue.l2Bias, NNUE_L2);
    readBlock(in, nnue.l2Weights, NNUE_L2 * NNUE_L1);
    readBlock(in, &nnue.outputBias, 1);
    readBlock(in, nnue.outputWeights, NNUE_L2);
    sendLine("Net read");
    netLoaded = true;
    evaluationChanged();
    return bool(in);
}

bool loadNetFile(const std::string& path) {
    netLoaded = false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    loadNet(in);
    return true;
}

std::string netMissingLine(const std::string& path, bool forPosition) {
    return "info string NetFile not found/correct: " + path
           + (forPosition ? ". Unable to calculate the best move for the position."
                          : ". Unable to calculate the best move for a position.");
}
