// Converts text lines "FEN;score;result" into a training data file, or
// training data files into lines of the engine's tuning file.
#include <cstdint>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command_line.h"
#include "position_record.h"

namespace {

int toTuning(const std::vector<std::string>& inputs, const std::string& output, uint64_t every) {
    std::ofstream out(output);
    if (!out) {
        std::cerr << "cannot create " << output << "\n";
        return 1;
    }
    uint64_t seen = 0, written = 0;
    std::vector<TrainingRecord> block;
    for (const std::string& input : inputs) {
        DataReader reader;
        std::string error;
        if (!openReader(reader, input, &error)) {
            std::cerr << error << "\n";
            return 1;
        }
        for (;;) {
            block.clear();
            if (readRecords(reader, block, 1 << 16) == 0) break;
            for (const TrainingRecord& r : block) {
                if (seen++ % every != 0) continue;
                out << tuningLine(r) << '\n';
                ++written;
            }
        }
        closeReader(reader);
    }
    if (!out.flush()) {
        std::cerr << "writing " << output << " failed\n";
        return 1;
    }
    std::cout << written << " of " << seen << " positions written\n";
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "Converts text lines \"FEN;score;result\" into a training data file (INPUT.txt OUTPUT.bin), or\n"
        "training data files into lines of the engine's tuning file (--to-tuning INPUT.bin ... OUTPUT.epd).\n"
        "Each text line is FEN;score;result. The score is in centipawns from the side to move's view (from\n"
        "White's with --white-scores); the result (1-0, 0-1, 1/2-1/2, 1, 0.5, 0) is White's (the side to\n"
        "move's with --mover-results). Bad lines are reported and skipped. --to-tuning writes every N-th\n"
        "position as a tuning line, FEN c9 \"result\"; with White's result (castling and en passant rights\n"
        "are not in the data).",
        "nnue_convert"};
    prepareCommandLine(app);
    TextLineOptions options;
    bool toTuningLines = false, whiteScores = false, moverResults = false;
    uint64_t every = 1;
    std::vector<std::string> files;
    app.add_option("files", files, "INPUT.txt OUTPUT.bin, or INPUT.bin [INPUT.bin ...] OUTPUT.epd")->required();
    CLI::Option* tuning = app.add_flag("--to-tuning", toTuningLines, "write tuning lines from training data files");
    app.add_option("--every", every, "with --to-tuning: every N-th position")->needs(tuning)->check(positiveNumber());
    app.add_flag("--white-scores", whiteScores, "scores are from White's view")->excludes(tuning);
    app.add_flag("--mover-results", moverResults, "results are from the side to move's view")->excludes(tuning);
    app.callback([&] {
        if (files.size() < 2 || (!toTuningLines && files.size() != 2))
            throw CLI::ValidationError(
                "files", toTuningLines ? "give one or more inputs and the output" : "give one input and the output");
    });
    if (auto status = parseCommandLine(app, argc, argv)) return *status;
    if (toTuningLines) {
        std::string output = files.back();
        files.pop_back();
        initRecordTables();
        return toTuning(files, output, every);
    }
    options.scoreFromWhite = whiteScores;
    options.resultFromWhite = !moverResults;
    const std::vector<std::string>& paths = files;
    initRecordTables();
    std::ifstream in(paths[0]);
    if (!in) {
        std::cerr << "cannot open " << paths[0] << "\n";
        return 1;
    }
    DataWriter writer;
    if (!openWriter(writer, paths[1])) {
        std::cerr << "cannot create " << paths[1] << "\n";
        return 1;
    }
    std::string line, error;
    long lineNumber = 0, skipped = 0;
    while (std::getline(in, line)) {
        ++lineNumber;
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        TrainingRecord r;
        if (recordFromTextLine(line, options, r, &error)) {
            writeRecord(writer, r);
        } else {
            if (++skipped <= 20) std::cerr << paths[0] << ":" << lineNumber << ": " << error << "\n";
        }
    }
    uint64_t written = writer.count;
    if (!closeWriter(writer)) {
        std::cerr << "writing " << paths[1] << " failed\n";
        return 1;
    }
    std::cout << written << " positions written, " << skipped << " lines skipped\n";
    return 0;
}
