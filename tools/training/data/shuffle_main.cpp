// Shuffles a training data file into a new one with bounded memory.
#include <iostream>
#include <string>

#include "shuffle.h"

int main(int argc, char** argv) {
    std::string paths[2];
    int pathCount = 0;
    uint64_t seed = 1;
    size_t memory = size_t(1) << 24;
    try {
        for (int i = 1; i < argc; ++i) {
            std::string arg = argv[i];
            if (arg == "--seed" && i + 1 < argc) seed = std::stoull(argv[++i]);
            else if (arg == "--memory" && i + 1 < argc) memory = std::stoull(argv[++i]);
            else if (arg.rfind("--", 0) != 0 && pathCount < 2) paths[pathCount++] = arg;
            else pathCount = 3;
        }
    } catch (const std::exception&) {
        pathCount = 3;
    }
    if (pathCount != 2 || paths[0] == paths[1]) {
        std::cerr << "usage: nnue_shuffle INPUT.bin OUTPUT.bin [--seed N (1)] [--memory RECORDS (16777216)]\n"
                     "  Writes the positions of INPUT in a random order, holding about RECORDS in memory.\n";
        return 2;
    }
    std::string error;
    if (!shuffleFile(paths[0], paths[1], seed, memory, &error)) {
        std::cerr << error << "\n";
        return 1;
    }
    return 0;
}
