// Shuffles a training data file into a new one with bounded memory.
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "command_line.h"
#include "shuffle.h"

int main(int argc, char** argv) {
    CLI::App app{"Writes the positions of INPUT in a random order, holding about RECORDS in memory.", "nnue_shuffle"};
    prepareCommandLine(app);
    std::string input, output;
    uint64_t seed = 1;
    size_t memory = size_t(1) << 24;
    app.add_option("INPUT.bin", input, "training data file")->required();
    app.add_option("OUTPUT.bin", output, "the shuffled file")->required();
    app.add_option("--seed", seed, "seed of the order");
    app.add_option("--memory", memory, "RECORDS held in memory");
    app.callback([&] {
        if (input == output) throw CLI::ValidationError("OUTPUT.bin", "must differ from INPUT.bin");
    });
    if (auto status = parseCommandLine(app, argc, argv)) return *status;
    std::string error;
    if (!shuffleFile(input, output, seed, memory, &error)) {
        std::cerr << error << "\n";
        return 1;
    }
    return 0;
}
