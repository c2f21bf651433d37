// Converts text lines "FEN;score;result" into a training data file, or
// training data files into lines of the engine's tuning file.
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "position_record.h"

namespace {

int usage() {
    std::cerr << "usage: nnue_convert [--white-scores] [--mover-results] INPUT.txt OUTPUT.bin\n"
                 "  Each line is FEN;score;result. The score is in centipawns from the side to move's\n"
                 "  view (from White's with --white-scores); the result (1-0, 0-1, 1/2-1/2, 1, 0.5, 0)\n"
                 "  is White's (the side to move's with --mover-results). Bad lines are reported and skipped.\n"
                 "usage: nnue_convert --to-tuning [--every N] INPUT.bin [INPUT.bin ...] OUTPUT.epd\n"
                 "  Writes every N-th position (1) of the data files as a tuning line: FEN c9 \"result\";\n"
                 "  with White's result (castling and en passant rights are not in the data).\n";
    return 2;
}

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

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::string(argv[1]) == "--to-tuning") {
        uint64_t every = 1;
        std::vector<std::string> files;
        for (int i = 2; i < argc; ++i) {
            std::string arg = argv[i];
            if (arg == "--every" && i + 1 < argc) {
                char* end = nullptr;
                every = std::strtoull(argv[++i], &end, 10);
                if (*end || every == 0) return usage();
            } else if (arg.rfind("--", 0) == 0) {
                return usage();
            } else {
                files.push_back(arg);
            }
        }
        if (files.size() < 2) return usage();
        std::string output = files.back();
        files.pop_back();
        initRecordTables();
        return toTuning(files, output, every);
    }
    TextLineOptions options;
    std::string paths[2];
    int pathCount = 0;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--white-scores") options.scoreFromWhite = true;
        else if (arg == "--mover-results") options.resultFromWhite = false;
        else if (arg.rfind("--", 0) == 0 || pathCount == 2) return usage();
        else paths[pathCount++] = arg;
    }
    if (pathCount != 2) return usage();

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
