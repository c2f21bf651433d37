// netcheck: how far the engine's evaluation of a network file lies from the
// float network it was made from.
#include <iomanip>
#include <iostream>
#include <thread>

#include <CLI/CLI.hpp>

#include "command_line.h"
#include "net_compare.h"
#include "position_record.h"
#include "quantise.h"
#include "training.h"

int main(int argc, char** argv) {
    CLI::App app{
        "Compares the float network of CHECKPOINT (without one: the network file's weights read back as\n"
        "floats) with the engine's evaluation of NET on the positions of DATA, in centipawns.",
        "netcheck"};
    prepareCommandLine(app);
    std::vector<std::string> paths;
    size_t limit = 0;
    app.add_option("paths", paths, "NET DATA [CHECKPOINT]: the network file, the positions and the checkpoint")
        ->required()
        ->expected(2, 3);
    app.add_option("--limit", limit, "positions compared at most (0: all)");
    app.callback([&paths] {
        if (paths.size() < 2) throw CLI::ValidationError("paths", "give NET and DATA");
    });
    if (auto status = parseCommandLine(app, argc, argv)) return *status;

    initRecordTables();
    if (!loadNetFile(paths[0])) {
        std::cerr << "cannot open " << paths[0] << "\n";
        return 1;
    }
    std::vector<TrainingRecord> records;
    std::string error;
    if (!readAllRecords(paths[1], records, &error)) {
        std::cerr << error << "\n";
        return 1;
    }
    if (limit && records.size() > limit) records.resize(limit);

    Trainer trainer;
    if (paths.size() == 3) {
        if (!loadCheckpoint(trainer, paths[2], &error)) {
            std::cerr << error << "\n";
            return 1;
        }
    } else {
        dequantiseNet(nnue, trainer.net);
    }
    int threads = std::max(1u, std::thread::hardware_concurrency());
    NetView model = paths.size() == 3 ? modelView(trainer) : viewOf(trainer.net);
    NetComparison c = compareFloatAndEngine(model, records, threads);
    std::cout << std::fixed << std::setprecision(2) << c.positions << " positions\n"
              << "mean |float - engine|: " << c.meanAbsDifference << " cp (largest " << c.maxAbsDifference << " cp)\n"
              << "mean |float - search score|: " << c.meanAbsFloatError << " cp\n"
              << "mean |engine - search score|: " << c.meanAbsEngineError << " cp\n";
    return 0;
}
