// Writes a network file without training:
//   netgen random SEED FILE    small random weights, for tests
//   netgen material FILE       material and placement, for play without a trained net
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "net_builder.h"

namespace {

// netgen reads its few words by hand rather than through CLI11 as the other
// tools do: the build runs it to write the default network, so it must build
// wherever the engine does. Its mistakes are told the same way: one line on
// standard error and exit status 2.
const char* const USAGE = "usage: netgen random SEED FILE | netgen material FILE\n";

int usage() {
    std::cerr << USAGE;
    return 2;
}

int refuse(const std::string& why) {
    std::cerr << "netgen: " << why << "\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string word = argv[i];
        if (word == "--help" || word == "-h") {
            std::cout << USAGE;
            return 0;
        }
        if (word.size() > 1 && word[0] == '-') return refuse("unknown argument " + word);
    }
    if (argc < 3) return usage();
    std::string mode = argv[1];
    auto net = std::make_unique<NnueNet>();
    std::string file, description;
    if (mode == "random" && argc == 4) {
        char* end = nullptr;
        uint64_t seed = std::strtoull(argv[2], &end, 10);
        if (*end || !std::isdigit(static_cast<unsigned char>(argv[2][0])))
            return refuse(std::string("SEED is not a number: ") + argv[2]);
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
