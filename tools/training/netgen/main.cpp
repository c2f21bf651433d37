// Writes a network file without training:
//   netgen random SEED FILE    small random weights, for tests
//   netgen material FILE       material and placement, for play without a trained net
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "net_builder.h"

namespace {

int usage() {
    std::cerr << "usage: netgen random SEED FILE | netgen material FILE\n";
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) return usage();
    std::string mode = argv[1];
    auto net = std::make_unique<NnueNet>();
    std::string file, description;
    if (mode == "random" && argc == 4) {
        uint64_t seed = std::strtoull(argv[2], nullptr, 10);
        fillRandomNet(*net, seed);
        file = argv[3];
        description = "random weights, seed " + std::to_string(seed);
    } else if (mode == "material" && argc == 3) {
        fillMaterialNet(*net);
        file = argv[2];
        description = "hand-made material and placement network";
    } else {
        return usage();
    }
    std::ofstream out(file, std::ios::binary);
    if (!out || !writeNet(out, *net, description)) {
        std::cerr << "netgen: cannot write " << file << "\n";
        return 1;
    }
    return 0;
}
